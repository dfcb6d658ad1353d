#pragma once

#include <QByteArray>
#include <QString>

namespace base {

// A file that has no name yet: its bytes are written where nobody can see them, and it gets its
// name once they are complete. Until then, it is removed with the object.
//
// On Linux it is a file without a name (O_TMPFILE), which disappears with the process, too. Where
// that is not supported, as on a network file system, it has a temporary name, ".vond-" and a
// random number; to replace an existing file, it has one between two system calls. What a killed
// process leaves under such a name is up to the clean-up of the folder. Unix only; one thread at a
// time.
class DraftFile
{
public:
    enum class Naming
    {
        Done,
        Taken, // by anything: a file, a folder, a link, a pipe
        Failed // errorString() says why
    };

    // What a file system may support; each value includes those after it.
    enum class Ability
    {
        FileWithoutName,
        RenameToNewName, // in one step
        Least // an empty file takes the new name and is then replaced
    };

    // Creates the file in this folder, where it will get its name. Uses no more than `most`.
    explicit DraftFile(const QString &folder, Ability most = Ability::FileWithoutName);
    ~DraftFile();
    DraftFile(const DraftFile &) = delete;
    DraftFile &operator=(const DraftFile &) = delete;
    DraftFile(DraftFile &&) = delete;
    DraftFile &operator=(DraftFile &&) = delete;

    [[nodiscard]] bool isOpen() const; // false when it could not be made
    [[nodiscard]] QString errorString() const; // the system's text for the last failure

    // Copies owner, permissions and attributes of an open file. Returns whether they are now the
    // same.
    [[nodiscard]] bool adoptRightsOf(int descriptor) const;

    // Writes the bytes or, after a failed call, those that are missing. Returns whether all have
    // been written; on a full disk they are not.
    [[nodiscard]] bool write(const QByteArray &bytes);

    // Truncates it to nothing. Returns whether that succeeded.
    [[nodiscard]] bool clear();

    // Gives it a name that nothing has.
    [[nodiscard]] Naming nameNew(const QString &path);

    // Gives it the name of an existing file, which it replaces.
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
    QByteArray m_helper; // its temporary path, while it has one
    int m_descriptor = -1;
    int m_written = 0; // bytes
    int m_error = 0; // errno
    Ability m_ability;
};

} // namespace base
