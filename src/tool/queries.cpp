#include "tool/queries.h"

#include "tool/debugline.h"
#include "tool/pathcheck.h"
#include "tool/run.h"
#include "tool/utf8text.h"

namespace tool {

QString version(const QString &vondPath)
{
    if (const auto refusal = refuseBadPath(vondPath)) {
        return *refusal;
    }
    return utf8Text(shortQuery(vondPath, {QStringLiteral("version")}));
}

QString listconfigurations(const QString &vondPath)
{
    if (const auto refusal = refuseBadPath(vondPath)) {
        return *refusal;
    }
    const QByteArray listing = shortQuery(vondPath, {QStringLiteral("listconfigurations")});
    debugLine(listing);
    return utf8Text(listing);
}

QString configDetails(const QString &vondPath, const QString &name)
{
    if (const auto refusal = refuseBadPath(vondPath)) {
        return *refusal;
    }
    const QByteArray details =
        shortQuery(vondPath,
                   {
                       QStringLiteral("listconfigurations"),
                       QStringLiteral("--format=json"),
                       QStringLiteral("--name=") + name,
                       QStringLiteral("--details=DocumentColorSpace,DstProfile,PSLayersOption"),
                   });
    debugLine(details);
    return utf8Text(details);
}

} // namespace tool
