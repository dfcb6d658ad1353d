#pragma once

#include <QByteArray>
#include <QSet>
#include <QString>

namespace tool {

// The paths that one request has been given, for files that it has written or that its run of the
// tool will write. While it lives, no other request of this process is given one of them: a name
// that only looks free is found free by two at once, but claimed by one. Two spellings of one
// folder are one path. No file is made. One thread for each object.
class ClaimedPaths
{
public:
    enum class Claim
    {
        New,
        Own, // claimed by this request before, and shared
        Refused
    };

    ClaimedPaths() = default;
    ~ClaimedPaths();
    ClaimedPaths(const ClaimedPaths &) = delete;
    ClaimedPaths &operator=(const ClaimedPaths &) = delete;
    ClaimedPaths(ClaimedPaths &&) = delete;
    ClaimedPaths &operator=(ClaimedPaths &&) = delete;

    // Claims a path, to be shared by all of this request that name it, as a file does that the tool
    // writes for one argument and reads for another.
    [[nodiscard]] Claim claim(const QString &path);

    // From here on, a path that has been claimed is refused to this request as well.
    void close(const QString &path);

    void giveBack(const QString &path);

private:
    QSet<QByteArray> m_keys;
};

} // namespace tool
