#include "tool/claimedpaths.h"

#include <QFile>
#include <QHash>
#include <QMutex>
#include <QMutexLocker>

#ifdef Q_OS_UNIX
#include <sys/stat.h>
#endif

namespace tool {

namespace {

struct Entry
{
    const ClaimedPaths *owner = nullptr;
    bool isClosed = false;
};

QMutex claimedMutex;

QHash<QByteArray, Entry> &claimed() // under claimedMutex
{
    static QHash<QByteArray, Entry> entries;
    return entries;
}

// The folder's device and inode number, whatever path leads there, and the file name; the plain
// path when there is no such folder.
QByteArray keyOf(const QString &path)
{
#ifdef Q_OS_UNIX
    const QByteArray native = QFile::encodeName(path);
    const int nameAt = native.lastIndexOf('/') + 1;
    const QByteArray folder = nameAt == 0 ? QByteArray(".") : native.left(nameAt);
    struct stat info = {};
    if (!folder.contains('\0') && ::stat(folder.constData(), &info) == 0) {
        return QByteArray::number(static_cast<qulonglong>(info.st_dev)) + ':'
            + QByteArray::number(static_cast<qulonglong>(info.st_ino)) + '/' + native.mid(nameAt);
    }
    return native;
#else
    return path.toCaseFolded().toUtf8(); // "A.tif" is "a.tif" there
#endif
}

} // namespace

ClaimedPaths::~ClaimedPaths()
{
    const QMutexLocker lock(&claimedMutex);
    for (const QByteArray &key : qAsConst(m_keys)) {
        claimed().remove(key);
    }
}

ClaimedPaths::Claim ClaimedPaths::claim(const QString &path)
{
    const QByteArray key = keyOf(path);
    const QMutexLocker lock(&claimedMutex);
    const auto found = claimed().constFind(key);
    if (found != claimed().constEnd()) {
        return found->owner == this && !found->isClosed ? Claim::Own : Claim::Refused;
    }
    m_keys.insert(key); // first, so that the destructor removes it, even if insert() throws
    claimed().insert(key, {this, false});
    return Claim::New;
}

void ClaimedPaths::close(const QString &path)
{
    const QByteArray key = keyOf(path);
    const QMutexLocker lock(&claimedMutex);
    const auto found = claimed().find(key);
    if (found != claimed().end() && found->owner == this) {
        found->isClosed = true;
    }
}

void ClaimedPaths::release(const QString &path)
{
    const QByteArray key = keyOf(path);
    const QMutexLocker lock(&claimedMutex);
    if (m_keys.remove(key)) {
        claimed().remove(key);
    }
}

} // namespace tool
