#include "base/wholefile.h"
#include "jobs/result.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/testmain.h"

#include <QTest>

#include <cstring>

namespace {

// "first", zeros that take no space on the disk, "last".
bool makeSparseFile(const QString &path, qint64 size)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write("first") == 5 && file.seek(size - 4)
        && file.write("last") == 4;
}

bool isZeroBetweenTheWords(const QByteArray &bytes)
{
    // The first byte is, and each equals the next.
    const char *const zeroes = bytes.constData() + 5;
    return *zeroes == 0 && std::memcmp(zeroes, zeroes + 1, size_t(bytes.size() - 10)) == 0;
}

} // namespace

class LargeResultTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void aFileJustBelowTheLimitIsServedWhole_data();
    void aFileJustBelowTheLimitIsServedWhole();
};

void LargeResultTest::initTestCase()
{
    useOwnSettings();
}

void LargeResultTest::aFileJustBelowTheLimitIsServedWhole_data()
{
    QTest::addColumn<int>("size");

    QTest::newRow("the longest that Qt itself makes") << base::longestPlainArray;
    QTest::newRow("one byte more") << base::longestPlainArray + 1;
    QTest::newRow("the last byte below the limit") << 2147483646;
}

void LargeResultTest::aFileJustBelowTheLimitIsServedWhole()
{
    QFETCH(const int, size);
    const OwnWorkFolder folder;
    QVERIFY(makeSparseFile(folder.filePath(QStringLiteral("a")), size));
    OutputCatcher errors(OutputCatcher::Channel::Error);
    const QByteArray bytes = jobs::getConversionResult(QStringLiteral("a"));
    QCOMPARE(errors.take(), QByteArray());
    QCOMPARE(bytes.size(), size);
    QVERIFY(bytes.startsWith("first"));
    QVERIFY(bytes.endsWith("last"));
    QVERIFY(isZeroBetweenTheWords(bytes));
}

VOND_TEST(LargeResultTest);
#include "largeresulttest.moc"
