#include "base/errorline.h"

#include "base/utf8text.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/testmain.h"

#include <QTest>

#include <fcntl.h>
#include <unistd.h>

class ErrorLineTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aLineGoesToStandardErrorWithItsLineEnd();
    void aLineThatCannotBeWrittenDoesNotSilenceTheNext();
    void aZeroByteDoesNotEndTheLine();
    void aZeroByteDoesNotEndAText();
    void bytesThatAreNoUtf8BecomeReplacementCharacters();
};

void ErrorLineTest::aLineGoesToStandardErrorWithItsLineEnd()
{
    OutputCatcher errors(OutputCatcher::Channel::Error);
    OutputCatcher output(OutputCatcher::Channel::Output);
    base::writeErrorLine("error: \xc3\xa4");
    QCOMPARE(errors.take(), QByteArray("error: \xc3\xa4\n"));
    QCOMPARE(output.take(), QByteArray());
}

void ErrorLineTest::aLineThatCannotBeWrittenDoesNotSilenceTheNext()
{
    OutputCatcher errors(OutputCatcher::Channel::Error);
    const int kept = ::dup(STDERR_FILENO);
    const int full = ::open("/dev/full", O_WRONLY);
    QVERIFY(full >= 0);
    ::dup2(full, STDERR_FILENO);
    base::writeErrorLine("lost");
    ::dup2(kept, STDERR_FILENO);
    ::close(full);
    ::close(kept);
    base::writeErrorLine("heard");
    QCOMPARE(errors.take(), QByteArray("heard\n"));
}

void ErrorLineTest::aZeroByteDoesNotEndTheLine()
{
    OutputCatcher errors(OutputCatcher::Channel::Error);
    base::writeErrorLine(QByteArray("a\0b", 3));
    QCOMPARE(errors.take(), QByteArray("a\0b\n", 4));
}

void ErrorLineTest::aZeroByteDoesNotEndAText()
{
    QCOMPARE(base::utf8Text(QByteArray("a\0b", 3)), QStringLiteral("a") + QChar(0) + QChar(u'b'));
}

void ErrorLineTest::bytesThatAreNoUtf8BecomeReplacementCharacters()
{
    QCOMPARE(base::utf8Text("caf\xe9"), QStringLiteral("caf\uFFFD"));
}

VOND_TEST(ErrorLineTest);
#include "errorlinetest.moc"
