#include "jobs/result.h"

#include "base/errorline.h"
#include "base/filename.h"
#include "base/reportcannotopen.h"
#include "base/wholefile.h"
#include "settings/folders.h"

#include <QFile>
#include <QFileInfo>

namespace jobs {

namespace {

// Zero for a missing file, which includes any name that no file can have.
qint64 sizeOf(const QString &path, const QString &name)
{
    return path.contains(QChar(QChar::Null)) || !base::isFileName(name) ? 0
                                                                        : QFileInfo(path).size();
}

QByteArray sizeAndName(qint64 size, const QString &name)
{
    return ", Size:" + QByteArray::number(size) + ", File:" + name.toUtf8();
}

// Whether a file of this size is served. If not, writes a line for the operator.
bool isServed(qint64 size, const QString &name)
{
    if (static_cast<quint64>(size) >= tooBigSize) {
        base::writeErrorLine("file is too big:" + sizeAndName(size, name));
        base::writeErrorLine("Max: std::numeric_limits<int32>::max(), Size:"
                             + QByteArray::number(tooBigSize));
        return false;
    }
    if (size == 0) {
        base::writeErrorLine("file is not available" + sizeAndName(size, name));
        return false;
    }
    return true;
}

QByteArray readResult(QFile *file, int size, const QString &name)
{
    QByteArray bytes = base::readWhole(file, size);
    if (bytes.size() < size) {
        base::writeErrorLine("file could not be read whole, Read:"
                             + QByteArray::number(bytes.size()) + sizeAndName(size, name));
    }
    return bytes;
}

} // namespace

QByteArray getConversionResult(const QString &name)
{
    const QString path = settings::filePathIn(settings::workFolder(), name);
    if (!isServed(sizeOf(path, name), name)) {
        return {};
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        base::reportCannotOpenForReading(path, file.errorString());
        return {};
    }
    const qint64 size = file.size(); // of the open file: the name may refer to another one by now
    return isServed(size, name) ? readResult(&file, static_cast<int>(size), name) : QByteArray();
}

} // namespace jobs
