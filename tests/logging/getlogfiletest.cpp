#include "logging/getlogfile.h"

#include "settings/keys.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/systemtexts.h"
#include "tests/support/testmain.h"

#include <QDir>
#include <QFile>
#include <QObject>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

class GetLogFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void theWholeFileIsAnsweredWithoutAnyLoggingSwitchedOn();
    void bytesAreReadAsUtf8();
    void aZeroByteDoesNotEndTheLog();
    void withoutALogFolderTheFileInTheSystemsTemporaryFolderIsRead();
    void withALogFolderThatIsMissingTheFileInTheSystemsTemporaryFolderIsRead();
    void anEmptyFileIsAnsweredInSilence();
    void aMissingFileIsReportedOnStandardErrorAndAnsweredEmpty();
    void aFolderInItsPlaceIsReportedOnStandardErrorAndAnsweredEmpty();
    void aFileLargerThanAByteArrayIsReportedOnStandardErrorAndAnsweredEmpty();

private:
    QScopedPointer<QTemporaryDir> m_folder;
    QString m_path;
};

void GetLogFileTest::initTestCase()
{
    useOwnSettings();
}

void GetLogFileTest::init()
{
    m_folder.reset(new QTemporaryDir);
    m_path = m_folder->filePath(QStringLiteral("vondServer.log"));
    QSettings().clear();
    QSettings().setValue(settings::logFolderKey, m_folder->path());
    (void)QFile::remove(QDir::tempPath() + QStringLiteral("/vondServer.log"));
}

void GetLogFileTest::theWholeFileIsAnsweredWithoutAnyLoggingSwitchedOn()
{
    makeFile(m_path, "one\ntwo\r\n\nthree");

    OutputCatcher error(OutputCatcher::Channel::Error);
    QCOMPARE(logging::getLogFile(), QStringLiteral("one\ntwo\r\n\nthree"));
    QCOMPARE(error.take(), QByteArray());
}

void GetLogFileTest::bytesAreReadAsUtf8()
{
    makeFile(m_path, "f\xc3\xbcr \xe2\x88\x86 \xff\n");

    QCOMPARE(logging::getLogFile(), QStringLiteral(u"f\u00fcr \u2206 \ufffd\n"));
}

void GetLogFileTest::aZeroByteDoesNotEndTheLog()
{
    makeFile(m_path, QByteArray("before\n\0\0after\n", 15));

    QCOMPARE(logging::getLogFile(), QString::fromLatin1("before\n\0\0after\n", 15));
}

void GetLogFileTest::withoutALogFolderTheFileInTheSystemsTemporaryFolderIsRead()
{
    QSettings().remove(settings::logFolderKey);
    makeFile(QDir::tempPath() + QStringLiteral("/vondServer.log"), "in the temporary folder\n");

    QCOMPARE(logging::getLogFile(), QStringLiteral("in the temporary folder\n"));
}

void GetLogFileTest::withALogFolderThatIsMissingTheFileInTheSystemsTemporaryFolderIsRead()
{
    QVERIFY(m_folder->remove());
    makeFile(QDir::tempPath() + QStringLiteral("/vondServer.log"), "in the temporary folder\n");

    QCOMPARE(logging::getLogFile(), QStringLiteral("in the temporary folder\n"));
}

void GetLogFileTest::anEmptyFileIsAnsweredInSilence()
{
    makeFile(m_path, {});

    OutputCatcher error(OutputCatcher::Channel::Error);
    QCOMPARE(logging::getLogFile(), QString());
    QCOMPARE(error.take(), QByteArray());
}

void GetLogFileTest::aMissingFileIsReportedOnStandardErrorAndAnsweredEmpty()
{
    OutputCatcher error(OutputCatcher::Channel::Error);
    QCOMPARE(logging::getLogFile(), QString());
    QCOMPARE(error.take(),
             "Could not open " + m_path.toLocal8Bit()
                 + " for reading: " + systemtexts::of(systemtexts::noFile) + '\n');
}

void GetLogFileTest::aFolderInItsPlaceIsReportedOnStandardErrorAndAnsweredEmpty()
{
    QVERIFY(QDir().mkdir(m_path));

    OutputCatcher error(OutputCatcher::Channel::Error);
    QCOMPARE(logging::getLogFile(), QString());
    QCOMPARE(error.take(),
             "Could not open " + m_path.toLocal8Bit()
                 + " for reading: " + systemtexts::of(systemtexts::isFolder) + '\n');
}

void GetLogFileTest::aFileLargerThanAByteArrayIsReportedOnStandardErrorAndAnsweredEmpty()
{
    QFile file(m_path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.resize(qint64(3) << 30)); // a hole, takes no space
    file.close();

    OutputCatcher error(OutputCatcher::Channel::Error);
    QCOMPARE(logging::getLogFile(), QString());
    QCOMPARE(error.take(), "Could not read " + m_path.toLocal8Bit() + ": too large\n");
}

VOND_TEST(GetLogFileTest);
#include "getlogfiletest.moc"
