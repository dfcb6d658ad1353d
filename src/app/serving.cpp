#include "app/serving.h"

#include "app/descriptorlimit.h"
#include "app/endofsession.h"
#include "app/freedmemory.h"
#include "app/listening.h"
#include "server/vondserver.h"
#include "settings/keys.h"

#include <QCoreApplication>
#include <QDebug>
#include <QFile>
#include <QHostAddress>
#include <QString>
#include <QVariant>

#include <iostream>

namespace app {

namespace {

constexpr int startFailed = -1;

QString toolPath; // set at start; the server gets a copy

void warnWithoutTool()
{
    if (QFile::exists(toolPath)) {
        return;
    }
    const char *const text = "warning: no vond-exe not found";
    std::cerr << text << toolPath.toStdString() << std::endl;
    qDebug() << text << toolPath;
}

// Runs until the event loop ends.
int listenAndRun(const QHostAddress &address, int typedPort)
{
    raiseDescriptorLimit();
    returnFreedMemory();

    VondServer server(toolPath);
    if (server.isListening()) {
        server.close();
    }
    if (const auto reason = startListening(server, address, listenPort(typedPort))) {
        const char *const text = "Error: unable to start the http-server:";
        std::cerr << text << reason->toStdString() << std::endl;
        qDebug() << text << *reason;
        return startFailed;
    }
    endWithTheSession();
    qDebug() << announcement(address, typedPort);

    const int result = QCoreApplication::exec();
    qDebug() << "server exited";
    return result;
}

int serve(const QString &host, const QString &port)
{
    if (host.isEmpty()) {
        std::cerr << "error: no hostIP set" << std::endl;
        return startFailed;
    }
    if (port.isEmpty()) {
        std::cerr << "error: no portNumber set" << std::endl;
        return startFailed;
    }
    bool isNumber = false;
    const int typedPort = port.toInt(&isNumber, 10);
    if (!isNumber) {
        const char *const text = "error: portNumber is not an integer value, eg. 8080";
        std::cerr << text << std::endl;
        qDebug() << text;
        return startFailed;
    }
    warnWithoutTool();
    return listenAndRun(listenAddress(host), typedPort);
}

} // namespace

int serveAsGiven(const char *host, const char *port, const char *path)
{
    const QString hostText = QString::fromUtf8(host);
    const QString portText = QString::fromUtf8(port);
    toolPath = QString::fromUtf8(path);

    qDebug() << "host:" << hostText;
    qDebug() << "port:" << portText;
    if (!QFile::exists(toolPath)) {
        const char *const text = "wrong vondPath, file does not exist:";
        qDebug() << text << toolPath;
        // Deliberate: the only line without a line end.
        std::cerr << text << toolPath.toStdString();
        return startFailed;
    }
    qDebug() << "vondPath:" << toolPath;
    return serve(hostText, portText);
}

int serveAsStored(const QSettings &store)
{
    toolPath = store.value(settings::vondPathKey).toString();
    return serve(store.value(settings::hostIpKey).toString(),
                 store.value(settings::portNumberKey).toString());
}

} // namespace app
