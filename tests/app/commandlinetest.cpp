#include "app/commandline.h"

#include "tests/support/testmain.h"

#include <QObject>
#include <QTest>

#include <array>

using app::Command;
using app::Words;

Q_DECLARE_METATYPE(app::Command)
Q_DECLARE_METATYPE(app::Words)

class CommandLineTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theWordCountDecidesBeforeTheWord_data();
    void theWordCountDecidesBeforeTheWord();
    void wordsComeAfterTheProgramName();
    void aCallWithoutEvenAProgramNameHasNoWords();
};

void CommandLineTest::theWordCountDecidesBeforeTheWord_data()
{
    QTest::addColumn<Words>("words");
    QTest::addColumn<Command>("command");

    QTest::newRow("no word: serve as stored") << Words{} << Command::ServeAsStored;

    QTest::newRow("getTempFolder alone") << Words{"getTempFolder"} << Command::GetTempFolder;
    QTest::newRow("a longer word") << Words{"getTempFolders"} << Command::Unknown;
    QTest::newRow("a shorter word") << Words{"getTempFolde"} << Command::Unknown;
    QTest::newRow("another case") << Words{"gettempfolder"} << Command::Unknown;
    QTest::newRow("a blank behind it") << Words{"getTempFolder "} << Command::Unknown;
    QTest::newRow("an empty word") << Words{""} << Command::Unknown;
    QTest::newRow("setTempFolder without a value") << Words{"setTempFolder"} << Command::Unknown;

    QTest::newRow("setTempFolder") << Words{"setTempFolder", "x"} << Command::SetTempFolder;
    QTest::newRow("setLogging") << Words{"setLogging", "x"} << Command::SetLogging;
    QTest::newRow("setLogFolder") << Words{"setLogFolder", "x"} << Command::SetLogFolder;
    QTest::newRow("an empty value") << Words{"setLogFolder", ""} << Command::SetLogFolder;
    QTest::newRow("getTempFolder with a value") << Words{"getTempFolder", "x"} << Command::Unknown;
    QTest::newRow("setLogging in another case") << Words{"setlogging", "1"} << Command::Unknown;
    QTest::newRow("two words of no meaning") << Words{"127.0.0.1", "8080"} << Command::Unknown;

    QTest::newRow("three words: serve as told") << Words{"h", "p", "t"} << Command::ServeAsGiven;
    QTest::newRow("three words, a command first")
        << Words{"setTempFolder", "a", "b"} << Command::ServeAsGiven;

    QTest::newRow("four words: serve as stored")
        << Words{"h", "p", "t", "x"} << Command::ServeAsStored;
    QTest::newRow("five words: serve as stored")
        << Words{"setTempFolder", "a", "b", "c", "d"} << Command::ServeAsStored;
}

void CommandLineTest::theWordCountDecidesBeforeTheWord()
{
    QFETCH(const Words, words);
    QFETCH(const Command, command);

    QCOMPARE(app::commandFor(words), command);
}

void CommandLineTest::wordsComeAfterTheProgramName()
{
    QByteArray program("vondServer");
    QByteArray first("setLogging");
    QByteArray second("1");
    std::array<char *, 4> argv = {program.data(), first.data(), second.data(), nullptr};

    const Words words = app::wordsAfterProgramName(3, argv.data());

    QCOMPARE(words.size(), std::size_t(2));
    QCOMPARE(words.at(0), first.constData());
    QCOMPARE(words.at(1), second.constData());
}

void CommandLineTest::aCallWithoutEvenAProgramNameHasNoWords()
{
    std::array<char *, 1> argv = {nullptr};

    QVERIFY(app::wordsAfterProgramName(0, argv.data()).empty());
}

VOND_TEST_WITHOUT_APPLICATION(CommandLineTest);
#include "commandlinetest.moc"
