#include "jobs/cancel.h"

#include "base/filename.h"
#include "base/reportcannotopen.h"
#include "base/writefile.h"
#include "jobs/stopfile.h"
#include "settings/folders.h"
#include "tool/pathcheck.h"

namespace jobs {

QString cancelConversion(const QString &vondPath, const QString &cancelId)
{
    // Deliberate: checked although the tool is not run, so that a server without a usable tool
    // rejects a cancellation with the same text as a conversion.
    if (const auto rejection = tool::rejectBadPath(vondPath)) {
        return *rejection;
    }
    const QString name = stopFileName(cancelId);
    const QString path = settings::filePathIn(settings::workFolder(), name);
    if (!base::isFileName(name)) {
        base::reportCannotOpenForWriting(path, base::noFileName());
        return {};
    }
    // Deliberate: empty on a full disk, because the tool only checks that it exists.
    if (const auto reason = base::writeFile(
            path, QByteArrayLiteral("This is a stop file."), base::OnFullDisk::LeaveEmpty)) {
        base::reportCannotOpenForWriting(path, *reason);
        return {};
    }
    return cancelId;
}

} // namespace jobs
