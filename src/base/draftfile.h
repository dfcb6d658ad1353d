#pragma once

#include <QByteArray>
#include <QString>

namespace base {

// A file that is still without a name: its bytes are written where nobody finds them, and the name
// comes at once with all of them. Until it has one, nothing of it outlives the object.
//
// On Linux it is a file without any name (O_TMPFILE), which goes with the process as well. Where
// there is no such thing, as on a file server, it bears a helper's name, ".vond-" and a random
// number; to replace a file that is there, it bears one between two calls of the system. What a
// killed process leaves under such a name ages like every file of the folder. Unix only; one thread
// at a time.
class DraftFile
{
public:
    enum class Naming
    {
        Done,
        Taken, // by anything: a file, a folder, a link, a pipe
        Failed // errorString() says why
    };

    // What a file system may be able to do; each can do what stands after it, too.
    enum class Ability
    {
        FileWithoutName,
        RenameToNewName, // in one step
        Least // a new name is taken with an empty file, which is replaced
    };

    // In this folder, to be named there. More than the system can do is not tried.
    explicit DraftFile(const QString &folder, Ability most = Ability::FileWithoutName);
    ~DraftFile();
    DraftFile(const DraftFile &) = delete;
    DraftFile &operator=(const DraftFile &) = delete;
    DraftFile(DraftFile &&) = delete;
    DraftFile &operator=(DraftFile &&) = delete;

    [[nodiscard]] bool isOpen() const; // false when it could not be made
    [[nodiscard]] QString errorString() const; // of the last thing that failed, the system's words

    // Takes over owner, rights and attributes of an open file. Whether it has exactly these now.
    [[nodiscard]] bool adoptRightsOf(int descriptor) const;

    // Writes the bytes, or, after a call that failed, what is missing of them. Whether all have
    // arrived: on a full disk they do not.
    [[nodiscard]] bool write(const QByteArray &bytes);

    // Empties it. Whether that was possible.
    [[nodiscard]] bool clear();

    // Gives it a name that nobody bears.
    [[nodiscard]] Naming nameNew(const QString &path);

    // Gives it a name in place of the file that bears it.
    [[nodiscard]] Naming nameOver(const QString &path);

private:
    [[nodiscard]] bool openWithoutName();
    [[nodiscard]] bool openHelper();
    [[nodiscard]] bool reopenHelper();
    [[nodiscard]] bool linkTo(const QByteArray &path) const;
    [[nodiscard]] bool linkToHelper();
    [[nodiscard]] bool renameHelper(const QByteArray &path);
    Naming failed();

    QString m_folder;
    QByteArray m_helper; // its path, while it has such a name
    int m_descriptor = -1;
    int m_written = 0; // bytes
    int m_error = 0; // errno
    Ability m_ability;
};

} // namespace base
