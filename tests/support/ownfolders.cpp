#include "tests/support/ownfolders.h"

#include "settings/keys.h"

#include <QCoreApplication>
#include <QFile>
#include <QSettings>

void useOwnSettings()
{
    QCoreApplication::setOrganizationName(QStringLiteral("meridane"));
    QCoreApplication::setApplicationName(QStringLiteral("vondServer"));
    if (qEnvironmentVariableIsEmpty("XDG_CONFIG_HOME")) {
        qFatal("run the tests through ctest: the settings would be the caller's own");
    }
    QSettings().clear();
}

void setWorkFolder(const QString &folder)
{
    QSettings().setValue(settings::tempFolderKey, folder);
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        qWarning("no such file: %s", qPrintable(path));
        return {};
    }
    return file.readAll();
}

void makeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()) {
        qFatal("could not make %s", qPrintable(path));
    }
}
