#include "logging/getlogfile.h"

#include "settings/keys.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QObject>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <functional>
#include <unistd.h>

namespace {

// What the function writes to standard error.
QByteArray standardErrorOf(const std::function<void()> &function)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("stderr"));
    std::fflush(stderr);
    const int before = dup(STDERR_FILENO);
    if (std::freopen(QFile::encodeName(path).constData(), "w", stderr) == nullptr) {
        return "standard error cannot be turned away";
    }
    function();
    std::fflush(stderr);
    dup2(before, STDERR_FILENO);
    close(before);

    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : "no file of standard error";
}

void write(const QString &path, const QByteArray &content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), qint64(content.size()));
}

} // namespace

class GetLogFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void theWholeFileIsAnsweredWithoutAnyLoggingSwitchedOn();
    void bytesAreReadAsUtf8();
    void withoutALogFolderTheFileInTheSystemsTemporaryFolderIsRead();
    void withALogFolderThatIsMissingTheFileInTheSystemsTemporaryFolderIsRead();
    void anEmptyFileIsAnsweredInSilence();
    void aMissingFileIsToldOnStandardErrorAndAnsweredEmpty();
    void aFolderInItsPlaceIsToldOnStandardErrorAndAnsweredEmpty();
    void aFileLargerThanAByteArrayIsToldOnStandardErrorAndAnsweredEmpty();

private:
    QScopedPointer<QTemporaryDir> m_folder;
    QString m_path;
};

void GetLogFileTest::initTestCase()
{
    QCoreApplication::setOrganizationName(QStringLiteral("meridane"));
    QCoreApplication::setApplicationName(QStringLiteral("vondServer"));
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
    write(m_path, "one\ntwo\r\n\nthree");

    QString answer;
    QCOMPARE(standardErrorOf([&] { answer = logging::getLogFile(); }), QByteArray());
    QCOMPARE(answer, QStringLiteral("one\ntwo\r\n\nthree"));
}

void GetLogFileTest::bytesAreReadAsUtf8()
{
    write(m_path, "f\xc3\xbcr \xe2\x88\x86 \xff\n");

    QCOMPARE(logging::getLogFile(), QStringLiteral(u"f\u00fcr \u2206 \ufffd\n"));
}

void GetLogFileTest::withoutALogFolderTheFileInTheSystemsTemporaryFolderIsRead()
{
    QSettings().remove(settings::logFolderKey);
    write(QDir::tempPath() + QStringLiteral("/vondServer.log"), "in the temporary folder\n");

    QCOMPARE(logging::getLogFile(), QStringLiteral("in the temporary folder\n"));
}

void GetLogFileTest::withALogFolderThatIsMissingTheFileInTheSystemsTemporaryFolderIsRead()
{
    QVERIFY(m_folder->remove());
    write(QDir::tempPath() + QStringLiteral("/vondServer.log"), "in the temporary folder\n");

    QCOMPARE(logging::getLogFile(), QStringLiteral("in the temporary folder\n"));
}

void GetLogFileTest::anEmptyFileIsAnsweredInSilence()
{
    write(m_path, {});

    QString answer;
    QCOMPARE(standardErrorOf([&] { answer = logging::getLogFile(); }), QByteArray());
    QCOMPARE(answer, QString());
}

void GetLogFileTest::aMissingFileIsToldOnStandardErrorAndAnsweredEmpty()
{
    QString answer;
    QCOMPARE(standardErrorOf([&] { answer = logging::getLogFile(); }),
             "Could not open " + m_path.toLocal8Bit()
                 + " for reading: No such file or directory\n");
    QCOMPARE(answer, QString());
}

void GetLogFileTest::aFolderInItsPlaceIsToldOnStandardErrorAndAnsweredEmpty()
{
    QVERIFY(QDir().mkdir(m_path));

    QString answer;
    QCOMPARE(standardErrorOf([&] { answer = logging::getLogFile(); }),
             "Could not open " + m_path.toLocal8Bit()
                 + " for reading: file to open is a directory\n");
    QCOMPARE(answer, QString());
}

void GetLogFileTest::aFileLargerThanAByteArrayIsToldOnStandardErrorAndAnsweredEmpty()
{
    QFile file(m_path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.resize(qint64(3) << 30)); // a hole, takes no space
    file.close();

    QString answer;
    QCOMPARE(standardErrorOf([&] { answer = logging::getLogFile(); }),
             "Could not read " + m_path.toLocal8Bit() + ": too large\n");
    QCOMPARE(answer, QString());
}

QTEST_GUILESS_MAIN(GetLogFileTest)
#include "getlogfiletest.moc"
