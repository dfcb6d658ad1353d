#include "jobs/result.h"

#include "jobs/wholefile.h"
#include "settings/folders.h"
#include "settings/reportcannotopen.h"
#include "tool/errorline.h"

#include <QFile>
#include <QFileInfo>

namespace jobs {

namespace {

// Zero for a file that is not there, which includes any name with a zero character.
qint64 sizeOf(const QString &path)
{
    return path.contains(QChar(QChar::Null)) ? 0 : QFileInfo(path).size();
}

QByteArray sizeAndName(qint64 size, const QString &name)
{
    return ", Size:" + QByteArray::number(size) + ", File:" + name.toUtf8();
}

QByteArray readResult(const QString &path, int size, const QString &name)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        settings::reportCannotOpenForReading(path, file.errorString());
        return {};
    }
    QByteArray bytes = readWhole(&file, size);
    if (bytes.size() < size) {
        tool::writeErrorLine("file could not be read whole, Read:"
                             + QByteArray::number(bytes.size()) + sizeAndName(size, name));
    }
    return bytes;
}

} // namespace

QByteArray getConversionResult(const QString &name)
{
    const QString path = settings::filePathIn(settings::workFolder(), name);
    const qint64 size = sizeOf(path);
    if (static_cast<quint64>(size) >= tooBigSize) {
        tool::writeErrorLine("file is too big:" + sizeAndName(size, name));
        tool::writeErrorLine("Max: std::numeric_limits<int32>::max(), Size:"
                             + QByteArray::number(tooBigSize));
        return {};
    }
    if (size == 0) {
        tool::writeErrorLine("file is not available" + sizeAndName(size, name));
        return {};
    }
    return readResult(path, static_cast<int>(size), name);
}

} // namespace jobs
