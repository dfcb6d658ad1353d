#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

namespace commands {

// Runs the tool with the arguments in the body, a JSON array. Returns what it printed and the files
// that can be fetched; an empty object on every failure, whose reason only the operator sees.
[[nodiscard]] QJsonObject vond(const QString &vondPath, const QByteArray &body);

} // namespace commands
