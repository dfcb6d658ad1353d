#include "tool/windowscommandline.h"

#include "tests/support/testmain.h"

#include <QRandomGenerator>

namespace {

// The rules as they are described for CommandLineToArgvW: 2n backslashes and a quote give n
// backslashes and begin or end quoting; 2n+1 give n and the quote; others stand for themselves. The
// first word knows no backslashes.
QStringList wordsOf(const QString &line)
{
    const int end = line.indexOf(QLatin1Char('"'), 1);
    QStringList words{line.mid(1, end - 1)};
    QString word;
    bool isQuoted = false;
    bool hasBegun = false;
    for (int at = end + 1; at < line.size();) {
        int backslashes = 0;
        while (line.mid(at + backslashes, 1) == QLatin1String("\\")) {
            ++backslashes;
        }
        at += backslashes;
        const bool atQuote = line.mid(at, 1) == QLatin1String("\"");
        word += QString(atQuote ? backslashes / 2 : backslashes, QLatin1Char('\\'));
        hasBegun = hasBegun || backslashes > 0 || atQuote;
        if (at == line.size()) {
            break;
        }
        const QChar letter = line.at(at++);
        if (atQuote && backslashes % 2 == 0) {
            isQuoted = !isQuoted;
        } else if (!isQuoted && (letter == QLatin1Char(' ') || letter == QLatin1Char('\t'))) {
            if (hasBegun) {
                words.append(word);
            }
            word.clear();
            hasBegun = false;
        } else {
            word += letter;
            hasBegun = true;
        }
    }
    return hasBegun ? words << word : words;
}

} // namespace

class WindowsCommandLineTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void argumentsAreQuotedWhereTheyNeedIt_data();
    void argumentsAreQuotedWhereTheyNeedIt();
    void theProgramIsQuotedAndItsSlashesAreTheSystems();
    void everyArgumentIsReadBack();
    void batchFilesAreKnown_data();
    void batchFilesAreKnown();
};

void WindowsCommandLineTest::argumentsAreQuotedWhereTheyNeedIt_data()
{
    QTest::addColumn<QString>("argument");
    QTest::addColumn<QString>("text");

    QTest::newRow("plain") << "a"
                           << "a";
    QTest::newRow("empty") << ""
                           << R"("")";
    QTest::newRow("a blank") << "a b"
                             << R"("a b")";
    QTest::newRow("a tab") << "a\tb"
                           << "\"a\tb\"";
    QTest::newRow("a line end") << "a\nb"
                                << "\"a\nb\"";
    QTest::newRow("a quote") << R"(a"b)"
                             << R"("a\"b")";
    QTest::newRow("backslashes") << R"(\\a\b\)"
                                 << R"(\\a\b\)";
    QTest::newRow("backslashes at the end of quotes") << R"(a b\\)"
                                                      << R"("a b\\\\")";
    QTest::newRow("backslashes before a quote") << R"(a\\"b)"
                                                << R"("a\\\\\"b")";
    QTest::newRow("marks of a shell") << "a&b|c>d^e%f%"
                                      << "a&b|c>d^e%f%";
}

void WindowsCommandLineTest::argumentsAreQuotedWhereTheyNeedIt()
{
    QFETCH(const QString, argument);
    QFETCH(const QString, text);
    QCOMPARE(tool::windowsCommandLine(QStringLiteral("p"), {argument}),
             QStringLiteral("\"p\" ") + text);
}

void WindowsCommandLineTest::theProgramIsQuotedAndItsSlashesAreTheSystems()
{
    QCOMPARE(tool::windowsCommandLine(QStringLiteral("C:/Program Files/vond.exe"), {}),
             QStringLiteral(R"("C:\Program Files\vond.exe")"));
}

void WindowsCommandLineTest::everyArgumentIsReadBack()
{
    QRandomGenerator chance(1);
    const QString letters = QStringLiteral("ab \t\"\\/\\\" ");
    for (int round = 0; round < 20000; ++round) {
        QStringList arguments;
        for (int i = chance.bounded(4); i >= 0; --i) {
            QString argument;
            for (int length = chance.bounded(7); length > 0; --length) {
                argument += letters.at(chance.bounded(letters.size()));
            }
            arguments.append(argument);
        }
        const QString line = tool::windowsCommandLine(QStringLiteral("p"), arguments);
        QVERIFY2(wordsOf(line) == QStringList{QStringLiteral("p")} + arguments, qPrintable(line));
    }
}

void WindowsCommandLineTest::batchFilesAreKnown_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<bool>("isBatch");

    QTest::newRow("program") << "C:/vond.exe" << false;
    QTest::newRow("no suffix") << "vond" << false;
    QTest::newRow("batch file") << "C:/vond.bat" << true;
    QTest::newRow("command file") << "C:/VOND.Cmd" << true;
    QTest::newRow("a dot and a blank that the system does not see") << "vond.bat. ." << true;
    QTest::newRow("in the middle") << "vond.bat.exe" << false;
}

void WindowsCommandLineTest::batchFilesAreKnown()
{
    QFETCH(const QString, program);
    QTEST(tool::isBatchFile(program), "isBatch");
}

VOND_TEST(WindowsCommandLineTest);
#include "windowscommandlinetest.moc"
