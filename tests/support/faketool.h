#pragma once

#include <QDir>
#include <QStringList>

// The fake tool, as a test sees it. faketoolmain.cpp lists its behaviours.
namespace faketool {

[[nodiscard]] QString path();

// Chooses the behaviour of the following runs and forgets the last run. The choice is made in the
// environment, so it holds for the whole test program.
void behave(const char *behaviour, const QString &notesFolder = QDir::tempPath());

// The arguments of the last run, exactly as the tool received them. ran() says whether there was
// one.
[[nodiscard]] QStringList arguments();
[[nodiscard]] bool ran();

// The process of the last run, and whether it still exists.
[[nodiscard]] qint64 processId();
[[nodiscard]] bool isAlive(qint64 processId);

// Waits until a run has ended. Nobody else may wait for the tool meanwhile: it stays to be reaped.
void waitForTheEnd();

} // namespace faketool
