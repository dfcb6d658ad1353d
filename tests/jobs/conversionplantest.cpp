#include "jobs/conversionplan.h"

#include "tests/support/testmain.h"

#include <QTest>

namespace {

jobs::ConversionPlan planFor(const QString &input, const QString &configuration)
{
    return jobs::planConversion({input, {}, configuration, QStringLiteral("c1")},
                                QStringLiteral("/t"));
}

} // namespace

class ConversionPlanTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aRequestIsReadByItsKeys();
    void missingKeysAndForeignTypesReadAsEmpty_data();
    void missingKeysAndForeignTypesReadAsEmpty();
    void plannedOutputName_data();
    void plannedOutputName();
    void argumentsAreInTheToolsOrder();
    void aMarkerInTheFolderIsFilledInTheInputPathOnly();
    void eachNameOfAConversionIsLookedAtOnWindows_data();
    void eachNameOfAConversionIsLookedAtOnWindows();
    void theAnswerFollowsWhatTheToolSaidLast_data();
    void theAnswerFollowsWhatTheToolSaidLast();
};

void ConversionPlanTest::aRequestIsReadByItsKeys()
{
    const jobs::ConversionRequest request = jobs::readConversionRequest(
        R"({"fileName": "a.tif", "reqestID": "r1", "configuration": "Web", "cancelID": "c1",)"
        R"( "requestID": "not this"})");
    QCOMPARE(request.fileName, QStringLiteral("a.tif"));
    QCOMPARE(request.requestId, QStringLiteral("r1"));
    QCOMPARE(request.configuration, QStringLiteral("Web"));
    QCOMPARE(request.cancelId, QStringLiteral("c1"));
}

void ConversionPlanTest::missingKeysAndForeignTypesReadAsEmpty_data()
{
    QTest::addColumn<QByteArray>("body");

    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("no JSON") << QByteArray("fileName");
    QTest::newRow("invalid UTF-8") << QByteArray("{\"fileName\": \"\xff\xfe\"");
    QTest::newRow("an array") << QByteArray("[]");
    QTest::newRow("no keys") << QByteArray("{}");
    QTest::newRow("foreign types")
        << QByteArray(R"({"fileName": 1, "reqestID": [], "configuration": {}, "cancelID": null})");
    QTest::newRow("nested too deeply") << QByteArray("{\"fileName\":").repeated(100000);
}

void ConversionPlanTest::missingKeysAndForeignTypesReadAsEmpty()
{
    QFETCH(const QByteArray, body);
    const jobs::ConversionRequest request = jobs::readConversionRequest(body);
    QCOMPARE(request.fileName, QString());
    QCOMPARE(request.requestId, QString());
    QCOMPARE(request.configuration, QString());
    QCOMPARE(request.cancelId, QString());
}

void ConversionPlanTest::plannedOutputName_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("configuration");
    QTest::addColumn<QString>("output");

    QTest::newRow("one dot") << "photo.tif"
                             << "Coated"
                             << "/t/photo_Coated.tif";
    QTest::newRow("two dots: the middle part is dropped") << "photo.final.tif"
                                                          << "Coated"
                                                          << "/t/photo_Coated.tif";
    QTest::newRow("short names") << "a.b.c"
                                 << "X"
                                 << "/t/a_X.c";
    QTest::newRow("no dot: no trailing dot") << "raw"
                                             << "X"
                                             << "/t/raw_X";
    QTest::newRow("a dot at the end: no trailing dot") << "raw."
                                                       << "X"
                                                       << "/t/raw_X";
    QTest::newRow("a dot at the beginning") << ".tif"
                                            << "X"
                                            << "/t/_X.tif";
    QTest::newRow("no configuration") << "a.tif"
                                      << ""
                                      << "/t/a_.tif";
    QTest::newRow("no name") << ""
                             << "X"
                             << "/t/_X";
    QTest::newRow("a folder part is left out") << "sub/a.tif"
                                               << "X"
                                               << "/t/a_X.tif";
    QTest::newRow("markers of a substitution") << "%2.tif"
                                               << "%1"
                                               << "/t/%2_%1.tif";
}

void ConversionPlanTest::plannedOutputName()
{
    QFETCH(const QString, input);
    QFETCH(const QString, configuration);
    QTEST(planFor(input, configuration).outputPath, "output");
}

void ConversionPlanTest::argumentsAreInTheToolsOrder()
{
    const QStringList arguments{
        QStringLiteral("--progress"),
        QStringLiteral("--stopfile=/t/c1.txt"),
        QStringLiteral("--translateerror"),
        QStringLiteral("--overwriteoutput=increment"),
        QStringLiteral("-c"),
        QStringLiteral("My Web"),
        QStringLiteral("/t/a.tif"),
        QStringLiteral("-o"),
        QStringLiteral("/t/a_My Web.tif"),
    };
    const jobs::ConversionPlan plan = planFor(QStringLiteral("a.tif"), QStringLiteral("My Web"));
    QCOMPARE(plan.arguments, arguments);
    QCOMPARE(plan.stopFilePath, QStringLiteral("/t/c1.txt"));
    QCOMPARE(plan.inputPath, QStringLiteral("/t/a.tif"));
}

void ConversionPlanTest::aMarkerInTheFolderIsFilledInTheInputPathOnly()
{
    const jobs::ConversionPlan plan = jobs::planConversion(
        {QStringLiteral("a.tif"), {}, QStringLiteral("X"), QStringLiteral("c1")},
        QStringLiteral("/%2"));
    QCOMPARE(plan.inputPath, QStringLiteral("/a.tif/a.tif"));
    QCOMPARE(plan.stopFilePath, QStringLiteral("/%2/c1.txt"));
    QCOMPARE(plan.outputPath, QStringLiteral("/%2/a_X.tif"));
}

void ConversionPlanTest::eachNameOfAConversionIsLookedAtOnWindows_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("configuration");
    QTest::addColumn<QString>("cancelId");
    QTest::addColumn<bool>("areNames");

    QTest::newRow("names") << "a.tif"
                           << "Coated v2"
                           << "c1" << true;
    QTest::newRow("nothing") << ""
                             << ""
                             << "" << true;
    QTest::newRow("input is a device") << "NUL"
                                       << "X"
                                       << "c1" << false;
    QTest::newRow("input out of the folder") << "..\\a.tif"
                                             << "X"
                                             << "c1" << false;
    QTest::newRow("stop file is a device") << "a.tif"
                                           << "X"
                                           << "com1" << false;
    QTest::newRow("an ID with a dot at the end, which the suffix follows") << "a.tif"
                                                                           << "X"
                                                                           << "c1." << true;
    QTest::newRow("output out of the folder") << "a.tif"
                                              << "\\..\\..\\X"
                                              << "c1" << false;
    QTest::newRow("output to another stream") << "a.tif"
                                              << "X:y"
                                              << "c1" << false;
}

void ConversionPlanTest::eachNameOfAConversionIsLookedAtOnWindows()
{
    QFETCH(const QString, input);
    QFETCH(const QString, configuration);
    QFETCH(const QString, cancelId);
    const jobs::ConversionRequest request{input, {}, configuration, cancelId};
    const QString folder = QStringLiteral("C:/Users/x/T");
    const jobs::ConversionPlan plan = jobs::planConversion(request, folder);
    QTEST(jobs::namesFiles(request, plan, folder, base::NameRules::Windows), "areNames");
    QVERIFY(jobs::namesFiles(request, plan, folder, base::NameRules::Unix));
}

void ConversionPlanTest::theAnswerFollowsWhatTheToolSaidLast_data()
{
    QTest::addColumn<QByteArray>("stdErr");
    QTest::addColumn<QString>("lastMessage");
    QTest::addColumn<QString>("answer");
    QTest::addColumn<QString>("messageAfter");

    QTest::newRow("a reported path, trimmed, bare")
        << QByteArray() << "Output file:  C:/tmp/a_X_1.c \n"
        << "a_X_1.c"
        << "  C:/tmp/a_X_1.c \n";
    QTest::newRow("only the first marker goes") << QByteArray() << "Output file:Output file:"
                                                << "Output file:"
                                                << "Output file:";
    QTest::newRow("a reported folder") << QByteArray() << "Output file: /t/\n"
                                       << ""
                                       << " /t/\n";
    QTest::newRow("last was progress") << QByteArray() << ""
                                       << "a_X.c"
                                       << "";
    QTest::newRow("other words last") << QByteArray() << "done\n"
                                      << "a_X.c"
                                      << "done\n";
    QTest::newRow("the marker in other case") << QByteArray() << "output file: /t/b.c"
                                              << "a_X.c"
                                              << "output file: /t/b.c";
    QTest::newRow("the marker behind other words") << QByteArray() << "ok\nOutput file: /t/b.c"
                                                   << "a_X.c"
                                                   << "ok\nOutput file: /t/b.c";
    QTest::newRow("a warning is no error") << QByteArray("Warning\n") << ""
                                           << "a_X.c"
                                           << "";
    QTest::newRow("an error: the message as it is")
        << QByteArray("Error: no\n") << "Geht nicht: \u00e4\n"
        << "Geht nicht: \u00e4\n"
        << "Geht nicht: \u00e4\n";
    QTest::newRow("an error without a message") << QByteArray("Error:") << ""
                                                << ""
                                                << "";
    QTest::newRow("an error beats a reported path") << QByteArray("Error:") << "Output file: /t/b.c"
                                                    << "Output file: /t/b.c"
                                                    << "Output file: /t/b.c";
}

void ConversionPlanTest::theAnswerFollowsWhatTheToolSaidLast()
{
    QFETCH(const QByteArray, stdErr);
    QFETCH(QString, lastMessage);
    const jobs::ConversionPlan plan = planFor(QStringLiteral("a.b.c"), QStringLiteral("X"));
    QTEST(jobs::conversionAnswer(plan, stdErr, lastMessage), "answer");
    QTEST(lastMessage, "messageAfter");
}

VOND_TEST(ConversionPlanTest);
#include "conversionplantest.moc"
