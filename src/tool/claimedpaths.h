#pragma once

#include <QByteArray>
#include <QSet>
#include <QString>

namespace tool {

// The paths that one request has claimed, for files that it has written or that its run of the tool
// will write. While this object lives, no other request in this process can claim one of them: two
// requests may find the same name free at once, but only one can claim it. Different spellings of
// one folder count as one path. Creates no files. Each object belongs to one thread.
class ClaimedPaths
{
public:
    enum class Claim
    {
        New,
        Own, // already claimed by this request, and shared
        Refused
    };

    ClaimedPaths() = default;
    ~ClaimedPaths();
    ClaimedPaths(const ClaimedPaths &) = delete;
    ClaimedPaths &operator=(const ClaimedPaths &) = delete;
    ClaimedPaths(ClaimedPaths &&) = delete;
    ClaimedPaths &operator=(ClaimedPaths &&) = delete;

    // Claims a path. Every argument of this request that names it shares it: the tool may write the
    // file for one argument and read it for another.
    [[nodiscard]] Claim claim(const QString &path);

    // Makes further claims of a claimed path fail for this request, too.
    void close(const QString &path);

    void release(const QString &path);

private:
    QSet<QByteArray> m_keys;
};

} // namespace tool
