#include "app/settingscommands.h"

#include "settings/keys.h"

#include <QDebug>
#include <QFile>
#include <QLatin1String>
#include <QSettings>
#include <QString>
#include <QVariant>

#include <iostream>
#include <string_view>

namespace app {

namespace {

void storeText(QLatin1String key, const char *value)
{
    QSettings store;
    store.setValue(key, QString::fromUtf8(value));
    store.sync();
}

} // namespace

int getTempFolder()
{
    // Deliberate: no fallback to another folder here. The command shows what is stored.
    const QString folder = QSettings().value(settings::tempFolderKey).toString();
    if (QFile::exists(folder)) {
        qDebug() << "temp folder is:" << folder;
        std::cout << "TempFolder:" << folder.toStdString() << std::endl;
        return 0;
    }
    std::cout << "TempFolder:" << folder.toStdString() << std::endl;
    qDebug() << "Error? temp folder does not exist:" << folder;
    std::cerr << "TempFolder does not exist:" << folder.toStdString() << std::endl;
    return 0;
}

int setTempFolder(const char *value)
{
    qDebug() << "setting temp folder in prefs:" << value;
    storeText(settings::tempFolderKey, value);
    return 0;
}

int setLogFolder(const char *value)
{
    qDebug() << "setting log file folder in prefs:" << value;
    storeText(settings::logFolderKey, value);
    return 0;
}

int setLogging(const char *value)
{
    qDebug() << "setting server logging in prefs:" << value;
    const std::string_view word(value);
    QSettings store;
    if (word == "0") {
        store.setValue(settings::serverLoggingKey, false);
    } else if (word == "1") {
        store.setValue(settings::serverLoggingKey, true);
    } else {
        std::cerr << "setLogging:"
                  << "wrong argument:" << value << ", use '0' or '1'." << std::endl;
    }
    store.sync();
    // Deliberate: a wrong value causes an error message, but no failure.
    return 0;
}

int rejectCommand(const char *word)
{
    std::cerr << "Unknown command:" << word << std::endl;
    return -1;
}

} // namespace app
