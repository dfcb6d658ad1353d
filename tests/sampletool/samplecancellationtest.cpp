#include "tests/support/testmain.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <memory>
#include <sys/types.h>

#include "pictures.h"
#include "toolrun.h"

class SampleCancellationTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void aStopFileEndsTheConversionWithinASecond_data();
    void aStopFileEndsTheConversionWithinASecond();
    void aStopFileThatIsThereAlreadyStopsAtOnce();
    void signalsEndTheConversionCleanly_data();
    void signalsEndTheConversionCleanly();
    void aReaderThatGoesAwayDoesNotEndTheConversion();

private:
    [[nodiscard]] QString path(const char *name) const;
    [[nodiscard]] QStringList arguments(const char *input) const;
    void startAndHold(QProcess &tool, const char *input);

    const QStringList m_pictures{QStringLiteral("interlaced.jpg"), QStringLiteral("large.jpg")};
    QTemporaryDir m_folder;
};

namespace {

constexpr int withinMs = 1000;

QStringList filesIn(const QTemporaryDir &folder)
{
    return QDir(folder.path())
        .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

void sendSignal(const QProcess &tool, int signal)
{
    QCOMPARE(::kill(static_cast<pid_t>(tool.processId()), signal), 0);
}

} // namespace

void SampleCancellationTest::initTestCase()
{
    pictures::start();
    pictures::writeLargePlain(path("large.jpg"), 9000, 6000, false);
    // Decoded entirely before the first line comes out: it does not check for a stop meanwhile.
    pictures::writeLargePlain(path("interlaced.jpg"), 12000, 9000, true);
}

void SampleCancellationTest::cleanup()
{
    for (const QString &name : filesIn(m_folder)) {
        if (!m_pictures.contains(name)) {
            QVERIFY(QFile::remove(m_folder.filePath(name)));
        }
    }
}

QString SampleCancellationTest::path(const char *name) const
{
    return m_folder.filePath(QString::fromUtf8(name));
}

QStringList SampleCancellationTest::arguments(const char *input) const
{
    return {QStringLiteral("--progress"),
            QStringLiteral("--stopfile=") + path("stop.txt"),
            QStringLiteral("--translateerror"),
            QStringLiteral("--overwriteoutput=increment"),
            QStringLiteral("-c"),
            QStringLiteral("PressCMYK"),
            path(input),
            QStringLiteral("-o"),
            path("o.tif")};
}

// Suspends the tool in the middle of its work, so that it cannot finish before the test goes on.
void SampleCancellationTest::startAndHold(QProcess &tool, const char *input)
{
    tool.start(toolPath(), arguments(input));
    QVERIFY(tool.waitForReadyRead());
    QTRY_VERIFY(filesIn(m_folder).size() > m_pictures.size()); // its temporary file
    sendSignal(tool, SIGSTOP);
}

void SampleCancellationTest::aStopFileEndsTheConversionWithinASecond_data()
{
    QTest::addColumn<QString>("input");

    QTest::newRow("while lines are converted") << "large.jpg";
    QTest::newRow("while a reader decodes the whole") << "interlaced.jpg";
}

void SampleCancellationTest::aStopFileEndsTheConversionWithinASecond()
{
    QFETCH(const QString, input);

    QProcess tool;
    startAndHold(tool, input.toUtf8().constData());
    QFile stop(path("stop.txt"));
    QVERIFY(stop.open(QIODevice::WriteOnly));
    stop.close();

    QElapsedTimer timer;
    timer.start();
    sendSignal(tool, SIGCONT);
    // It reports when everything has been cleaned up.
    const QByteArray text = "The conversion was cancelled by its stop file.";
    QByteArray told;
    while (!told.endsWith(text + '\n') && tool.waitForReadyRead()) {
        told += tool.readAllStandardOutput();
    }
    const qint64 took = timer.elapsed();
    QVERIFY2(told.endsWith(text + '\n'), told.constData());
    QCOMPARE(filesIn(m_folder), m_pictures + QStringList{QStringLiteral("stop.txt")});
    QVERIFY2(took < withinMs, qPrintable(QString::number(took)));

    QVERIFY(tool.state() == QProcess::NotRunning || tool.waitForFinished());
    QCOMPARE(tool.exitStatus(), QProcess::NormalExit);
    QCOMPARE(tool.exitCode(), 1);
    const QByteArray error = tool.readAllStandardError();
    QVERIFY2(error.startsWith("Error: " + text), error.constData());
}

void SampleCancellationTest::aStopFileThatIsThereAlreadyStopsAtOnce()
{
    QFile stop(path("stop.txt"));
    QVERIFY(stop.open(QIODevice::WriteOnly));
    stop.close();
    const ToolRun run = runTool(arguments("large.jpg"));
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray("The conversion was cancelled by its stop file.\n"));
    QVERIFY(run.err.startsWith("Error: The conversion was cancelled by its stop file."));
    QCOMPARE(filesIn(m_folder), m_pictures + QStringList{QStringLiteral("stop.txt")});
}

void SampleCancellationTest::signalsEndTheConversionCleanly_data()
{
    QTest::addColumn<int>("signal");

    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGHUP") << SIGHUP;
}

void SampleCancellationTest::signalsEndTheConversionCleanly()
{
    QFETCH(const int, signal);

    QProcess tool;
    startAndHold(tool, "large.jpg");
    sendSignal(tool, signal);
    sendSignal(tool, SIGCONT);
    QVERIFY(tool.waitForFinished());
    QCOMPARE(tool.exitCode(), 1);
    const QByteArray text =
        "The conversion was ended by signal " + QByteArray::number(signal) + '.';
    QVERIFY(tool.readAllStandardOutput().endsWith(text + '\n'));
    QVERIFY(tool.readAllStandardError().startsWith("Error: " + text));
    QCOMPARE(filesIn(m_folder), m_pictures);
}

void SampleCancellationTest::aReaderThatGoesAwayDoesNotEndTheConversion()
{
    QProcess tool;
    tool.start(toolPath(), arguments("large.jpg"));
    QVERIFY(tool.waitForReadyRead());
    tool.closeReadChannel(QProcess::StandardOutput);
    QVERIFY(tool.waitForFinished());
    QCOMPARE(tool.exitStatus(), QProcess::NormalExit);
    QCOMPARE(tool.exitCode(), 0);
    QCOMPARE(pictures::read(path("o.tif")).width, 9000);
}

VOND_TEST(SampleCancellationTest);
#include "samplecancellationtest.moc"
