#include "settings/reportcannotopen.h"

#include <QByteArray>

#include <cstdio>

namespace settings {

// A line that cannot be written to stderr has nowhere else to go: the results are dropped.

void reportCannotOpenForReading(const QString &path, const QString &reason)
{
    static_cast<void>(std::fprintf(stderr,
                                   "Could not open %s for reading: %s\n",
                                   path.toLocal8Bit().constData(),
                                   reason.toLocal8Bit().constData()));
}

void reportCannotOpenForWriting(const QString &path, const QString &reason)
{
    static_cast<void>(std::fprintf(stderr,
                                   "Could not open %s for writing: %s\n",
                                   path.toLocal8Bit().constData(),
                                   reason.toLocal8Bit().constData()));
}

} // namespace settings
