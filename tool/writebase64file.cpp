#include "tool/writebase64file.h"

#include "settings/reportcannotopen.h"
#include "tool/base64.h"
#include "tool/uniquefilepath.h"
#include "tool/writefile.h"

namespace tool {

QString writeBase64File(const QString &path, const QString &base64Text)
{
    const QByteArray bytes = decodedBase64(base64Text);
    const QString target = uniqueFilePath(path);
    if (const auto reason = writeFile(target, bytes)) {
        // Deliberate: the path that was asked for, not the target.
        settings::reportCannotOpenForWriting(path, *reason);
        return {};
    }
    return target;
}

} // namespace tool
