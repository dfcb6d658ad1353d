#include "app/codepage.h"

#include "tests/support/testmain.h"

class CodePageTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void utf8IsNotTold();
    void anotherCodePageIsToldByItsNumber();
};

void CodePageTest::utf8IsNotTold()
{
    QVERIFY(!app::codePageWarning(65001));
}

void CodePageTest::anotherCodePageIsToldByItsNumber()
{
    QCOMPARE(app::codePageWarning(1252).value_or(QByteArray()),
             QByteArray(
                 "warning: letters outside of this code page are lost on the command line: 1252"));
}

VOND_TEST(CodePageTest);
#include "codepagetest.moc"
