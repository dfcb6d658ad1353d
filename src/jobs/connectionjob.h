#pragma once

#include "tool/childprocess.h"

class QObject;
class QString;

namespace jobs {

struct ConnectionJob // lent by the request handler for one call
{
    QObject *handler; // becomes the parent of the process and receives its output
    tool::ChildProcess *&process;
    QString &requestId;
    QString &lastStdOutMsg;
};

} // namespace jobs
