#include "jobs/cancel.h"

#include "settings/folders.h"
#include "settings/reportcannotopen.h"
#include "tool/pathcheck.h"
#include "tool/writefile.h"

namespace jobs {

QString cancelConversion(const QString &vondPath, const QString &cancelId)
{
    // Deliberate: checked although the tool is not run, so that a server without a usable tool
    // refuses to cancel in the same words as to convert.
    if (const auto refusal = tool::refuseBadPath(vondPath)) {
        return *refusal;
    }
    const QString path =
        settings::filePathIn(settings::workFolder(), cancelId + QStringLiteral(".txt"));
    // Deliberate: empty on a full disk, for that it is there is all that the tool looks at.
    if (const auto reason = tool::writeFile(
            path, QByteArrayLiteral("This is a stop file."), tool::OnFullDisk::LeaveEmpty)) {
        settings::reportCannotOpenForWriting(path, *reason);
        return {};
    }
    return cancelId;
}

} // namespace jobs
