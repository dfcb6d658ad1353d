#pragma once

class QObject;
class QProcess;
class QString;

namespace jobs {

struct ConnectionJob // lent by the request handler for one call
{
    QObject *handler; // becomes parent of the process and receiver of its output
    QProcess *&process;
    QString &requestId;
    QString &lastStdOutMsg;
};

} // namespace jobs
