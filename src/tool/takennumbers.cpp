#include "tool/takennumbers.h"

#include <charconv>
#include <cstring>
#include <string_view>

#ifdef Q_OS_LINUX
#include <QMutex>
#include <QMutexLocker>

#include <algorithm>
#include <array>
#include <linux/magic.h>
#include <map>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>
#endif

namespace tool {

std::optional<std::size_t> NumberedNames::numberIn(const char *name) const
{
    const std::string_view whole(name);
    const std::string_view front(start.constData(), static_cast<std::size_t>(start.size()));
    const std::string_view back(end.constData(), static_cast<std::size_t>(end.size()));
    if (whole.size() <= front.size() + back.size() || whole.substr(0, front.size()) != front
        || whole.substr(whole.size() - back.size()) != back) {
        return std::nullopt;
    }
    const char *const first = whole.data() + front.size();
    const char *const last = whole.data() + whole.size() - back.size();
    std::size_t number = 0;
    const auto [stopped, error] = std::from_chars(first, last, number);
    if (stopped != last || error != std::errc() || *first == '0') {
        return std::nullopt;
    }
    return number;
}

#ifdef Q_OS_LINUX

namespace {

struct Known
{
    int watch = -1;
    NumberedNames names;
    std::size_t firstUnknown = leastRemembered;
    quint64 lastLoss = 0; // sequence number of the last removal of such a file
};

constexpr std::size_t mostKnown = 256; // sets of names; beyond that, everything is forgotten

QMutex takenMutex;

// To be used under the mutex. Created once; its descriptor stays open.
class Memory
{
public:
    // Null where the system does not report removals.
    Known *find(const QByteArray &key, const NumberedNames &names)
    {
        readEvents();
        const auto found = m_known.find(key);
        if (found != m_known.end()) {
            return &found->second;
        }
        if (m_known.size() >= mostKnown) {
            forgetAll();
        }
        const QByteArray folder = names.folder.isEmpty() ? QByteArray(".") : names.folder;
        // For a folder that is already watched, this returns the same number.
        const int watch =
            ::inotify_add_watch(m_descriptor, folder.constData(), IN_DELETE | IN_MOVED_FROM);
        if (watch < 0) {
            return nullptr;
        }
        return &m_known.emplace(key, Known{watch, names, leastRemembered, ++m_time}).first->second;
    }

    // What is still remembered; null when it has been forgotten meanwhile.
    Known *findAgain(const QByteArray &key)
    {
        readEvents();
        const auto found = m_known.find(key);
        return found != m_known.end() ? &found->second : nullptr;
    }

private:
    void readEvents()
    {
        constexpr std::size_t bufferBytes = 16384;
        alignas(inotify_event) std::array<char, bufferBytes> buffer; // NOLINT(*-member-init)
        for (;;) {
            const ssize_t size = ::read(m_descriptor, buffer.data(), buffer.size());
            if (size <= 0) {
                return;
            }
            for (std::size_t at = 0; at < static_cast<std::size_t>(size);) {
                inotify_event event = {};
                std::memcpy(&event, buffer.data() + at, sizeof event);
                take(event, buffer.data() + at + sizeof event);
                at += sizeof event + event.len;
            }
        }
    }

    void take(const inotify_event &event, const char *name)
    {
        if ((event.mask & (IN_Q_OVERFLOW | IN_IGNORED | IN_UNMOUNT)) != 0) {
            forgetAll();
            return;
        }
        for (auto &[key, known] : m_known) {
            const auto number = known.watch == event.wd && event.len > 0
                ? known.names.numberIn(name)
                : std::nullopt;
            if (number && *number >= leastRemembered) {
                known.lastLoss = ++m_time;
                known.firstUnknown = std::min(known.firstUnknown, *number);
            }
        }
    }

    // The watches stay: a folder that comes up again reuses its own.
    void forgetAll()
    {
        m_known.clear();
    }

    int m_descriptor = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    quint64 m_time = 0;
    std::map<QByteArray, Known> m_known;
};

Memory &memory()
{
    static Memory instance;
    return instance;
}

// The folder's device and inode number, and the names; empty where files may be removed unnoticed.
QByteArray keyOf(const NumberedNames &names)
{
    const QByteArray folder = names.folder.isEmpty() ? QByteArray(".") : names.folder;
    struct stat info = {};
    struct statfs system = {};
    if (folder.contains('\0') || ::stat(folder.constData(), &info) != 0
        || ::statfs(folder.constData(), &system) != 0) {
        return {};
    }
    constexpr std::array<unsigned long, 4> local{
        EXT4_SUPER_MAGIC, XFS_SUPER_MAGIC, BTRFS_SUPER_MAGIC, TMPFS_MAGIC};
    const auto kind = static_cast<unsigned long>(system.f_type);
    if (std::find(local.begin(), local.end(), kind) == local.end()) {
        return {};
    }
    return QByteArray::number(static_cast<qulonglong>(info.st_dev)) + ':'
        + QByteArray::number(static_cast<qulonglong>(info.st_ino)) + '/' + names.start + '/'
        + names.end;
}

} // namespace

TakenNumbers::TakenNumbers(const NumberedNames &names)
    : m_key(keyOf(names))
{
    if (m_key.isEmpty()) {
        return;
    }
    const QMutexLocker lock(&takenMutex);
    const Known *const known = memory().find(m_key, names);
    if (known == nullptr) {
        m_key.clear();
        return;
    }
    m_firstUnknown = known->firstUnknown;
    m_lastLoss = known->lastLoss;
}

void TakenNumbers::remember(std::size_t firstFree) const
{
    if (m_key.isEmpty()) {
        return;
    }
    const QMutexLocker lock(&takenMutex);
    Known *const known = memory().findAgain(m_key);
    // A file removed during the search may have been counted as taken.
    if (known != nullptr && known->lastLoss == m_lastLoss) {
        known->firstUnknown = std::max(known->firstUnknown, firstFree);
    }
}

#else

TakenNumbers::TakenNumbers(const NumberedNames &) { }

void TakenNumbers::remember(std::size_t) const { }

#endif

} // namespace tool
