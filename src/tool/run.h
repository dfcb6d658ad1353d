#pragma once

#include "tool/childprocess.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

// Running the tool: always the path itself with a list of arguments, never a shell. Each call
// blocks the thread of its connection.
namespace tool {

constexpr int queryTimeoutMs = 30000;
constexpr int withoutLimit = -1;

// All that the tool has written.
struct Output
{
    QByteArray stdOut;
    QByteArray stdErr;
};

// Starts the tool with its standard input open and waits for its end. Whether the wait succeeded;
// it does not for a tool that cannot be started. An argument that holds a zero character would
// reach the tool cut short, and a start that takes the last descriptors could end the service: the
// operator is told then and nothing is started.
[[nodiscard]] bool startAndWait(ChildProcess *process,
                                const QString &vondPath,
                                const QStringList &arguments,
                                int timeoutMs);

// What the tool has printed on standard output when it ended, or when the time was up: then it is
// killed. Empty when it could not be started.
[[nodiscard]] QByteArray
shortQuery(const QString &vondPath, const QStringList &arguments, int timeoutMs = queryTimeoutMs);

// Runs the tool for as long as it takes. Nothing when the wait failed, as it does when the tool
// could not be started. Its exit status is not looked at.
[[nodiscard]] std::optional<Output> runToEnd(const QString &vondPath, const QStringList &arguments);

// Takes what the ended process has written and nobody has read yet, and logs it.
[[nodiscard]] Output takeOutput(ChildProcess *process);

// The operator's line for a conversion whose wait failed, on stderr. It says "timeout" although no
// conversion has a time limit.
void reportFailedConversionWait(const QString &inputPath);

// Whether the tool says that it failed: its standard error begins with "Error:".
[[nodiscard]] bool reportsError(const QByteArray &stdErr);

} // namespace tool
