#include "commands/writebase64file.h"

#include "base/base64.h"
#include "base/filename.h"
#include "base/reportcannotopen.h"
#include "base/writefile.h"
#include "settings/folders.h"
#include "tool/uniquefilepath.h"

namespace commands {

QString writeBase64File(const QString &path, const QString &base64Text, tool::ClaimedPaths *claims)
{
    const QByteArray bytes = base::decodedBase64(base64Text);
    base::NewFile result = base::NewFile::Taken;
    QString reason;
    const QString target = tool::uniqueFilePath(path, claims, [&](const QString &candidate) {
        result = base::writeNewFile(candidate, bytes, &reason);
        return result != base::NewFile::Taken;
    });
    if (result == base::NewFile::CannotBeMade) {
        claims->release(target);
        // Deliberate: the requested path, not the actual one.
        base::reportCannotOpenForWriting(path, reason);
        return {};
    }
    claims->close(target);
    return target;
}

QString writeBase64File(const QString &folder,
                        const QString &name,
                        const QString &base64Text,
                        tool::ClaimedPaths *claims)
{
    const QString path = settings::filePathIn(folder, name);
    if (!base::isFileName(name)) {
        base::reportCannotOpenForWriting(path, base::noFileName());
        return {};
    }
    return writeBase64File(path, base64Text, claims);
}

} // namespace commands
