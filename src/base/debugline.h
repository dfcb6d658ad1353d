#pragma once

#include <QDebug>
#include <QString>

namespace base {

// Writes a line to the debug stream. Throws std::bad_alloc when there is no memory for it.
void writeDebugLine(QString line);

// Writes the same line as qDebug() << item << item ..., for texts as large as a client or the tool
// makes them. qDebug() itself writes in a destructor, which std::bad_alloc cannot leave: it would
// end the process.
template <typename... Items>
void debugLine(const Items &...items)
{
    QString line;
    {
        QDebug stream(&line); // only collects
        static_cast<void>((stream << ... << items));
    }
    writeDebugLine(line);
}

} // namespace base
