#include "app/codepage.h"

#include "tests/support/messagecatcher.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/testmain.h"

namespace {

constexpr unsigned utf8 = 65001;

} // namespace

class CodePageTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theCodePageIsUtf8();
    void utf8IsNotTold();
    void anotherCodePageIsToldOnConsoleAndInTheLog();
};

void CodePageTest::theCodePageIsUtf8()
{
    QCOMPARE(app::codePage(), utf8);
}

void CodePageTest::utf8IsNotTold()
{
    const MessageCatcher messages;
    OutputCatcher errors(OutputCatcher::Channel::Error);
    app::warnOfCodePage(utf8);
    QCOMPARE(errors.take(), QByteArray());
    QCOMPARE(messages.messages(), QStringList());
}

void CodePageTest::anotherCodePageIsToldOnConsoleAndInTheLog()
{
    const QString text =
        QStringLiteral("warning: letters outside of this code page are lost on the command line:");
    const MessageCatcher messages;
    OutputCatcher errors(OutputCatcher::Channel::Error);
    app::warnOfCodePage(1252);
    QCOMPARE(errors.take(), text.toUtf8() + "1252\n");
    QCOMPARE(messages.messages(), QStringList{text + QStringLiteral(" 1252")});
}

VOND_TEST(CodePageTest);
#include "codepagetest.moc"
