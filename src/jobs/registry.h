#pragma once

#include <QMap>
#include <QString>

// Running conversions: maps the request ID to the tool's last progress text. One per server, shared
// by all connections, so any thread may call; the functions share one lock. Any ID is valid, even
// an empty one.
namespace jobs {

using Registry = QMap<QString, QString>;

// Sets the job's progress to "Progress: 0%", whether or not it exists.
void registerRequest(Registry *registry, const QString &id);

// Creates the entry if it is missing.
void setProgressText(Registry *registry, const QString &id, const QString &text);

// Empty when there is no such entry; then logs the known IDs.
[[nodiscard]] QString progressText(Registry *registry, const QString &id);

void removeRequest(Registry *registry, const QString &id);

} // namespace jobs
