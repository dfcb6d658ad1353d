#include "tool/uniquefilepath.h"

#include <QFile>
#include <QFileInfo>

namespace tool {

QString uniqueFilePath(const QString &path)
{
    if (!QFile::exists(path)) {
        return path;
    }
    // Deliberate: every occurrence of the suffix goes, in folder names and inside the name as well;
    // a name without suffix loses every dot of its path and gets one at the end.
    const QString suffix = QLatin1Char('.') + QFileInfo(path).suffix();
    const QString stem = QString(path).remove(suffix, Qt::CaseSensitive);
    for (int n = 1;; ++n) {
        const QString candidate = stem + QStringLiteral("_%1").arg(n) + suffix;
        if (!QFile::exists(candidate)) {
            return candidate;
        }
    }
}

} // namespace tool
