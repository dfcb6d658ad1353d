#pragma once

#include <QDir>
#include <QStringList>

// The stand-in for the tool, as a test sees it. standintool.cpp lists its behaviours.
namespace standin {

[[nodiscard]] QString path();

// Chooses the behaviour of the runs that follow and forgets the run before. The choice travels in
// the environment, so it is the whole program's.
void behave(const char *behaviour, const QString &notesFolder = QDir::tempPath());

// The arguments of the last run, exactly as the tool got them. ran() tells whether there was one.
[[nodiscard]] QStringList arguments();
[[nodiscard]] bool ran();

// The process of the last run, and whether it still exists.
[[nodiscard]] qint64 processId();
[[nodiscard]] bool isAlive(qint64 processId);

} // namespace standin
