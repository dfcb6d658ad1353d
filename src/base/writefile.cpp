#include "base/writefile.h"

#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QMutexLocker>

#ifdef Q_OS_UNIX
#include "base/draftfile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#else
#include <QSaveFile>
#endif

namespace base {

namespace {

// The system would end the name at the zero and write a file of another name.
std::optional<QString> rejectZero(const QString &path)
{
    return path.contains(QChar(QChar::Null))
        ? std::make_optional(QStringLiteral("zero character in the name"))
        : std::nullopt;
}

std::optional<QString> openAndWrite(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        return file.errorString();
    }
    if (file.write(bytes) != bytes.size()) {
        // Deliberate: a short write, on a full disk for instance, is not reported.
        static_cast<void>(file.resize(0));
    }
    return std::nullopt;
}

QMutex inPlaceMutex; // two that truncate and write one file at once would mix their bytes

std::optional<QString> writeInPlace(const QString &path, const QByteArray &bytes)
{
    const QMutexLocker lock(&inPlaceMutex);
    return openAndWrite(path, bytes);
}

#ifdef Q_OS_UNIX

QString folderOf(const QString &path)
{
    const int slash = path.lastIndexOf(QLatin1Char('/'));
    return slash < 0 ? QStringLiteral(".") : path.left(qMax(slash, 1));
}

bool endsWithName(const QString &path)
{
    return !path.isEmpty() && !path.endsWith(QLatin1Char('/'));
}

// The existing file, open for writing, so that anything that forbids writing it has already failed.
class Present
{
public:
    explicit Present(const QString &path);
    ~Present();
    Present(const Present &) = delete;
    Present &operator=(const Present &) = delete;
    Present(Present &&) = delete;
    Present &operator=(Present &&) = delete;

    [[nodiscard]] bool isThere() const
    {
        return m_descriptor >= 0;
    }

    [[nodiscard]] int descriptor() const
    {
        return m_descriptor;
    }

    [[nodiscard]] int error() const
    {
        return m_error;
    }

    [[nodiscard]] bool isFile() const
    {
        return S_ISREG(m_info.st_mode);
    }

    [[nodiscard]] bool hasOneName() const
    {
        return m_info.st_nlink <= 1;
    }

    // Its path with links resolved; another upload may have replaced them by now. Empty when a link
    // no longer leads to a file.
    [[nodiscard]] QString ownPath() const;
    void close();

private:
    QString m_path;
    int m_descriptor = -1;
    int m_error = 0; // errno
    struct stat m_info = {};
};

Present::Present(const QString &path)
    : m_path(path)
{
    const QByteArray native = QFile::encodeName(path);
    constexpr int flags = O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC; // waits for no reader
    m_descriptor = ::open(native.constData(), flags);
    if (m_descriptor < 0 && errno == ENOENT && QFileInfo(path).isSymLink()) {
        m_descriptor = ::open(native.constData(), flags | O_CREAT, 0666); // where the link leads
    }
    if (m_descriptor < 0 || ::fstat(m_descriptor, &m_info) != 0) {
        m_error = errno;
        close();
    }
    if (isThere() && isFile() && m_info.st_uid != ::geteuid()) {
        // In a shared folder, the system protects another user's file only from being opened with
        // O_CREAT.
        const int again = ::open(native.constData(), flags | O_CREAT, 0666);
        if (again < 0) {
            m_error = errno;
            close();
        } else {
            static_cast<void>(::close(again));
        }
    }
}

Present::~Present()
{
    close();
}

void Present::close()
{
    if (m_descriptor >= 0) {
        static_cast<void>(::close(m_descriptor));
        m_descriptor = -1;
    }
}

QString Present::ownPath() const
{
    if (!QFileInfo(m_path).isSymLink()) {
        return m_path;
    }
    const QString path = QFileInfo(m_path).canonicalFilePath();
    struct stat info = {};
    return !path.isEmpty() && ::lstat(QFile::encodeName(path).constData(), &info) == 0
            && S_ISREG(info.st_mode)
        ? path
        : QString();
}

// Whether the draft holds all bytes. If there is no room for them, the old file is removed: it
// would have to go in any case, and its space may be enough.
bool fillDraft(DraftFile *draft, const QByteArray &bytes, const QString &old)
{
    if (draft->write(bytes)) {
        return true;
    }
    const QByteArray native = QFile::encodeName(old);
    if (::unlink(native.constData()) != 0 && ::truncate(native.constData(), 0) != 0) {
        return false; // there is nothing else to try
    }
    return draft->write(bytes);
}

// Whether the draft has replaced the file at this path.
bool replaceBy(DraftFile *draft,
               const QString &path,
               const QByteArray &bytes,
               OnFullDisk onFullDisk)
{
    if (!fillDraft(draft, bytes, path)) {
        if (onFullDisk == OnFullDisk::LeaveNothing) {
            return true;
        }
        if (!draft->clear()) {
            return false;
        }
    }
    return draft->nameOver(path) == DraftFile::Naming::Done;
}

#endif

} // namespace

#ifdef Q_OS_UNIX

std::optional<QString>
writeFile(const QString &path, const QByteArray &bytes, OnFullDisk onFullDisk)
{
    if (const auto rejection = rejectZero(path)) {
        return rejection;
    }
    Present present(path);
    if (!present.isThere() && present.error() != ENOENT && present.error() != ENXIO) {
        return qt_error_string(present.error());
    }
    if (present.error() == ENXIO || (present.isThere() && !present.isFile())) {
        present.close();
        return openAndWrite(path, bytes);
    }
    const QString target = present.isThere() ? present.ownPath() : path;
    if (!endsWithName(target) || (present.isThere() && !present.hasOneName())) {
        return writeInPlace(path, bytes);
    }
    {
        DraftFile draft(folderOf(target));
        const bool isLike =
            draft.isOpen() && (!present.isThere() || draft.adoptRightsOf(present.descriptor()));
        present.close();
        if (isLike && replaceBy(&draft, target, bytes, onFullDisk)) {
            return std::nullopt;
        }
    }
    return writeInPlace(path, bytes);
}

NewFile writeNewFile(const QString &path, const QByteArray &bytes, QString *reason)
{
    if (const auto rejection = rejectZero(path)) {
        *reason = *rejection;
        return NewFile::CannotBeMade;
    }
    DraftFile draft(folderOf(path));
    if (!draft.isOpen()) {
        *reason = draft.errorString();
        return NewFile::CannotBeMade;
    }
    if (!draft.write(bytes)) {
        return NewFile::Made; // Deliberate: a full disk is not reported here
    }
    const DraftFile::Naming naming = draft.nameNew(path);
    if (naming == DraftFile::Naming::Failed) {
        *reason = draft.errorString();
        return NewFile::CannotBeMade;
    }
    return naming == DraftFile::Naming::Taken ? NewFile::Taken : NewFile::Made;
}

#else

std::optional<QString>
writeFile(const QString &path, const QByteArray &bytes, OnFullDisk onFullDisk)
{
    if (const auto rejection = rejectZero(path)) {
        return rejection;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        return writeInPlace(path, bytes); // the draft has a longer name, perhaps too long a one
    }
    if (file.write(bytes) == bytes.size()) {
        // Nobody can open a file while it is being replaced, and one that is being read cannot be
        // replaced.
        const QMutexLocker lock(&inPlaceMutex);
        return file.commit() ? std::nullopt : openAndWrite(path, bytes);
    }
    file.cancelWriting();
    // Nobody must take the old bytes for the new ones.
    if (onFullDisk == OnFullDisk::LeaveNothing && QFile::remove(path)) {
        return std::nullopt;
    }
    return writeInPlace(path, QByteArray());
}

NewFile writeNewFile(const QString &path, const QByteArray &bytes, QString *reason)
{
    if (const auto rejection = rejectZero(path)) {
        *reason = *rejection;
        return NewFile::CannotBeMade;
    }
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly)) {
        *reason = file.errorString();
        return file.exists() ? NewFile::Taken : NewFile::CannotBeMade;
    }
    if (file.write(bytes) != bytes.size() || !file.flush()) {
        static_cast<void>(file.remove());
    }
    return NewFile::Made;
}

#endif

} // namespace base
