#pragma once

#include <QDebug>
#include <QString>

namespace base {

// Puts a line on the debug stream. Throws std::bad_alloc when there is no memory for it.
void writeDebugLine(QString line);

// The line that qDebug() << item << item ... makes, for texts as large as a client or the tool
// likes. qDebug() itself writes in a destructor: lack of memory cannot leave that and ends the
// process.
template <typename... Items>
void debugLine(const Items &...items)
{
    QString line;
    {
        QDebug stream(&line); // collects, and writes nothing
        static_cast<void>((stream << ... << items));
    }
    writeDebugLine(line);
}

} // namespace base
