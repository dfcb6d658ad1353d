#include "logging/filelogging.h"

#include "logging/getlogfile.h"
#include "logging/logline.h"
#include "settings/keys.h"
#include "tests/support/inthreads.h"
#include "tests/support/messagecatcher.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/testmain.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QObject>
#include <QRegularExpression>
#include <QSettings>
#include <QStringList>
#include <QTemporaryDir>
#include <QTest>
#include <QTextCodec>
#include <QVector>

#include <thread>

namespace {

// The lines of a log file, without what varies: time and thread.
QStringList messagesIn(const QString &path)
{
    static const QRegularExpression line(
        QStringLiteral(R"(^\d\d-\d\d-\d{4} \d\d:\d\d:\d\d:\d{3} \[T\]:[1-9]\d{0,9}: (.*)$)"));
    QStringList messages;
    QStringList lines = QString::fromLocal8Bit(contentOf(path)).split(QLatin1Char('\n'));
    if (!lines.takeLast().isEmpty()) {
        return {QStringLiteral("the last line has no end")};
    }
    for (const QString &text : qAsConst(lines)) {
        const QRegularExpressionMatch match = line.match(text);
        messages << (match.hasMatch() ? match.captured(1) : QStringLiteral("no log line: ") + text);
    }
    return messages;
}

} // namespace

class FileLoggingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void theFirstLineOfARunIsServerStarting();
    void theFileIsReportedOnStandardOutput();
    void anOlderRunsLinesStay();
    void withoutALogFolderTheSystemsTemporaryFolderIsUsed();
    void withALogFolderThatIsMissingTheSystemsTemporaryFolderIsUsed();
    void aFolderWithASlashAtItsEndGetsASecondOne();
    void aFileThatCannotBeOpenedIsReportedWhereTheMessagesWentBefore();
    void messagesOfEveryTypeCarryNoLevelTag();
    void onceStartedNothingReachesTheHandlerBefore();
    void aMessageIsWrittenAsTheDebugStreamMadeIt();
    void textIsWrittenInTheLocalEncoding();
    void linesOfManyThreadsNeverInterleave();
    void everyLineNamesTheThreadThatWroteIt();
    void changingTheFolderMovesGetLogFileAndNotTheWriting();
    void aFileTakenAwayIsMadeAnewByTheNextMessage();
    void aMessageThatCannotBeWrittenIsLostInSilence();

private:
    void logInto(const QString &folder);

    QScopedPointer<QTemporaryDir> m_folder;
};

void FileLoggingTest::initTestCase()
{
    useOwnSettings();
}

void FileLoggingTest::init()
{
    m_folder.reset(new QTemporaryDir);
    QVERIFY(m_folder->isValid());
    QSettings().clear();
    (void)QFile::remove(QDir::tempPath() + QStringLiteral("/vondServer.log"));
}

void FileLoggingTest::cleanup()
{
    qInstallMessageHandler(nullptr);
}

// Starts logging into the folder and swallows the line on standard output.
void FileLoggingTest::logInto(const QString &folder)
{
    QSettings().setValue(settings::logFolderKey, folder);
    OutputCatcher output(OutputCatcher::Channel::Output);
    logging::startFileLogging();
    (void)output.take();
}

void FileLoggingTest::theFirstLineOfARunIsServerStarting()
{
    logInto(m_folder->path());
    qDebug() << "second";

    QCOMPARE(messagesIn(m_folder->filePath(QStringLiteral("vondServer.log"))),
             QStringList({QStringLiteral("Server starting ..."), QStringLiteral("second")}));
}

void FileLoggingTest::theFileIsReportedOnStandardOutput()
{
    QVERIFY(QDir(m_folder->path()).mkdir(QStringLiteral("für")));
    const QString folder = m_folder->filePath(QStringLiteral("für"));
    QSettings().setValue(settings::logFolderKey, folder);

    OutputCatcher output(OutputCatcher::Channel::Output);
    logging::startFileLogging();

    QCOMPARE(output.take(), "logging to:" + folder.toUtf8() + "/vondServer.log\n");
}

void FileLoggingTest::anOlderRunsLinesStay()
{
    logInto(m_folder->path());
    logInto(m_folder->path());

    QCOMPARE(messagesIn(m_folder->filePath(QStringLiteral("vondServer.log"))),
             QStringList(
                 {QStringLiteral("Server starting ..."), QStringLiteral("Server starting ...")}));
}

void FileLoggingTest::withoutALogFolderTheSystemsTemporaryFolderIsUsed()
{
    OutputCatcher output(OutputCatcher::Channel::Output);
    logging::startFileLogging();

    const QString path = QDir::tempPath() + QStringLiteral("/vondServer.log");
    QCOMPARE(output.take(), "logging to:" + path.toUtf8() + "\n");
    QCOMPARE(messagesIn(path), QStringList(QStringLiteral("Server starting ...")));
}

void FileLoggingTest::withALogFolderThatIsMissingTheSystemsTemporaryFolderIsUsed()
{
    logInto(m_folder->filePath(QStringLiteral("missing")));

    QCOMPARE(messagesIn(QDir::tempPath() + QStringLiteral("/vondServer.log")),
             QStringList(QStringLiteral("Server starting ...")));
}

void FileLoggingTest::aFolderWithASlashAtItsEndGetsASecondOne()
{
    QSettings().setValue(settings::logFolderKey, m_folder->path() + QLatin1Char('/'));

    OutputCatcher output(OutputCatcher::Channel::Output);
    logging::startFileLogging();

    QCOMPARE(output.take(), "logging to:" + m_folder->path().toUtf8() + "//vondServer.log\n");
}

void FileLoggingTest::aFileThatCannotBeOpenedIsReportedWhereTheMessagesWentBefore()
{
    QVERIFY(QDir(m_folder->path()).mkdir(QStringLiteral("vondServer.log")));
    QSettings().setValue(settings::logFolderKey, m_folder->path());
    const MessageCatcher catcher;

    OutputCatcher output(OutputCatcher::Channel::Output);
    logging::startFileLogging();
    qDebug() << "after";

    QCOMPARE(output.take(), QByteArray());
    QCOMPARE(catcher.messages(),
             QStringList({QStringLiteral("Log file not opened"), QStringLiteral("after")}));
}

void FileLoggingTest::messagesOfEveryTypeCarryNoLevelTag()
{
    logInto(m_folder->path());
    qDebug() << "debug";
    qInfo() << "info";
    qWarning() << "warning";
    qCritical() << "critical";
    // A fatal message ends the process once it is written, so it is passed directly to the handler.
    serverMessageHandler(
        QtFatalMsg, QMessageLogContext("file", 1, "function", "category"), QStringLiteral("fatal"));

    QCOMPARE(messagesIn(m_folder->filePath(QStringLiteral("vondServer.log"))),
             QStringList({QStringLiteral("Server starting ..."),
                          QStringLiteral("debug"),
                          QStringLiteral("info"),
                          QStringLiteral("warning"),
                          QStringLiteral("critical"),
                          QStringLiteral("fatal")}));
}

void FileLoggingTest::onceStartedNothingReachesTheHandlerBefore()
{
    const MessageCatcher catcher;
    logInto(m_folder->path());
    qDebug() << "message";

    QCOMPARE(catcher.messages(), QStringList());
}

void FileLoggingTest::aMessageIsWrittenAsTheDebugStreamMadeIt()
{
    logInto(m_folder->path());
    qDebug() << "label:" << QStringLiteral("a \"text\"") << 7 << "%1";

    QCOMPARE(messagesIn(m_folder->filePath(QStringLiteral("vondServer.log"))).last(),
             QStringLiteral("label: \"a \\\"text\\\"\" 7 %1"));
}

void FileLoggingTest::textIsWrittenInTheLocalEncoding()
{
    const QString text = QStringLiteral("für ∆");
    logInto(m_folder->path());
    qDebug().noquote() << text;

    const QByteArray content = contentOf(m_folder->filePath(QStringLiteral("vondServer.log")));
    QVERIFY2(content.endsWith(": " + QTextCodec::codecForLocale()->fromUnicode(text) + "\n"),
             content.constData());
}

void FileLoggingTest::linesOfManyThreadsNeverInterleave()
{
    constexpr int threadCount = 4;
    constexpr int messageCount = 250;
    const QString path = m_folder->filePath(QStringLiteral("vondServer.log"));
    logInto(m_folder->path());

    inThreads(threadCount, [](int thread) {
        // Longer than the text stream's own buffer of 16 KiB: one line takes several writes.
        const QByteArray body(20000, static_cast<char>('a' + thread));
        for (int message = 0; message < messageCount; ++message) {
            qDebug("%d %d %s", thread, message, body.constData());
        }
    });

    // Only whole lines, none lost, and those of each thread in order.
    QStringList messages = messagesIn(path);
    QCOMPARE(messages.takeFirst(), QStringLiteral("Server starting ..."));
    QCOMPARE(messages.size(), threadCount * messageCount);
    QVector<int> next(threadCount, 0);
    for (const QString &message : qAsConst(messages)) {
        const int thread = message.section(QLatin1Char(' '), 0, 0).toInt();
        const QString body(20000, QChar('a' + thread));
        QCOMPARE(message, QStringLiteral("%1 %2 %3").arg(thread).arg(next[thread]++).arg(body));
    }
}

void FileLoggingTest::everyLineNamesTheThreadThatWroteIt()
{
    logInto(m_folder->path());
    quint32 number = 0;
    std::thread([&] {
        number = logging::currentThreadNumber();
        qDebug("from the other thread");
    }).join();

    const QByteArray content = contentOf(m_folder->filePath(QStringLiteral("vondServer.log")));
    const auto tag = [](quint32 thread) { return "[T]:" + QByteArray::number(thread) + ": "; };
    QVERIFY(content.contains(tag(logging::currentThreadNumber()) + "Server starting ...\n"));
    QVERIFY(content.contains(tag(number) + "from the other thread\n"));
}

void FileLoggingTest::changingTheFolderMovesGetLogFileAndNotTheWriting()
{
    const QTemporaryDir other;
    QFile otherFile(other.filePath(QStringLiteral("vondServer.log")));
    QVERIFY(otherFile.open(QIODevice::WriteOnly));
    otherFile.write("what lies there\n");
    otherFile.close();

    logInto(m_folder->path());
    QSettings().setValue(settings::logFolderKey, other.path());
    qDebug() << "after the change";

    QCOMPARE(
        messagesIn(m_folder->filePath(QStringLiteral("vondServer.log"))),
        QStringList({QStringLiteral("Server starting ..."), QStringLiteral("after the change")}));
    QCOMPARE(logging::getLogFile(), QStringLiteral("what lies there\n"));
}

void FileLoggingTest::aFileTakenAwayIsMadeAnewByTheNextMessage()
{
    const QString path = m_folder->filePath(QStringLiteral("vondServer.log"));
    logInto(m_folder->path());
    QVERIFY(QFile::remove(path));
    qDebug() << "next";

    QCOMPARE(messagesIn(path), QStringList(QStringLiteral("next")));
}

void FileLoggingTest::aMessageThatCannotBeWrittenIsLostInSilence()
{
    logInto(m_folder->path());
    QVERIFY(m_folder->remove());

    OutputCatcher output(OutputCatcher::Channel::Output);
    OutputCatcher error(OutputCatcher::Channel::Error);
    qDebug() << "lost";

    QCOMPARE(output.take(), QByteArray());
    QCOMPARE(error.take(), QByteArray());
    QVERIFY(!QFile::exists(m_folder->path()));
}

VOND_TEST(FileLoggingTest);
#include "fileloggingtest.moc"
