#include "tool/uniquefilepath.h"

#include "base/withoutpart.h"

#include <QFile>
#include <QFileInfo>

#include <charconv>
#include <cstddef>
#include <string_view>
#include <vector>

#ifdef Q_OS_UNIX
#include <dirent.h>
#include <memory>
#include <sys/stat.h>
#endif

namespace tool {

namespace {

// The candidates for one path, in their order.
class Candidates
{
public:
    explicit Candidates(const QString &path);

    // The next one that is not known to be taken.
    [[nodiscard]] QString next();

private:
    [[nodiscard]] bool isKnownAsTaken(std::size_t number) const;
    [[nodiscard]] bool paysToReadFolder() const;
    void readFolder();

    QString m_path;
    QString m_suffix;
    QString m_stem;
    std::size_t m_number = 0; // of the next
    std::vector<bool> m_taken; // by number, as far as the folder has shown
    bool m_folderRead = false;
};

Candidates::Candidates(const QString &path)
    : m_path(path)
    , m_suffix(QLatin1Char('.') + QFileInfo(path).suffix())
    // Deliberate: every occurrence of the suffix goes, in folder names and inside the name as well;
    // a name without suffix loses every dot of its path and gets one at the end.
    , m_stem(base::withoutPart(path, m_suffix))
{
}

QString Candidates::next()
{
    if (m_number == 0) {
        m_number = 1;
        return m_path;
    }
    if (!m_folderRead && paysToReadFolder()) {
        readFolder();
    }
    while (isKnownAsTaken(m_number)) {
        ++m_number;
    }
    return m_stem + QLatin1Char('_') + QString::number(m_number++) + m_suffix;
}

bool Candidates::isKnownAsTaken(std::size_t number) const
{
    return number < m_taken.size() && m_taken[number];
}

#ifdef Q_OS_UNIX

// Marks the number of a candidate in a name from its folder; other names say nothing.
void noteNumber(std::string_view name,
                std::string_view start,
                std::string_view end,
                std::vector<bool> *taken)
{
    constexpr std::size_t highest = 10'000'000;
    if (name.size() <= start.size() + end.size() || name.substr(0, start.size()) != start
        || name.substr(name.size() - end.size()) != end) {
        return;
    }
    const char *const first = name.data() + start.size();
    const char *const last = name.data() + name.size() - end.size();
    std::size_t number = 0;
    const auto [stopped, error] = std::from_chars(first, last, number);
    // A number with zeros in front is none of ours.
    if (stopped != last || error != std::errc() || *first == '0' || number > highest) {
        return;
    }
    if (taken->size() <= number) {
        taken->resize(number + 1);
    }
    (*taken)[number] = true;
}

// Looking at one name takes as long as reading some ten entries of a folder, which are some hundred
// bytes. The folder is read when that takes no longer than a few times what the looks took so far.
bool Candidates::paysToReadFolder() const
{
    constexpr std::size_t fewLooks = 64;
    constexpr qint64 folderBytesForALook = 1000;
    if (m_number < fewLooks || (m_number & (m_number - 1)) != 0) { // at each doubling
        return false;
    }
    struct stat info = {};
    const QByteArray folder =
        QFile::encodeName(m_stem.left(m_stem.lastIndexOf(QLatin1Char('/')) + 1));
    return ::stat(folder.constData(), &info) == 0
        && info.st_size <= static_cast<qint64>(m_number) * folderBytesForALook;
}

// One pass over the folder in place of a look for each number.
void Candidates::readFolder()
{
    m_folderRead = true;
    const QByteArray before = QFile::encodeName(m_stem + QLatin1Char('_'));
    const QByteArray behind = QFile::encodeName(m_suffix);
    const int nameAt = before.lastIndexOf('/') + 1;
    const std::string_view start(before.constData() + nameAt,
                                 static_cast<std::size_t>(before.size() - nameAt));
    const std::string_view end(behind.constData(), static_cast<std::size_t>(behind.size()));
    const std::unique_ptr<DIR, int (*)(DIR *)> folder(::opendir(before.left(nameAt).constData()),
                                                      ::closedir);
    while (const dirent *const entry = folder ? ::readdir(folder.get()) : nullptr) {
        noteNumber(entry->d_name, start, end, &m_taken);
    }
}

#else

bool Candidates::paysToReadFolder() const
{
    return false;
}

void Candidates::readFolder() { }

#endif

} // namespace

bool isNameTaken(const QString &path)
{
#ifdef Q_OS_UNIX
    struct stat info = {};
    return !path.contains(QChar(QChar::Null))
        && ::lstat(QFile::encodeName(path).constData(), &info) == 0;
#else
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
#endif
}

QString uniqueFilePath(const QString &path, ClaimedPaths *claims)
{
    return uniqueFilePath(path, claims, [](const QString &candidate) {
        return !isNameTaken(candidate); // looked at again: it may have come before the claim
    });
}

QString uniqueFilePath(const QString &path,
                       ClaimedPaths *claims,
                       const std::function<bool(const QString &)> &accept)
{
    for (Candidates candidates(path);;) {
        QString candidate = candidates.next();
        if (isNameTaken(candidate)) {
            continue;
        }
        const ClaimedPaths::Claim claim = claims->claim(candidate);
        if (claim == ClaimedPaths::Claim::Refused) {
            continue;
        }
        if (accept(candidate)) {
            return candidate;
        }
        if (claim == ClaimedPaths::Claim::New) {
            claims->giveBack(candidate);
        }
    }
}

} // namespace tool
