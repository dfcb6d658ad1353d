#pragma once

#include "tool/run.h"

#include <QJsonObject>
#include <QStringList>

namespace commands {

// The keys that no "Error:" line in the tool's standard error mentions. Logs each key it removes.
[[nodiscard]] QStringList survivingReturnKeys(const QStringList &keys, const QByteArray &stdErr);

// The members by which the client finds its files: base name to full name.
[[nodiscard]] QJsonObject returnFilesDict(const QStringList &keys);

// The response after a run of the tool.
[[nodiscard]] QJsonObject vondAnswer(const tool::Output &output, const QStringList &returnKeys);

} // namespace commands
