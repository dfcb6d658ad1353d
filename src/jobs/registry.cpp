#include "jobs/registry.h"

#include "base/debugline.h"

#include <QMutex>
#include <QMutexLocker>

namespace jobs {

namespace {

QBasicMutex
    registryMutex; // guards every registry; of all that locks, only the logger is called under it

} // namespace

void registerRequest(Registry *registry, const QString &id)
{
    const QMutexLocker lock(&registryMutex);
    registry->insert(id, QStringLiteral("Progress: 0%"));
}

void setProgressText(Registry *registry, const QString &id, const QString &text)
{
    const QMutexLocker lock(&registryMutex);
    registry->insert(id, text);
}

QString progressText(Registry *registry, const QString &id)
{
    const QMutexLocker lock(&registryMutex);
    const QString text = registry->value(id);
    if (text.isEmpty()) {
        base::debugLine("Requests: ");
        base::debugLine(registry->keys());
    }
    return text;
}

void removeRequest(Registry *registry, const QString &id)
{
    const QMutexLocker lock(&registryMutex);
    registry->remove(id);
}

} // namespace jobs
