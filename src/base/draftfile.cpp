#include "base/draftfile.h"

#include <QtGlobal>

#ifdef Q_OS_UNIX

#include <QFile>
#include <QRandomGenerator>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <map>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>
#ifdef Q_OS_LINUX
#include <sys/xattr.h>
#endif

namespace base {

namespace {

constexpr mode_t rightsOfNewFiles = 0666; // less the umask, as for every new file

QByteArray helperPath(const QString &folder)
{
    const quint64 number = QRandomGenerator::system()->generate64();
    return QFile::encodeName(folder) + "/.vond-" + QByteArray::number(number, 16);
}

// Extended attributes: access lists, labels. Nothing when they cannot be read.
using Attributes = std::map<QByteArray, QByteArray>;

std::optional<Attributes> attributesOf(int descriptor)
{
    Attributes attributes;
#ifdef Q_OS_LINUX
    constexpr std::size_t longest = 65536; // bytes, the system's limit for both list and value
    if (::flistxattr(descriptor, nullptr, 0) == 0) {
        return attributes;
    }
    std::vector<char> buffer(longest);
    const ssize_t listed = ::flistxattr(descriptor, buffer.data(), longest);
    if (listed < 0) {
        return errno == ENOTSUP ? std::make_optional(attributes) : std::nullopt;
    }
    // Each name ends with a zero byte.
    const QList<QByteArray> names =
        QByteArray(buffer.data(), static_cast<int>(qMax<ssize_t>(0, listed - 1))).split('\0');
    for (const QByteArray &name : names) {
        const ssize_t size =
            ::fgetxattr(descriptor, name.constData(), buffer.data(), buffer.size());
        if (size < 0) {
            return std::nullopt;
        }
        attributes[name] = QByteArray(buffer.data(), static_cast<int>(size));
    }
#else
    static_cast<void>(descriptor);
#endif
    return attributes;
}

} // namespace

DraftFile::DraftFile(const QString &folder, Ability most)
    : m_folder(folder)
    , m_ability(most)
{
    if (m_ability == Ability::FileWithoutName && !openWithoutName()) {
        if (m_error != EOPNOTSUPP && m_error != EISDIR && m_error != EINVAL) {
            return;
        }
        m_ability = Ability::RenameToNewName;
    }
    if (m_ability != Ability::FileWithoutName && !openHelper()) {
        m_error = errno;
    }
}

bool DraftFile::openWithoutName()
{
#ifdef O_TMPFILE
    // Naming it needs this folder, which a minimal container may lack.
    static const bool canBeNamed = ::access("/proc/self/fd", X_OK) == 0;
    if (canBeNamed) {
        m_descriptor = ::open(QFile::encodeName(m_folder).constData(),
                              O_TMPFILE | O_WRONLY | O_CLOEXEC,
                              rightsOfNewFiles);
        m_error = errno;
        return m_descriptor >= 0;
    }
#endif
    m_error = EOPNOTSUPP;
    return false;
}

DraftFile::~DraftFile()
{
    if (m_descriptor >= 0) {
        static_cast<void>(::close(m_descriptor));
    }
    if (!m_helper.isEmpty()) {
        static_cast<void>(::unlink(m_helper.constData()));
    }
}

bool DraftFile::openHelper()
{
    do {
        m_helper = helperPath(m_folder);
        m_descriptor = ::open(m_helper.constData(),
                              O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                              rightsOfNewFiles);
    } while (m_descriptor < 0 && errno == EEXIST);
    if (m_descriptor < 0) {
        m_helper.clear();
    }
    return m_descriptor >= 0;
}

bool DraftFile::isOpen() const
{
    return m_descriptor >= 0 || !m_helper.isEmpty();
}

QString DraftFile::errorString() const
{
    return qt_error_string(m_error);
}

bool DraftFile::adoptRightsOf(int descriptor) const
{
    constexpr mode_t rights = 01777; // a write clears the other bits
    struct stat theirs = {};
    struct stat own = {};
    if (::fstat(descriptor, &theirs) != 0 || ::fstat(m_descriptor, &own) != 0) {
        return false;
    }
    if ((theirs.st_uid != own.st_uid || theirs.st_gid != own.st_gid)
        && ::fchown(m_descriptor, theirs.st_uid, theirs.st_gid) != 0) {
        return false;
    }
    if ((theirs.st_mode & rights) != (own.st_mode & rights)
        && ::fchmod(m_descriptor, theirs.st_mode & rights) != 0) {
        return false;
    }
    const auto attributes = attributesOf(descriptor);
    return attributes && attributes == attributesOf(m_descriptor);
}

bool DraftFile::write(const QByteArray &bytes)
{
    if (m_descriptor < 0 && !reopenHelper()) {
        return false;
    }
    while (m_written < bytes.size()) {
        const ssize_t count = ::write(m_descriptor,
                                      bytes.constData() + m_written,
                                      static_cast<std::size_t>(bytes.size() - m_written));
        if (count < 0 && errno != EINTR) {
            return false;
        }
        m_written += count < 0 ? 0 : static_cast<int>(count);
    }
    if (m_ability == Ability::FileWithoutName) {
        return true;
    }
    // A network file system reports a full disk here.
    const bool closed = ::close(m_descriptor) == 0;
    m_descriptor = -1;
    return closed;
}

bool DraftFile::reopenHelper()
{
    m_descriptor = ::open(m_helper.constData(), O_WRONLY | O_TRUNC | O_NOFOLLOW | O_CLOEXEC);
    m_written = 0;
    return m_descriptor >= 0;
}

bool DraftFile::clear()
{
    m_written = 0;
    if (m_descriptor < 0) {
        return ::truncate(m_helper.constData(), 0) == 0;
    }
    return ::ftruncate(m_descriptor, 0) == 0 && ::lseek(m_descriptor, 0, SEEK_SET) == 0;
}

DraftFile::Naming DraftFile::failed()
{
    m_error = errno;
    return m_error == EEXIST ? Naming::Taken : Naming::Failed;
}

bool DraftFile::linkTo(const QByteArray &path) const
{
    const QByteArray own = "/proc/self/fd/" + QByteArray::number(m_descriptor);
    return ::linkat(AT_FDCWD, own.constData(), AT_FDCWD, path.constData(), AT_SYMLINK_FOLLOW) == 0;
}

bool DraftFile::renameHelper(const QByteArray &path)
{
    if (::rename(m_helper.constData(), path.constData()) != 0) {
        return false;
    }
    m_helper.clear();
    return true;
}

DraftFile::Naming DraftFile::nameNew(const QString &path)
{
    const QByteArray native = QFile::encodeName(path);
    if (m_ability == Ability::FileWithoutName) {
        return linkTo(native) ? Naming::Done : failed();
    }
#ifdef RENAME_NOREPLACE
    if (m_ability == Ability::RenameToNewName) {
        const char *const helper = m_helper.constData();
        if (::renameat2(AT_FDCWD, helper, AT_FDCWD, native.constData(), RENAME_NOREPLACE) == 0) {
            m_helper.clear();
            return Naming::Done;
        }
        if (errno != EINVAL && errno != ENOSYS) {
            return failed();
        }
    }
#endif
    // An empty file takes the name and is then replaced.
    const int taken = ::open(native.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (taken < 0) {
        return failed();
    }
    static_cast<void>(::close(taken));
    if (renameHelper(native)) {
        return Naming::Done;
    }
    const Naming naming = failed();
    static_cast<void>(::unlink(native.constData()));
    return naming;
}

bool DraftFile::linkToHelper()
{
    do {
        m_helper = helperPath(m_folder);
        if (linkTo(m_helper)) {
            return true;
        }
    } while (errno == EEXIST);
    m_helper.clear();
    return false;
}

DraftFile::Naming DraftFile::nameOver(const QString &path)
{
    if (m_ability == Ability::FileWithoutName) {
        const Naming naming = nameNew(path);
        if (naming != Naming::Taken) {
            return naming;
        }
        if (!linkToHelper()) {
            return failed();
        }
    }
    return renameHelper(QFile::encodeName(path)) ? Naming::Done : failed();
}

} // namespace base

#endif // Q_OS_UNIX
