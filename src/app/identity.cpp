#include "app/identity.h"

#include <QCoreApplication>
#include <QString>

namespace app {

void setIdentity()
{
    QCoreApplication::setOrganizationName(QStringLiteral("meridane"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("meridane.example"));
    QCoreApplication::setApplicationName(QStringLiteral("vondServer"));
}

} // namespace app
