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
    // A folder passes, too: starting it then fails.
    if (!QFile::exists(vondPath)) {
        // Deliberate: a colon before the path in the answer, none on the console.
        base::writeErrorLine("error: no vond-exe not found" + vondPath.toUtf8());
        return QStringLiteral("error: no vond-exe not found:%1").arg(vondPath);
    }
    return std::nullopt;
}

} // namespace tool
