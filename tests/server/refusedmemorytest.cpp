#include "tests/support/refusedmemory.h"

#include "commands/convertwithlocaldata.h"
#include "commands/localdataplan.h"
#include "commands/vondanswer.h"
#include "commands/vondcommand.h"
#include "http/qhttpserverresponse.h"
#include "jobs/connectionjob.h"
#include "jobs/conversionplan.h"
#include "jobs/convert.h"
#include "tests/support/faketool.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/testmain.h"

#include <QDir>
#include <QTest>

#include <functional>
#include <new>

using refusedmemory::Mode;
using refusedmemory::running;

namespace {

// JSON written with single quotes.
QByteArray json(const char *text)
{
    return QByteArray(text).replace('\'', '"');
}

} // namespace

// Two parts of Qt end the program when an allocation fails, so they are exempt: the settings, and
// connecting a signal. The linker redirects calls of these functions to here ("wrap"), and provides
// the originals under another name ("real").
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
QString realWorkFolder() __asm__("__real__ZN8settings10workFolderEv");
QString sparedWorkFolder() __asm__("__wrap__ZN8settings10workFolderEv");
QMetaObject::Connection
realConnect(const QObject *sender,
            const char *signal,
            const QObject *receiver,
            const char *slot,
            Qt::ConnectionType
                type) __asm__("__real__ZN7QObject7connectEPKS_PKcS1_S3_N2Qt14ConnectionTypeE");
QMetaObject::Connection
sparedConnect(const QObject *sender,
              const char *signal,
              const QObject *receiver,
              const char *slot,
              Qt::ConnectionType
                  type) __asm__("__wrap__ZN7QObject7connectEPKS_PKcS1_S3_N2Qt14ConnectionTypeE");

// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

QString sparedWorkFolder()
{
    const refusedmemory::Pause pause;
    return realWorkFolder();
}

QMetaObject::Connection sparedConnect(const QObject *sender,
                                      const char *signal,
                                      const QObject *receiver,
                                      const char *slot,
                                      Qt::ConnectionType type)
{
    const refusedmemory::Pause pause;
    return realConnect(sender, signal, receiver, slot, type);
}

// Lends what a connection's handler lends.
class ConversionHandler : public QObject
{
    Q_OBJECT

public:
    jobs::ConnectionJob lend()
    {
        return {this, m_process, m_requestId, m_lastStdOutMsg};
    }

public Q_SLOTS:

    void handleVondProgress()
    {
        m_lastStdOutMsg = QString::fromUtf8(m_process->readAllStandardOutput());
    }

private:
    tool::ChildProcess *m_process = nullptr;
    QString m_requestId;
    QString m_lastStdOutMsg;
};

// The routes that read JSON, without and with a run of the tool, and making the response, with
// every allocation failing in turn. They may throw std::bad_alloc and nothing else, and the program
// goes on.
class RefusedMemoryTest : public QObject
{
    Q_OBJECT

private:
    using Action = std::function<void()>;

    // Whether any allocation failed.
    bool refuse(Mode mode, qint64 n, const Action &action) const
    {
        const char *const tag = QTest::currentDataTag();
        running = {tag != nullptr ? tag : QTest::currentTestFunction(), mode, n};
        refusedmemory::begin(mode, n);
        try {
            action();
        } catch (const std::bad_alloc &) {
            // as it should be
        }
        const bool refused = refusedmemory::end() > 0;
        QDir folder(m_folder.path()); // files in the request
        for (const QString &name : folder.entryList(QDir::Files)) {
            (void)folder.remove(name);
        }
        return refused;
    }

    // The number of allocations that can fail.
    qint64 refuseEach(Mode mode, const Action &action) const
    {
        qint64 n = 0;
        while (refuse(mode, n, action)) {
            ++n;
        }
        return n;
    }

    void refuseAll(const Action &action) const
    {
        action(); // creates what is created only once
        const qint64 once = refuseEach(Mode::Once, action);
        const qint64 all = refuseEach(Mode::FromThenOn, action);
        QVERIFY2(once > 3 && all > 3, "hardly anything was refused");
        for (qint64 size = 1 << 20; size >= 8; size = size * 7 / 8) {
            (void)refuse(Mode::LargeOnes, size, action);
        }
        action(); // and it works as before
    }

private Q_SLOTS:

    void initTestCase()
    {
        refusedmemory::prepare(m_folder.path(), m_logFolder.path());
    }

    void readingEndsInAnException_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("a conversion") << json(
            "{'fileName':'a.tif','reqestID':'\\u00e4','configuration':'\xc3\xa4','x':[[1.5]]}");
        QTest::newRow("an image with options")
            << json("{'fileName':'a.tif','imgData':'QUJD','configuration':'Web','setOptions':"
                    "{'setOptions':[{'--dpi':'300','\\u0061':1},{'local:':{'filename':'p',"
                    "'data':'QUJD','option':'o'}},[],1e7]}}");
        QTest::newRow("a number that takes memory") << json("{'fileName':'a','x':[1.5e+7]}");
    }

    void readingEndsInAnException()
    {
        QFETCH(const QByteArray, body);
        refuseAll([&] {
            (void)jobs::planConversion(jobs::readConversionRequest(body), QStringLiteral("/t"));
            (void)commands::readLocalDataRequest(body);
        });
    }

    // The request asks for a run of the tool, and a zero character in it is rejected just before
    // the start.
    void convertEndsInAnException()
    {
        const QByteArray body =
            json("{'fileName':'a.tif','reqestID':'1\\u0000','configuration':'\\u0000'}");
        jobs::Registry registry;
        const OutputCatcher error(OutputCatcher::Channel::Error);
        refuseAll([&] {
            ConversionHandler handler;
            (void)QHttpServerResponse(
                jobs::convert(faketool::path(), &registry, handler.lend(), body));
        });
    }

    void convertWithLocalDataEndsInAnException()
    {
        const QByteArray body =
            json("{'fileName':'a.tif','imgData':'QUJD','configuration':'\\u0000','setOptions':"
                 "{'setOptions':[{'--dpi':'300','\\u0061':1},{'local:':{'filename':'p',"
                 "'data':'QUJD','option':'o'}},[],1e7]}}");
        const OutputCatcher error(OutputCatcher::Channel::Error);
        refuseAll([&] {
            (void)QHttpServerResponse(commands::convertWithLocalData(faketool::path(), body));
        });
    }

    void vondEndsInAnException_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("arguments")
            << json("['a\\u0000','-o=return:b',{'filename':'p','data':'QUJD'}]");
        QTest::newRow("a wrong element") << json("['a',[[['x']]]]");
        QTest::newRow("an empty array") << json("[]");
        QTest::newRow("no JSON") << QByteArray("[[0],").repeated(1000);
        QTest::newRow("many arguments")
            << '[' + QByteArray("\"a\",").repeated(300) + "\"\\u0000\"]";
    }

    void vondEndsInAnException()
    {
        QFETCH(const QByteArray, body);
        const OutputCatcher error(OutputCatcher::Channel::Error);
        refuseAll([&] { (void)QHttpServerResponse(commands::vond(faketool::path(), body)); });
    }

    // With a run of the tool, too, which prints its arguments or nothing.
    void aRunEndsInAnException_data()
    {
        QTest::addColumn<QByteArray>("route");
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("a conversion")
            << QByteArray("/convert") << json("{'fileName':'a.tif','configuration':'Web'}");
        QTest::newRow("an image") << QByteArray("/convertWithLocalData")
                                  << json("{'fileName':'a.tif','imgData':'QUJD'}");
        QTest::newRow("arguments") << QByteArray("/vond") << json("['a','return:b']");
    }

    void aRunEndsInAnException()
    {
        QFETCH(const QByteArray, route);
        QFETCH(const QByteArray, body);
        faketool::behave("print nothing");
        jobs::Registry registry;
        const OutputCatcher error(OutputCatcher::Channel::Error);
        refuseAll([&] {
            if (route == "/convert") {
                ConversionHandler handler;
                (void)QHttpServerResponse(
                    jobs::convert(faketool::path(), &registry, handler.lend(), body));
            } else if (route == "/vond") {
                (void)QHttpServerResponse(commands::vond(faketool::path(), body));
            } else {
                (void)QHttpServerResponse(commands::convertWithLocalData(faketool::path(), body));
            }
        });
    }

    void anAnswerEndsInAnException()
    {
        const tool::Output output{"said \xc3\xa4\n\"x\"", "Error: b.tif\nmore"};
        const QStringList keys{QStringLiteral("a.tif"), QStringLiteral("b.tif")};
        refuseAll([&] { (void)QHttpServerResponse(commands::vondAnswer(output, keys)); });
    }

private:
    OwnWorkFolder m_folder;
    QTemporaryDir m_logFolder;
};

VOND_TEST(RefusedMemoryTest);
#include "refusedmemorytest.moc"
