#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// Files that appear under their name whole, or not at all: who opens the name reads what was there
// before, or all the new bytes. None of it is forced onto the disk.
namespace base {

enum class OnFullDisk
{
    LeaveNothing, // under that name
    LeaveEmpty // a file without bytes
};

// Puts the bytes into the file of this name, in place of what is there. Rights, owner and a link
// stay, as if it had been opened and emptied. Nothing when it could be opened, otherwise the
// reason, and then all is as before.
//
// That not all bytes found room is not told. The old bytes are gone then, too, so that nobody takes
// them for the new ones.
//
// A pipe or a device is written to. A file that cannot be replaced (in a folder without the right
// to write, of another user, with a second name, with attributes that a new one does not get) is
// emptied and written, one at a time; readers can see that.
[[nodiscard]] std::optional<QString> writeFile(const QString &path,
                                               const QByteArray &bytes,
                                               OnFullDisk onFullDisk = OnFullDisk::LeaveNothing);

enum class NewFile
{
    Made, // or left out: that not all bytes found room is not told
    Taken, // something bears the name
    CannotBeMade
};

// Makes the file, if nothing bears the name. `reason` is set when it cannot be made.
[[nodiscard]] NewFile writeNewFile(const QString &path, const QByteArray &bytes, QString *reason);

} // namespace base
