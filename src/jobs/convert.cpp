#include "jobs/convert.h"

#include "base/debugline.h"
#include "base/room.h"
#include "jobs/conversionplan.h"
#include "settings/folders.h"
#include "tool/pathcheck.h"
#include "tool/run.h"

#include <memory>
#include <optional>

namespace jobs {

namespace {

// An entry in the registry for as long as the object lives: an exception removes it, too.
class RegistryEntry
{
public:
    RegistryEntry(Registry *registry, QString id)
        : m_registry(registry)
        , m_id(std::move(id))
    {
        registerRequest(m_registry, m_id);
    }

    ~RegistryEntry()
    {
        removeRequest(m_registry, m_id);
    }

    RegistryEntry(const RegistryEntry &) = delete;
    RegistryEntry &operator=(const RegistryEntry &) = delete;
    RegistryEntry(RegistryEntry &&) = delete;
    RegistryEntry &operator=(RegistryEntry &&) = delete;

private:
    Registry *m_registry;
    QString m_id;
};

// Runs the tool as the connection's process; the handler receives its output during the wait.
// Returns whether the wait succeeded.
bool runForConnection(const QString &vondPath,
                      const ConnectionJob &job,
                      const QStringList &arguments)
{
    // Lives as long as the handler; a later job replaces the pointer. The parent is set afterwards:
    // if the list of children cannot grow, the constructor frees the thread's data twice.
    auto process = std::make_unique<tool::ChildProcess>();
    process->setParent(job.handler);
    job.process = process.release();
    base::debugLine("arguments:");
    base::debugLine(arguments);
    base::ensureRoom(); // running out of memory in the next line would end the process
    QObject::connect(job.process,
                     SIGNAL(readyReadStandardOutput()),
                     job.handler,
                     SLOT(handleVondProgress()),
                     Qt::AutoConnection);
    const bool ended = tool::startAndWait(job.process, vondPath, arguments, tool::withoutLimit);
    job.process->disconnect(job.handler); // the object stays, the connection must not
    return ended;
}

} // namespace

QString convert(const QString &vondPath,
                Registry *registry,
                const ConnectionJob &job,
                const QByteArray &body)
{
    if (const auto rejection = tool::rejectBadPath(vondPath)) {
        return *rejection;
    }
    const ConversionRequest request = readConversionRequest(body);
    // Deliberate: the last message of an earlier job on this connection is not cleared. It remains
    // if the tool prints nothing.
    job.requestId = request.requestId;
    base::debugLine("convert reqestID: ", job.requestId);
    std::optional<RegistryEntry> entry(std::in_place, registry, job.requestId);
    const QString folder = settings::workFolder();
    const ConversionPlan plan = planConversion(request, folder);
    base::debugLine("convert: stopfile: ", plan.stopFilePath);
    if (!namesFiles(request, plan, folder)) {
        base::debugLine("convert refused, no name for a file:", plan.arguments);
        return {};
    }

    const bool ended = runForConnection(vondPath, job, plan.arguments);
    // Deliberate: the entry is removed before the result of the wait is checked, so that a poll
    // after the response reads empty.
    entry.reset();
    if (!ended) {
        tool::reportFailedConversionWait(plan.inputPath);
        return {};
    }
    const tool::Output rest = tool::takeOutput(job.process);
    base::debugLine("m_lastStdOutMsg", job.lastStdOutMsg);
    if (tool::reportsError(rest.stdErr)) {
        base::debugLine("conversion failed:", rest.stdOut);
        base::debugLine(plan.arguments);
    }
    return conversionAnswer(plan, rest.stdErr, job.lastStdOutMsg);
}

} // namespace jobs
