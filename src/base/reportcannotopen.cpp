#include "base/reportcannotopen.h"

#include "base/errorline.h"

#include <QByteArray>

namespace base {

namespace {

// In the local encoding, as a C text: a zero byte ends it.
QByteArray localText(const QString &text)
{
    return QByteArray(text.toLocal8Bit().constData());
}

} // namespace

void reportCannotOpenForReading(const QString &path, const QString &reason)
{
    writeErrorLine("Could not open " + localText(path) + " for reading: " + localText(reason));
}

void reportCannotOpenForWriting(const QString &path, const QString &reason)
{
    writeErrorLine("Could not open " + localText(path) + " for writing: " + localText(reason));
}

} // namespace base
