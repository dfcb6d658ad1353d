#include "base/filename.h"

#include "tests/support/testmain.h"

using base::isFileName;
using base::NameRules;

class FileNameTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatWindowsTakes_data();
    void whatWindowsTakes();
    void whatWouldLeadElsewhereOnWindows_data();
    void whatWouldLeadElsewhereOnWindows();
    void eachPartOfAPathIsLookedAt();
    void unixTakesAll();
    void theRulesAreThoseOfTheSystem();
};

void FileNameTest::whatWindowsTakes_data()
{
    QTest::addColumn<QString>("name");

    for (const char *const name :
         {"photo.tif", "a b.c",    ".hidden", "two..dots", "_NUL",   "NULL",
          "NUL_.txt",  "CONSOLE",  "COM0",    "COM10",     "COM",    "LPT",
          "a.NUL",     "CONIN",    "~1",      "%2",        " front", "semi;colon",
          "a&b",       "COMX.txt", "lnk",     "a.lnk.tif", "alnk"}) {
        QTest::newRow(name) << name;
    }
    QTest::newRow("empty: left to whoever opens it") << "";
    QTest::newRow("the folder itself") << ".";
    QTest::newRow("the folder above, as on Unix") << "../a";
    QTest::newRow("a folder inside") << "inside/a";
    QTest::newRow("letters of all kinds") << QStringLiteral("\u00e4\u2206\u65e5\u672c");
    QTest::newRow("a superscript that is no digit of a device") << QStringLiteral("COM\u2074");
    QTest::newRow("a zero character: left to whoever opens it")
        << QStringLiteral("a") + QChar(0) + QStringLiteral("b");
}

void FileNameTest::whatWindowsTakes()
{
    QFETCH(const QString, name);
    QVERIFY(isFileName(name, NameRules::Windows));
}

void FileNameTest::whatWouldLeadElsewhereOnWindows_data()
{
    QTest::addColumn<QString>("name");

    for (const char *const name : {"..\\a",
                                   "a\\b",
                                   "\\\\server\\share",
                                   "\\\\.\\pipe\\x",
                                   "c:a",
                                   "C:/a",
                                   "x:y",
                                   "x::$DATA",
                                   "a.",
                                   "a..",
                                   "a ",
                                   "a. ",
                                   ". ",
                                   "...",
                                   "NUL",
                                   "nul",
                                   "Nul.txt",
                                   "NUL.a.b",
                                   "NUL .txt",
                                   "NUL:",
                                   "con",
                                   "PRN.tif",
                                   "aux",
                                   "COM1",
                                   "com9.txt",
                                   "LPT1",
                                   "lpt9.x",
                                   "CONIN$",
                                   "conout$",
                                   "CONOUT$.txt",
                                   "a.lnk",
                                   "A.LNK",
                                   ".lnk",
                                   "a*",
                                   "a?",
                                   "a\"b",
                                   "a<b",
                                   "a>b",
                                   "a|b",
                                   "a\tb",
                                   "a\nb",
                                   "a\037b"}) {
        QTest::newRow(name) << name;
    }
    for (const char16_t digit : u"\u00b9\u00b2\u00b3") {
        if (digit != 0) {
            QTest::newRow(qPrintable(QString::number(digit)))
                << QStringLiteral("com") + QChar(digit) + QStringLiteral(".tif");
        }
    }
}

void FileNameTest::whatWouldLeadElsewhereOnWindows()
{
    QFETCH(const QString, name);
    QVERIFY(!isFileName(name, NameRules::Windows));
}

void FileNameTest::eachPartOfAPathIsLookedAt()
{
    QVERIFY(!isFileName(QStringLiteral("inside/NUL"), NameRules::Windows));
    QVERIFY(!isFileName(QStringLiteral("NUL/inside"), NameRules::Windows));
    QVERIFY(!isFileName(QStringLiteral(".. /a"), NameRules::Windows));
    QVERIFY(!isFileName(QStringLiteral("a./b"), NameRules::Windows));
    QVERIFY(!isFileName(QStringLiteral("inside/a.lnk"), NameRules::Windows));
}

void FileNameTest::unixTakesAll()
{
    for (const char *const name : {"NUL", "a.lnk", "a\\b", "c:a", "a.", "a ", "*", "\n"}) {
        QVERIFY2(isFileName(QString::fromLatin1(name), NameRules::Unix), name);
    }
}

void FileNameTest::theRulesAreThoseOfTheSystem()
{
#ifdef Q_OS_WIN
    QVERIFY(!isFileName(QStringLiteral("NUL")));
#else
    QVERIFY(isFileName(QStringLiteral("NUL")));
#endif
}

VOND_TEST(FileNameTest);
#include "filenametest.moc"
