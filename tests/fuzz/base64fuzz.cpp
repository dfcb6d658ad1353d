// The base64 writer and the free names: whatever the input, the decoded bytes are in the file with
// the returned name, no older file is touched, and nothing is written outside the folder.
#include "commands/writebase64file.h"
#include "tests/fuzz/property.h"
#include "tests/fuzz/target.h"
#include "tool/uniquefilepath.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <cstdint>

namespace {

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    // A name up to the first line end, then the text.
    static const QTemporaryDir folder;
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const int lineEnd = bytes.indexOf('\n');
    QString name = QString::fromUtf8(bytes.left(lineEnd < 0 ? bytes.size() : lineEnd));
    name.remove(QLatin1Char('/')); // folder parts are another matter
    const QString text = lineEnd < 0 ? QString() : QString::fromUtf8(bytes.mid(lineEnd + 1));
    const QByteArray decoded = QByteArray::fromBase64(text.toLocal8Bit());
    const QString path = folder.path() + QLatin1Char('/') + name;

    tool::ClaimedPaths claims;
    const QString first = commands::writeBase64File(path, text, &claims);
    if (!first.isEmpty()) {
        mustHold(contentOf(first) == decoded, "the bytes are the decoded ones");
        const QString second = commands::writeBase64File(path, QStringLiteral("AAAA"), &claims);
        mustHold(second != first, "an existing file is not written again");
        mustHold(contentOf(first) == decoded, "the older file is as it was");
        mustHold(second.isEmpty() || contentOf(second) == QByteArray(3, '\0'),
                 "the newer one has its own bytes");
        (void)QFile::remove(second);
        (void)QFile::remove(first);
    }
    return 0;
}
