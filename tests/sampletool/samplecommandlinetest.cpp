#include "sampletool/commandline.h"
#include "tests/support/testmain.h"

#include <QTest>

#include <string>
#include <vector>

using Words = std::vector<std::string>;
Q_DECLARE_METATYPE(Words)

class SampleCommandLineTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theServicesConversionIsUnderstood();
    void optionsMayComeInAnyOrder();
    void severalInputsAndOutputsAreKeptInOrder();
    void setoptionTakesPairsUntilTheInput();
    void theListingsOfTheServiceAreUnderstood();
    void singleWords();
    void whatIsNotUnderstoodIsRejected_data();
    void whatIsNotUnderstoodIsRejected();
};

namespace {

// The conversion that the words request; a usage error fails the test.
sample::Convert convertFrom(const Words &words)
{
    const auto parsed = sample::parse(words);
    if (const auto *const command = std::get_if<sample::Command>(&parsed)) {
        if (const auto *const convert = std::get_if<sample::Convert>(command)) {
            return *convert;
        }
    }
    QTest::qFail("no conversion", __FILE__, __LINE__);
    return {};
}

} // namespace

void SampleCommandLineTest::theServicesConversionIsUnderstood()
{
    const sample::Convert convert = convertFrom({"--progress",
                                                 "--stopfile=/t/job7.txt",
                                                 "--translateerror",
                                                 "--overwriteoutput=increment",
                                                 "-c",
                                                 "Press CMYK",
                                                 "/t/in put.tif",
                                                 "-o",
                                                 "/t/out put.tif"});
    QVERIFY(convert.progress);
    QCOMPARE(convert.stopFile, std::string("/t/job7.txt"));
    QVERIFY(convert.translateError);
    QVERIFY(convert.increment);
    QCOMPARE(convert.configuration, std::string("Press CMYK"));
    QCOMPARE(convert.tasks.size(), std::size_t(1));
    QCOMPARE(convert.tasks[0].input, std::string("/t/in put.tif"));
    QCOMPARE(convert.tasks[0].outputs, Words{"/t/out put.tif"});
    QVERIFY(!convert.options.profile);
    QVERIFY(!convert.options.intent);
    QVERIFY(!convert.options.quality);
}

void SampleCommandLineTest::optionsMayComeInAnyOrder()
{
    const sample::Convert convert =
        convertFrom({"in.tif", "-o", "out.tif", "--translateerror", "-c", "sRGB", "--progress"});
    QVERIFY(convert.progress);
    QVERIFY(convert.translateError);
    QVERIFY(!convert.increment);
    QVERIFY(convert.stopFile.empty());
    QCOMPARE(convert.configuration, std::string("sRGB"));
    QCOMPARE(convert.tasks[0].outputs, Words{"out.tif"});
}

void SampleCommandLineTest::severalInputsAndOutputsAreKeptInOrder()
{
    const sample::Convert convert =
        convertFrom({"-c", "sRGB", "a.tif", "-o", "1.tif", "-o", "2.jpg", "b.tif", "-o", "3.png"});
    QCOMPARE(convert.tasks.size(), std::size_t(2));
    QCOMPARE(convert.tasks[0].input, std::string("a.tif"));
    QCOMPARE(convert.tasks[0].outputs, (Words{"1.tif", "2.jpg"}));
    QCOMPARE(convert.tasks[1].input, std::string("b.tif"));
    QCOMPARE(convert.tasks[1].outputs, Words{"3.png"});
}

void SampleCommandLineTest::setoptionTakesPairsUntilTheInput()
{
    const sample::Convert convert = convertFrom({"-c",
                                                 "sRGB",
                                                 "setoption",
                                                 "--profile",
                                                 "--odd name.icc",
                                                 "--intent",
                                                 "absolute",
                                                 "--quality",
                                                 "75",
                                                 "in.tif",
                                                 "-o",
                                                 "out.tif"});
    QCOMPARE(convert.options.profile.value_or(""), std::string("--odd name.icc"));
    QVERIFY(convert.options.intent == sample::Intent::Absolute);
    QCOMPARE(convert.options.quality.value_or(0), 75);
    QCOMPARE(convert.tasks[0].input, std::string("in.tif"));
}

void SampleCommandLineTest::theListingsOfTheServiceAreUnderstood()
{
    const auto plain = sample::parse({"listconfigurations"});
    const auto &all = std::get<sample::ListConfigurations>(std::get<sample::Command>(plain));
    QVERIFY(!all.json);
    QVERIFY(!all.name);

    const auto detailed = sample::parse({"listconfigurations",
                                         "--format=json",
                                         "--name=a name, with a comma",
                                         "--details=DocumentColorSpace,DstProfile,PSLayersOption"});
    const auto &one = std::get<sample::ListConfigurations>(std::get<sample::Command>(detailed));
    QVERIFY(one.json);
    QCOMPARE(one.name.value_or(""), std::string("a name, with a comma"));
    QCOMPARE(one.details, (Words{"DocumentColorSpace", "DstProfile", "PSLayersOption"}));
}

void SampleCommandLineTest::singleWords()
{
    QVERIFY(std::holds_alternative<sample::ShowVersion>(
        std::get<sample::Command>(sample::parse({"version"}))));
    QVERIFY(std::holds_alternative<sample::ShowHelp>(
        std::get<sample::Command>(sample::parse({"--help"}))));
}

void SampleCommandLineTest::whatIsNotUnderstoodIsRejected_data()
{
    QTest::addColumn<Words>("words");
    QTest::addColumn<QString>("text");

    const auto row = [](const char *name, const Words &words, const char *text) {
        QTest::newRow(name) << words << QString::fromUtf8(text);
    };
    row("no word at all", {}, "nothing to do");
    row("a word after version", {"version", "x"}, "'version' stands alone");
    row("a word after --help", {"--help", "x"}, "'--help' stands alone");
    row("an option nobody knows",
        {"--fast", "-c", "a", "i", "-o", "o"},
        "'--fast' is not known here");
    row("another overwrite rule",
        {"--overwriteoutput=always", "-c", "a", "i", "-o", "o"},
        "'--overwriteoutput=always' is not known here");
    row("no configuration", {"i", "-o", "o"}, "no configuration is named with -c");
    row("-c without its name", {"-c"}, "-c needs the name of a configuration");
    row("-c twice", {"-c", "a", "-c", "b", "i", "-o", "o"}, "-c is given twice");
    row("no input", {"-c", "a"}, "no input is named");
    row("an empty input", {"-c", "a", "", "-o", "o"}, "an input has no name");
    row("no output", {"-c", "a", "i"}, "no output is named with -o for 'i'");
    row("a second input without output",
        {"-c", "a", "i", "-o", "o", "j"},
        "no output is named with -o for 'j'");
    row("-o without its name", {"-c", "a", "i", "-o"}, "-o needs the name of a file");
    row("-o with an empty name", {"-c", "a", "i", "-o", ""}, "-o needs the name of a file");
    row("-o before the input", {"-c", "a", "-o", "o", "i"}, "-o stands before any input");
    row("an empty stop file", {"--stopfile=", "-c", "a"}, "--stopfile= needs the name of a file");
    row("two stop files", {"--stopfile=a", "--stopfile=b"}, "--stopfile is given twice");
    row("setoption without a pair",
        {"-c", "a", "setoption", "i", "-o", "o"},
        "setoption needs a key and a value");
    row("setoption at the end", {"-c", "a", "setoption"}, "setoption needs a key and a value");
    row("setoption without a value", {"setoption", "--quality"}, "'--quality' needs a value");
    row("setoption with an unknown key", {"setoption", "--dpi", "300"}, "'--dpi' cannot be set");
    row("setoption with a value that is no intent",
        {"setoption", "--intent", "nice"},
        "'nice' is no rendering intent");
    row("quality 0", {"setoption", "--quality", "0"}, "'0' is no quality from 1 to 100");
    row("quality 101", {"setoption", "--quality", "101"}, "'101' is no quality from 1 to 100");
    row("quality with more behind it",
        {"setoption", "--quality", "90%"},
        "'90%' is no quality from 1 to 100");
    row("no quality at all", {"setoption", "--quality", ""}, "'' is no quality from 1 to 100");
    row("a key twice",
        {"setoption", "--quality", "90", "--quality", "80"},
        "--quality is set twice");
    row("two profiles",
        {"setoption", "--profile", "a", "--profile", "b"},
        "--profile is set twice");
    row("two intents",
        {"setoption", "--intent", "relative", "--intent", "relative"},
        "--intent is set twice");
    row("a listing in another format",
        {"listconfigurations", "--format=xml"},
        "'--format=xml' is not known to listconfigurations");
    row("details without JSON",
        {"listconfigurations", "--details=DstProfile"},
        "--name and --details need --format=json");
    row("a name without JSON",
        {"listconfigurations", "--name=sRGB"},
        "--name and --details need --format=json");
}

void SampleCommandLineTest::whatIsNotUnderstoodIsRejected()
{
    QFETCH(const Words, words);
    QFETCH(const QString, text);

    const auto parsed = sample::parse(words);
    const auto *const error = std::get_if<sample::UsageError>(&parsed);
    QVERIFY(error);
    QCOMPARE(QString::fromStdString(error->text), text);
}

VOND_TEST_WITHOUT_APPLICATION(SampleCommandLineTest);
#include "samplecommandlinetest.moc"
