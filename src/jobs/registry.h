#pragma once

#include <QMap>
#include <QString>

// What runs: request ID to the last progress text of the tool. One per server, shared by all
// connections, so any thread may call; the functions take turns under one lock of their own. IDs
// are taken as they come, the empty one too.
namespace jobs {

using Registry = QMap<QString, QString>;

// The job reads "Progress: 0%" from now on; one that is there already starts anew.
void registerRequest(Registry *registry, const QString &id);

// Makes the entry when it is missing.
void setProgressText(Registry *registry, const QString &id, const QString &text);

// Empty when there is no such entry; then the known IDs are logged.
[[nodiscard]] QString progressText(Registry *registry, const QString &id);

void removeRequest(Registry *registry, const QString &id);

} // namespace jobs
