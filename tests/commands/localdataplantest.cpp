#include "commands/localdataplan.h"

#include "tests/support/messagecatcher.h"
#include "tests/support/testmain.h"

#include <QTest>

namespace {

QStringList words(const char *text)
{
    return QString::fromUtf8(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

// "option=value" for a text, "option<name:base64" for a file.
QStringList shown(const QVector<commands::LocalOption> &options)
{
    QStringList list;
    for (const commands::LocalOption &option : options) {
        list.append(option.hasFile ? option.option + QLatin1Char('<') + option.fileName
                            + QLatin1Char(':') + option.base64
                                   : option.option + QLatin1Char('=') + option.value);
    }
    return list;
}

} // namespace

class LocalDataPlanTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aRequestIsReadByItsKeys();
    void missingKeysAndForeignTypesReadAsEmpty_data();
    void missingKeysAndForeignTypesReadAsEmpty();
    void optionsAreReadFromTheInnerList_data();
    void optionsAreReadFromTheInnerList();
    void elementsWithoutAKeyAreSkippedAndLogged();
    void theOutputIsNamedAfterInputAndConfiguration_data();
    void theOutputIsNamedAfterInputAndConfiguration();
    void theOutputsNameIsLookedAtOnWindows_data();
    void theOutputsNameIsLookedAtOnWindows();
    void argumentsWithoutOptions();
    void argumentsWithOptions();
    void theAnswerFollowsWhatTheToolSaid_data();
    void theAnswerFollowsWhatTheToolSaid();
};

void LocalDataPlanTest::aRequestIsReadByItsKeys()
{
    const commands::LocalDataRequest request = commands::readLocalDataRequest(
        R"({"fileName": "a.tif", "imgData": "QUJD", "configuration": "Web"})");
    QCOMPARE(request.fileName, QStringLiteral("a.tif"));
    QCOMPARE(request.imgData, QStringLiteral("QUJD"));
    QCOMPARE(request.configuration, QStringLiteral("Web"));
    QVERIFY(request.options.isEmpty());
}

void LocalDataPlanTest::missingKeysAndForeignTypesReadAsEmpty_data()
{
    QTest::addColumn<QByteArray>("body");

    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("no JSON") << QByteArray("fileName");
    QTest::newRow("an array") << QByteArray("[\"fileName\"]");
    QTest::newRow("no keys") << QByteArray("{}");
    QTest::newRow("foreign types") << QByteArray(R"({"fileName": 1, "imgData": [], )"
                                                 R"("configuration": {}, "setOptions": 1})");
    QTest::newRow("nested too deeply") << QByteArray("{\"setOptions\":").repeated(100000);
}

void LocalDataPlanTest::missingKeysAndForeignTypesReadAsEmpty()
{
    QFETCH(const QByteArray, body);
    const commands::LocalDataRequest request = commands::readLocalDataRequest(body);
    QCOMPARE(request.fileName, QString());
    QCOMPARE(request.imgData, QString());
    QCOMPARE(request.configuration, QString());
    QVERIFY(request.options.isEmpty());
}

void LocalDataPlanTest::optionsAreReadFromTheInnerList_data()
{
    QTest::addColumn<QByteArray>("setOptions");
    QTest::addColumn<QStringList>("options");

    QTest::newRow("one option") << QByteArray(R"({"setOptions": [{"--dpi": "300"}]})")
                                << words("--dpi=300");
    QTest::newRow("in the order of the request")
        << QByteArray(R"({"setOptions": [{"--b": "1"}, {"--a": "2"}]})") << words("--b=1 --a=2");
    QTest::newRow("of two keys only the first of the alphabet")
        << QByteArray(R"({"setOptions": [{"--b": "1", "--a": "2"}]})") << words("--a=2");
    QTest::newRow("a value that is no text")
        << QByteArray(R"({"setOptions": [{"--dpi": 300}]})") << words("--dpi=");
    QTest::newRow("an empty key") << QByteArray(R"({"setOptions": [{"": "x"}]})") << words("=x");
    QTest::newRow("a file") << QByteArray(
        R"({"setOptions": [{"local:": {"filename": "p.icc", "data": "QUJD", )"
        R"("option": "--profile"}}]})")
                            << words("--profile<p.icc:QUJD");
    QTest::newRow("a file that is no object")
        << QByteArray(R"({"setOptions": [{"local:": "p.icc"}]})") << words("<:");
    QTest::newRow("a list that is not wrapped") << QByteArray(R"([{"--dpi": "300"}])") << words("");
    QTest::newRow("an object without the list") << QByteArray(R"({"other": 1})") << words("");
    QTest::newRow("a list that is an object")
        << QByteArray(R"({"setOptions": {"--dpi": "300"}})") << words("");
}

void LocalDataPlanTest::optionsAreReadFromTheInnerList()
{
    QFETCH(const QByteArray, setOptions);
    const MessageCatcher catcher;
    QTEST(shown(commands::readLocalDataRequest("{\"setOptions\": " + setOptions + '}').options),
          "options");
    QCOMPARE(catcher.messages(), QStringList());
}

void LocalDataPlanTest::elementsWithoutAKeyAreSkippedAndLogged()
{
    const MessageCatcher catcher;
    const commands::LocalDataRequest request = commands::readLocalDataRequest(
        R"({"setOptions": {"setOptions": [1, {"--a": "2"}, {}, "x", null, [1]]}})");
    QCOMPARE(shown(request.options), words("--a=2"));
    const QString label = QStringLiteral("setOptions: skipped an element without a key: ");
    const QStringList lines{
        label + QStringLiteral("\"1\""),
        label + QStringLiteral("\"{}\""),
        label + QStringLiteral(R"("\"x\"")"),
        label + QStringLiteral("\"null\""),
        label + QStringLiteral("\"[1]\""),
    };
    QCOMPARE(catcher.messages(), lines);
}

void LocalDataPlanTest::theOutputIsNamedAfterInputAndConfiguration_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("configuration");
    QTest::addColumn<QString>("output");

    QTest::newRow("one dot") << "/t/name.ext"
                             << "X"
                             << "/t/name_X.ext";
    QTest::newRow("a numbered input") << "/t/name_1.ext"
                                      << "X"
                                      << "/t/name_1_X.ext";
    QTest::newRow("two dots: the middle part is dropped") << "/t/scan.page.tif"
                                                          << "Web"
                                                          << "/t/scan_Web.tif";
    QTest::newRow("no dot: the dot stays") << "/t/raw"
                                           << "X"
                                           << "/t/raw_X.";
    QTest::newRow("no configuration") << "/t/a.tif"
                                      << ""
                                      << "/t/a_.tif";
    QTest::newRow("markers of a substitution") << "/t/%2.tif"
                                               << "%1"
                                               << "/t/%2_%1.tif";
}

void LocalDataPlanTest::theOutputIsNamedAfterInputAndConfiguration()
{
    QFETCH(const QString, input);
    QFETCH(const QString, configuration);
    QTEST(commands::localOutputPath(QStringLiteral("/t"), input, configuration), "output");
}

void LocalDataPlanTest::theOutputsNameIsLookedAtOnWindows_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<bool>("isName");

    QTest::newRow("name") << "a_X.tif" << true;
    QTest::newRow("without suffix the dot stays") << "a_X." << true;
    QTest::newRow("two dots") << "a_X.." << false;
    QTest::newRow("out of the folder") << "a_\\..\\..\\X.tif" << false;
    QTest::newRow("another stream") << "a_X:y.tif" << false;
}

void LocalDataPlanTest::theOutputsNameIsLookedAtOnWindows()
{
    QFETCH(const QString, output);
    const QString folder = QStringLiteral("C:/T");
    const QString path = folder + QLatin1Char('/') + output;
    QTEST(commands::namesFile(path, folder, base::NameRules::Windows), "isName");
    QVERIFY(commands::namesFile(path, folder, base::NameRules::Unix));
}

void LocalDataPlanTest::argumentsWithoutOptions()
{
    QCOMPARE(commands::localArguments(
                 QStringLiteral("Web"), {}, QStringLiteral("/t/a.tif"), QStringLiteral("/t/b.tif")),
             words("--translateerror --overwriteoutput=increment -c Web /t/a.tif -o /t/b.tif"));
}

void LocalDataPlanTest::argumentsWithOptions()
{
    QCOMPARE(commands::localArguments(QStringLiteral("Web"),
                                      words("--dpi 300"),
                                      QStringLiteral("/t/a.tif"),
                                      QStringLiteral("/t/b.tif")),
             words("--translateerror --overwriteoutput=increment -c Web setoption --dpi 300 "
                   "/t/a.tif -o /t/b.tif"));
}

void LocalDataPlanTest::theAnswerFollowsWhatTheToolSaid_data()
{
    QTest::addColumn<QByteArray>("stdOut");
    QTest::addColumn<QByteArray>("stdErr");
    QTest::addColumn<QString>("answer");

    QTest::newRow("an error: all of standard output, as it is")
        << QByteArray("Output file: x \n") << QByteArray("Error: no") << "Output file: x \n";
    QTest::newRow("an error and no words") << QByteArray() << QByteArray("Error:") << "";
    QTest::newRow("a warning is no error") << QByteArray() << QByteArray("Warning") << "a_Web.tif";
    QTest::newRow("a reported path, trimmed")
        << QByteArray("Output file:  C:/tmp/a 1.tif \r\n") << QByteArray() << "C:/tmp/a 1.tif";
    QTest::newRow("a reported nothing") << QByteArray("Output file: \n") << QByteArray() << "";
    QTest::newRow("all that follows the marker")
        << QByteArray("Output file: a\nOutput file: b\n") << QByteArray() << "a\nOutput file: b";
    QTest::newRow("other words: the full path")
        << QByteArray("done\n") << QByteArray() << "/t/a_Web.tif";
    QTest::newRow("the marker after other words: the full path")
        << QByteArray("done\nOutput file: x\n") << QByteArray() << "/t/a_Web.tif";
    QTest::newRow("the marker in other case: the full path")
        << QByteArray("output file: x\n") << QByteArray() << "/t/a_Web.tif";
    QTest::newRow("no words: the bare name") << QByteArray() << QByteArray() << "a_Web.tif";
}

void LocalDataPlanTest::theAnswerFollowsWhatTheToolSaid()
{
    QFETCH(const QByteArray, stdOut);
    QFETCH(const QByteArray, stdErr);
    QTEST(commands::localAnswer({stdOut, stdErr}, QStringLiteral("/t/a_Web.tif")), "answer");
}

VOND_TEST(LocalDataPlanTest);
#include "localdataplantest.moc"
