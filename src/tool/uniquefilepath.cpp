#include "tool/uniquefilepath.h"

#include "base/withoutpart.h"
#include "tool/takennumbers.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <vector>

#ifdef Q_OS_UNIX
#include <dirent.h>
#include <memory>
#include <sys/stat.h>
#endif

namespace tool {

namespace {

// The candidates for one path, in order.
class Candidates
{
public:
    explicit Candidates(const QString &path);

    // The next one that is not known to be taken.
    [[nodiscard]] QString next();

    // The last candidate turned out to be free.
    void noteFree();

private:
    [[nodiscard]] NumberedNames names() const;
    [[nodiscard]] bool isKnownAsTaken(std::size_t number) const;
    [[nodiscard]] bool paysToReadFolder() const;
    void readFolder();

    QString m_path;
    QString m_suffix;
    QString m_stem;
    std::size_t m_number = 0; // of the next candidate
    std::vector<bool> m_taken; // by number, as read from the folder
    std::size_t m_looks = 0;
    bool m_folderRead = false;
    std::optional<TakenNumbers> m_remembered; // set from leastRemembered on
};

Candidates::Candidates(const QString &path)
    : m_path(path)
    , m_suffix(QLatin1Char('.') + QFileInfo(path).suffix())
    // Deliberate: every occurrence of the suffix is removed, in folder names and inside the name,
    // too; a name without a suffix loses every dot in its path and gets one at the end.
    , m_stem(base::withoutPart(path, m_suffix))
{
}

QString Candidates::next()
{
    if (m_number == 0) {
        m_number = 1;
        return m_path;
    }
    if (m_number == leastRemembered && !m_remembered) {
        m_remembered.emplace(names());
        m_number = m_remembered->firstUnknown();
    }
    ++m_looks;
    if (!m_folderRead && paysToReadFolder()) {
        readFolder();
    }
    while (isKnownAsTaken(m_number)) {
        ++m_number;
    }
    return m_stem + QLatin1Char('_') + QString::number(m_number++) + m_suffix;
}

void Candidates::noteFree()
{
    if (m_remembered) {
        m_remembered->remember(m_number - 1);
        m_remembered.reset();
    }
}

bool Candidates::isKnownAsTaken(std::size_t number) const
{
    return number < m_taken.size() && m_taken[number];
}

NumberedNames Candidates::names() const
{
    const QByteArray before = QFile::encodeName(m_stem + QLatin1Char('_'));
    const int nameAt = before.lastIndexOf('/') + 1;
    return {before.left(nameAt), before.mid(nameAt), QFile::encodeName(m_suffix)};
}

#ifdef Q_OS_UNIX

// Checking one name takes as long as reading some ten entries of a folder, or some hundred bytes.
// The folder is read when that takes no longer than a few times the checks made so far.
bool Candidates::paysToReadFolder() const
{
    constexpr std::size_t fewLooks = 64;
    constexpr qint64 folderBytesForALook = 1000;
    if (m_looks < fewLooks || (m_looks & (m_looks - 1)) != 0) { // at each doubling
        return false;
    }
    struct stat info = {};
    return ::stat(names().folder.constData(), &info) == 0
        && info.st_size <= static_cast<qint64>(m_looks) * folderBytesForALook;
}

// One pass over the folder instead of one check per number.
void Candidates::readFolder()
{
    m_folderRead = true;
    constexpr std::size_t highest = 10'000'000;
    const NumberedNames numbered = names();
    const std::unique_ptr<DIR, int (*)(DIR *)> folder(::opendir(numbered.folder.constData()),
                                                      ::closedir);
    while (const dirent *const entry = folder ? ::readdir(folder.get()) : nullptr) {
        const auto number = numbered.numberIn(entry->d_name);
        if (number && *number <= highest) {
            m_taken.resize(std::max(m_taken.size(), *number + 1));
            m_taken[*number] = true;
        }
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
        return !isNameTaken(candidate); // checked again: it may have appeared before the claim
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
        candidates.noteFree();
        const ClaimedPaths::Claim claim = claims->claim(candidate);
        if (claim == ClaimedPaths::Claim::Refused) {
            continue;
        }
        if (accept(candidate)) {
            return candidate;
        }
        if (claim == ClaimedPaths::Claim::New) {
            claims->release(candidate);
        }
    }
}

} // namespace tool
