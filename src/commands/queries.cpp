#include "commands/queries.h"

#include "base/debugline.h"
#include "base/utf8text.h"
#include "tool/pathcheck.h"
#include "tool/run.h"

namespace commands {

QString version(const QString &vondPath)
{
    if (const auto rejection = tool::rejectBadPath(vondPath)) {
        return *rejection;
    }
    return base::utf8Text(tool::shortQuery(vondPath, {QStringLiteral("version")}));
}

QString listconfigurations(const QString &vondPath)
{
    if (const auto rejection = tool::rejectBadPath(vondPath)) {
        return *rejection;
    }
    const QByteArray listing = tool::shortQuery(vondPath, {QStringLiteral("listconfigurations")});
    base::debugLine(listing);
    return base::utf8Text(listing);
}

QString configDetails(const QString &vondPath, const QString &name)
{
    if (const auto rejection = tool::rejectBadPath(vondPath)) {
        return *rejection;
    }
    const QByteArray details = tool::shortQuery(
        vondPath,
        {
            QStringLiteral("listconfigurations"),
            QStringLiteral("--format=json"),
            QStringLiteral("--name=") + name,
            QStringLiteral("--details=DocumentColorSpace,DstProfile,PSLayersOption"),
        });
    base::debugLine(details);
    return base::utf8Text(details);
}

} // namespace commands
