#pragma once

#include "jobs/connectionjob.h"
#include "jobs/registry.h"

#include <QByteArray>
#include <QString>

namespace jobs {

// The main job: runs the tool on a file of the work folder and waits until it has ended. Answers
// the bare name of the output, the tool's own words when it reports an error, or an empty text when
// it could not be run. Its progress is in the registry while it runs. The process becomes a child
// of the handler and stays; the handler must have the slot handleVondProgress().
[[nodiscard]] QString convert(const QString &vondPath,
                              Registry *registry,
                              const ConnectionJob &job,
                              const QByteArray &body);

} // namespace jobs
