#pragma once

#include "jobs/connectionjob.h"
#include "jobs/registry.h"

#include <QByteArray>
#include <QString>

namespace jobs {

// The main job: runs the tool on a file in the work folder and waits until it has ended. Returns
// the bare name of the output, the tool's own message when it reports an error, or an empty text
// when it could not be run. While it runs, its progress is in the registry. The process becomes a
// child of the handler and is never deleted; the handler must have the slot handleVondProgress().
[[nodiscard]] QString convert(const QString &vondPath,
                              Registry *registry,
                              const ConnectionJob &job,
                              const QByteArray &body);

} // namespace jobs
