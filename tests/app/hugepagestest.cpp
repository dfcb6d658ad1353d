#include "tests/support/rawclient.h"
#include "tests/support/serviceundertest.h"

#include <QFile>
#include <QObject>
#include <QTest>

namespace {

const char *const variable = "GLIBC_TUNABLES";
const char *const askForHugePages = "GLIBC_TUNABLES=glibc.malloc.hugetlb=1";

bool systemWantsToBeAsked()
{
    QFile file(QStringLiteral("/sys/kernel/mm/transparent_hugepage/enabled"));
    return file.open(QIODevice::ReadOnly) && file.readAll().contains("[madvise]");
}

// What the system tells of a process.
QByteArray told(const ServiceUnderTest &service, const QString &what)
{
    QFile file(QStringLiteral("/proc/%1/%2").arg(service.processId()).arg(what));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
}

// A tool that prints a variable of its environment, or "none".
QString makeTool(const QString &folder, const QByteArray &name = variable)
{
    QFile file(folder + QStringLiteral("/tool"));
    if (!file.open(QIODevice::WriteOnly)
        || file.write("#!/bin/sh\nprintf '%s' \"${" + name + "-none}\"\n") < 0) {
        return {};
    }
    file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    return file.fileName();
}

QByteArray toolAnswer(quint16 port)
{
    RawClient client(port);
    client.send("GET /version HTTP/1.1\r\nHost: localhost\r\n\r\n");
    const auto response = client.takeResponse();
    return response ? response->body : QByteArray("no answer");
}

} // namespace

// How the program takes its memory, as the system and the tool see it.
class HugePagesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void init()
    {
        QVERIFY(!qEnvironmentVariableIsSet(variable));
    }

    void theServiceAsksWhereItHasTo();
    void theToolIsToldNothingOfIt();
    void anOperatorsOwnChoiceStaysAndReachesTheTool();
    void itStartsAgainOnceAtTheMost();
};

void HugePagesTest::theServiceAsksWhereItHasTo()
{
    ServiceUnderTest service;
    QVERIFY(service.start(makeTool(service.temporaryFolder())));

    // What the process was given when it began for the last time.
    QCOMPARE(told(service, QStringLiteral("environ")).split('\0').contains(askForHugePages),
             systemWantsToBeAsked());
    QCOMPARE(told(service, QStringLiteral("comm")), QByteArray("vondServer\n"));
}

void HugePagesTest::theToolIsToldNothingOfIt()
{
    ServiceUnderTest service;
    QVERIFY(service.start(makeTool(service.temporaryFolder())));

    QCOMPARE(toolAnswer(service.port()), QByteArray("none"));
}

void HugePagesTest::anOperatorsOwnChoiceStaysAndReachesTheTool()
{
    const QByteArray own("glibc.malloc.hugetlb=0");
    ServiceUnderTest service;
    service.setEnvironment(QString::fromLatin1(variable), QString::fromLatin1(own));
    QVERIFY(service.start(makeTool(service.temporaryFolder())));

    QVERIFY(told(service, QStringLiteral("environ")).split('\0').contains(variable + ('=' + own)));
    QCOMPARE(toolAnswer(service.port()), own);
}

// As if the variable had been taken out of the environment on the way.
void HugePagesTest::itStartsAgainOnceAtTheMost()
{
    const QByteArray marker("VONDSERVER_STARTED_AGAIN");
    ServiceUnderTest service;
    service.setEnvironment(QString::fromLatin1(marker), QStringLiteral("1"));
    QVERIFY(service.start(makeTool(service.temporaryFolder(), marker)));

    QVERIFY(!told(service, QStringLiteral("environ")).split('\0').contains(askForHugePages));
    QCOMPARE(toolAnswer(service.port()), QByteArray("none")); // of the marker, that is
}

QTEST_GUILESS_MAIN(HugePagesTest)
#include "hugepagestest.moc"
