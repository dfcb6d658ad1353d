#include "tool/writebase64file.h"

#include "settings/reportcannotopen.h"
#include "tool/base64.h"
#include "tool/uniquefilepath.h"
#include "tool/writefile.h"

namespace tool {

QString writeBase64File(const QString &path, const QString &base64Text, ClaimedPaths *claims)
{
    const QByteArray bytes = decodedBase64(base64Text);
    NewFile result = NewFile::Taken;
    QString reason;
    const QString target = uniqueFilePath(path, claims, [&](const QString &candidate) {
        result = writeNewFile(candidate, bytes, &reason);
        return result != NewFile::Taken;
    });
    if (result == NewFile::CannotBeMade) {
        claims->giveBack(target);
        // Deliberate: the path that was asked for, not the target.
        settings::reportCannotOpenForWriting(path, reason);
        return {};
    }
    claims->close(target);
    return target;
}

} // namespace tool
