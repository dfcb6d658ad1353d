#include "tool/pathcheck.h"

#include "base/errorline.h"

#include <QFile>

namespace tool {

std::optional<QString> rejectBadPath(const QString &vondPath)
{
    if (vondPath.isEmpty()) {
        const QString rejection = QStringLiteral("error: no vondPath set");
        base::writeErrorLine(rejection.toUtf8());
        return rejection;
    }
    // A folder passes the check; starting it fails later.
    if (!QFile::exists(vondPath)) {
        // Deliberate: a colon before the path in the response, none on the console.
        base::writeErrorLine("error: no vond-exe not found" + vondPath.toUtf8());
        return QStringLiteral("error: no vond-exe not found:%1").arg(vondPath);
    }
    return std::nullopt;
}

} // namespace tool
