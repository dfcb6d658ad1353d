#include "tests/support/ownfolders.h"

#include "settings/keys.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSettings>

void useOwnSettings()
{
    QCoreApplication::setOrganizationName(QStringLiteral("meridane"));
    QCoreApplication::setApplicationName(QStringLiteral("vondServer"));
    if (qEnvironmentVariableIsEmpty("XDG_CONFIG_HOME")) {
        qFatal("run the tests through ctest: the settings would be the caller's own");
    }
    QSettings().clear();
}

void setWorkFolder(const QString &folder)
{
    QSettings().setValue(settings::tempFolderKey, folder);
}

// Not below the program's own temporary folder: the rule for free names looks at dots anywhere in
// the path, so there must be none.
OwnWorkFolder::OwnWorkFolder()
    : m_folder(QStringLiteral("/tmp/vondtest-XXXXXX"))
{
    setWorkFolder(path());
}

QString OwnWorkFolder::path() const
{
    return m_folder.path();
}

QString OwnWorkFolder::filePath(const QString &name) const
{
    return path() + QLatin1Char('/') + name;
}

QStringList OwnWorkFolder::names() const
{
    return QDir(path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        qWarning("no such file: %s", qPrintable(path));
        return {};
    }
    return file.readAll();
}

void makeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()) {
        qFatal("could not make %s", qPrintable(path));
    }
}
