#pragma once

#include "tool/childprocess.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

// Running the tool: always by its path with a list of arguments, never through a shell. Each call
// blocks its connection's thread.
namespace tool {

constexpr int queryTimeoutMs = 30000;
constexpr int withoutLimit = -1;

// Everything that the tool has written.
struct Output
{
    QByteArray stdOut;
    QByteArray stdErr;
};

// Starts the tool with its standard input open and waits for its end. Returns whether the wait
// succeeded; false for a tool that cannot be started. An argument with a zero character would reach
// the tool truncated, and a start that takes the last descriptors could end the service: in both
// cases it writes a line for the operator and starts nothing.
[[nodiscard]] bool startAndWait(ChildProcess *process,
                                const QString &vondPath,
                                const QStringList &arguments,
                                int timeoutMs);

// What the tool has printed on standard output when it ends or, killed, when the time is up. Empty
// when it could not be started.
[[nodiscard]] QByteArray
shortQuery(const QString &vondPath, const QStringList &arguments, int timeoutMs = queryTimeoutMs);

// Runs the tool for as long as it takes. Returns nothing when the wait failed or the tool could not
// be started. Ignores its exit status.
[[nodiscard]] std::optional<Output> runToEnd(const QString &vondPath, const QStringList &arguments);

// Takes what the finished process has written and nobody has read yet, and logs it.
[[nodiscard]] Output takeOutput(ChildProcess *process);

// Writes a line for the operator, on stderr, for a conversion whose wait failed. It says "timeout"
// although no conversion has a time limit.
void reportFailedConversionWait(const QString &inputPath);

// Whether the tool reports failure: its standard error begins with "Error:".
[[nodiscard]] bool reportsError(const QByteArray &stdErr);

} // namespace tool
