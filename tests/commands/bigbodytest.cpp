#include "commands/convertwithlocaldata.h"
#include "commands/vondcommand.h"
#include "tests/support/faketool.h"
#include "tests/support/messagecatcher.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/testmain.h"

#include <QTest>

namespace {

constexpr int base64Bytes = 100 * 1024 * 1024;
constexpr int fileBytes = base64Bytes / 4 * 3;
constexpr qint64 toleratedBytes = Q_INT64_C(16) * 1024 * 1024;

// The process's resident memory.
qint64 residentBytes()
{
    return contentOf(QStringLiteral("/proc/self/statm")).split(' ').value(1).toLongLong() * 4096;
}

} // namespace

class BigBodyTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void aBigFileForTheToolIsWrittenAndItsMemoryGivenBack();
    void aBigImageIsWrittenAndItsMemoryGivenBack();
    void aBigBodyThatIsNoJsonIsReportedWholeAndItsMemoryGivenBack();
};

void BigBodyTest::initTestCase()
{
    useOwnSettings();
    faketool::behave("print nothing");
    if (residentBytes() <= 0) {
        QSKIP("this system does not tell how much memory is resident");
    }
}

void BigBodyTest::aBigFileForTheToolIsWrittenAndItsMemoryGivenBack()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    const qint64 before = residentBytes();
    {
        const QByteArray base64(base64Bytes, 'A');
        QCOMPARE(commands::vond(faketool::path(),
                                "[{\"filename\": \"a\", \"data\": \"" + base64 + "\"}]")
                     .size(),
                 2);
    }
    QVERIFY(residentBytes() - before < toleratedBytes);
    QCOMPARE(QFileInfo(folder.filePath(QStringLiteral("a"))).size(), qint64(fileBytes));
}

void BigBodyTest::aBigImageIsWrittenAndItsMemoryGivenBack()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    const qint64 before = residentBytes();
    {
        const QByteArray base64(base64Bytes, 'A');
        QCOMPARE(commands::convertWithLocalData(
                     faketool::path(), "{\"fileName\": \"a\", \"imgData\": \"" + base64 + "\"}"),
                 QStringLiteral("a_."));
    }
    QVERIFY(residentBytes() - before < toleratedBytes);
    QCOMPARE(QFileInfo(folder.filePath(QStringLiteral("a"))).size(), qint64(fileBytes));
}

void BigBodyTest::aBigBodyThatIsNoJsonIsReportedWholeAndItsMemoryGivenBack()
{
    const qint64 before = residentBytes();
    {
        OutputCatcher errors(OutputCatcher::Channel::Error);
        QCOMPARE(commands::vond(faketool::path(), QByteArray(base64Bytes, 'A')), QJsonObject());
        QCOMPARE(errors.take().size(),
                 int(qstrlen("error: no json array with arguments\n")) + base64Bytes);
    }
    QVERIFY(residentBytes() - before < toleratedBytes);
}

VOND_TEST(BigBodyTest);
#include "bigbodytest.moc"
