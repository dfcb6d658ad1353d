#include "settings/folders.h"

#include "base/room.h"
#include "settings/keys.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QVariant>

namespace settings {

namespace {

QString existingFolderOrTemp(const QString &folder)
{
    return QFile::exists(folder) ? folder : QDir::tempPath();
}

} // namespace

QString workFolder()
{
    base::ensureRoom(); // running out of memory in the next line would end the process
    const QSettings store;
    return existingFolderOrTemp(store.value(tempFolderKey, QDir::tempPath()).toString());
}

QString logFolder()
{
    base::ensureRoom(); // as above
    const QSettings store;
    return existingFolderOrTemp(store.value(logFolderKey).toString());
}

QString filePathIn(const QString &folder, const QString &name)
{
    // Deliberate: two chained calls, so a "%2" inside the folder is replaced by the name, too.
    // arg(folder, name) would leave it alone.
    return QStringLiteral("%1/%2").arg(folder).arg(name);
}

} // namespace settings
