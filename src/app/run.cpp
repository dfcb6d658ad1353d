#include "app/run.h"

#include "app/codepage.h"
#include "app/commandline.h"
#include "app/identity.h"
#include "app/inheritedstate.h"
#include "app/serving.h"
#include "app/settingscommands.h"
#include "logging/filelogging.h"
#include "settings/keys.h"

#include <QCoreApplication>
#include <QDebug>
#include <QSettings>
#include <QVariant>
#include <QtGlobal>

namespace app {

namespace {

// Qt's own event dispatcher is faster than the GLib one and lets an exception through to the place
// that catches it. Qt reads this variable whenever it creates a dispatcher, in every thread. The
// tool inherits it, which does no harm: only Qt programs read it.
void preferQtsOwnEventDispatcher()
{
    qputenv("QT_NO_GLIB", "1");
}

// Shows an administrator, in the log and in the store, whether and where settings can be written.
void writeProbe(QSettings &store)
{
    // Qt keeps a value that cannot be written and retries it from then on, instead of reading what
    // others have stored meanwhile. So a read-only store gets none.
    if (store.isWritable()) {
        store.setValue(settings::probeKey, QStringLiteral("servertester"));
        store.sync();
    }
    qDebug() << "server prefs" << store.fileName();
}

int execute(const Words &words, const QSettings &store)
{
    switch (commandFor(words)) {
    case Command::GetTempFolder:
        return getTempFolder();
    case Command::SetTempFolder:
        return setTempFolder(words.at(1));
    case Command::SetLogging:
        return setLogging(words.at(1));
    case Command::SetLogFolder:
        return setLogFolder(words.at(1));
    case Command::ServeAsGiven:
        return serveAsGiven(words.at(0), words.at(1), words.at(2));
    case Command::ServeAsStored:
        return serveAsStored(store);
    case Command::Unknown:
        break;
    }
    return rejectCommand(words.at(0));
}

} // namespace

int run(int &argc, char **argv)
{
    settleInheritedState();
    useUtf8();
    setIdentity();
    preferQtsOwnEventDispatcher();
    const QCoreApplication application(argc, argv);

    QSettings store;
    if (store.value(settings::serverLoggingKey).toBool()) {
        logging::startFileLogging();
    }
    warnOfCodePage(codePage());
    writeProbe(store);
    return execute(wordsAfterProgramName(argc, argv), store);
}

} // namespace app
