#include "base/reportcannotopen.h"

#include "base/errorline.h"

namespace base {

void reportCannotOpenForReading(const QString &path, const QString &reason)
{
    writeErrorLine("Could not open " + errorText(path) + " for reading: " + errorText(reason));
}

void reportCannotOpenForWriting(const QString &path, const QString &reason)
{
    writeErrorLine("Could not open " + errorText(path) + " for writing: " + errorText(reason));
}

} // namespace base
