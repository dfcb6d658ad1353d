#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// Files that appear under their name complete or not at all: opening the name gives the old
// contents or all the new bytes. Nothing is synced to the disk.
namespace base {

enum class OnFullDisk
{
    LeaveNothing, // under that name
    LeaveEmpty // a file without bytes
};

// Replaces the contents of the file, or creates it. Permissions, owner and a link are kept, as if
// it had been opened and truncated. Returns nothing when it could be opened, otherwise the reason;
// then everything is as before.
//
// Does not report a full disk. The old bytes are gone then, too, so that nobody takes them for the
// new ones.
//
// Writes to a pipe or a device. A file that cannot be replaced (in a read-only folder, of another
// user, with a second hard link, with attributes that a new one cannot get; on Windows, one that is
// being read) is truncated and written, one at a time; readers can see that happen.
[[nodiscard]] std::optional<QString> writeFile(const QString &path,
                                               const QByteArray &bytes,
                                               OnFullDisk onFullDisk = OnFullDisk::LeaveNothing);

enum class NewFile
{
    Made, // or not, if the disk is full, which is not reported
    Taken, // something has the name
    CannotBeMade
};

// Creates the file if nothing has the name. Sets `reason` when it cannot be created.
[[nodiscard]] NewFile writeNewFile(const QString &path, const QByteArray &bytes, QString *reason);

} // namespace base
