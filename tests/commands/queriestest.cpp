#include "commands/queries.h"

#include "tests/support/faketool.h"
#include "tests/support/messagecatcher.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/testmain.h"

#include <QTest>

class QueriesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void versionAsksWithOneWordAndLogsNothing();
    void listconfigurationsAsksWithOneWordAndLogsTheBytes();
    void configDetailsAsksForThreeFieldsAsJsonAndLogsTheBytes();
    void aNameWithBlanksAndCommasStaysOneArgument();
    void anAnswerIsNotTrimmed();
    void bytesThatAreNoUtf8AreReplaced();
    void aZeroByteDoesNotEndTheAnswer();
    void errorsAloneAreAnEmptyAnswer();
    void aFolderAsToolIsAnEmptyAnswer();
    void withoutAToolTheAnswerIsTheRejection();
    void aZeroCharacterInTheNameIsAnEmptyAnswer();
};

void QueriesTest::versionAsksWithOneWordAndLogsNothing()
{
    faketool::behave("print its arguments");
    const MessageCatcher catcher;
    QCOMPARE(commands::version(faketool::path()), QStringLiteral("version\n"));
    QCOMPARE(faketool::arguments(), QStringList{QStringLiteral("version")});
    QCOMPARE(catcher.messages(), QStringList());
}

void QueriesTest::listconfigurationsAsksWithOneWordAndLogsTheBytes()
{
    faketool::behave("text and status three");
    const MessageCatcher catcher;
    QCOMPARE(commands::listconfigurations(faketool::path()),
             QStringLiteral("fake tool 1.0 \u20ac\n"));
    QCOMPARE(faketool::arguments(), QStringList{QStringLiteral("listconfigurations")});
    QCOMPARE(catcher.messages(), QStringList{QStringLiteral(R"("fake tool 1.0 \xE2\x82\xAC\n")")});
}

void QueriesTest::configDetailsAsksForThreeFieldsAsJsonAndLogsTheBytes()
{
    faketool::behave("text and status three");
    const MessageCatcher catcher;
    QCOMPARE(commands::configDetails(faketool::path(), QStringLiteral("Web")),
             QStringLiteral("fake tool 1.0 \u20ac\n"));
    const QStringList arguments{
        QStringLiteral("listconfigurations"),
        QStringLiteral("--format=json"),
        QStringLiteral("--name=Web"),
        QStringLiteral("--details=DocumentColorSpace,DstProfile,PSLayersOption"),
    };
    QCOMPARE(faketool::arguments(), arguments);
    QCOMPARE(catcher.messages(), QStringList{QStringLiteral(R"("fake tool 1.0 \xE2\x82\xAC\n")")});
}

void QueriesTest::aNameWithBlanksAndCommasStaysOneArgument()
{
    faketool::behave("print nothing");
    const MessageCatcher catcher;
    QCOMPARE(commands::configDetails(faketool::path(), QStringLiteral("Coated, 80 g %1 \"x\"")),
             QString());
    QCOMPARE(faketool::arguments().size(), 4);
    QCOMPARE(faketool::arguments().at(2), QStringLiteral("--name=Coated, 80 g %1 \"x\""));
}

void QueriesTest::anAnswerIsNotTrimmed()
{
    faketool::behave("text and status three");
    QVERIFY(commands::version(faketool::path()).endsWith(QLatin1Char('\n')));
}

void QueriesTest::bytesThatAreNoUtf8AreReplaced()
{
    faketool::behave("bytes that are no UTF-8");
    QCOMPARE(commands::version(faketool::path()), QStringLiteral("caf\uFFFD \uFFFD\n"));
}

void QueriesTest::aZeroByteDoesNotEndTheAnswer()
{
    faketool::behave("bytes with a zero");
    QCOMPARE(commands::version(faketool::path()),
             QStringLiteral("before") + QChar(0) + QStringLiteral("after\n"));
}

void QueriesTest::errorsAloneAreAnEmptyAnswer()
{
    faketool::behave("no such behaviour"); // says so on standard error
    QCOMPARE(commands::version(faketool::path()), QString());
    QVERIFY(faketool::ran());
}

void QueriesTest::aFolderAsToolIsAnEmptyAnswer()
{
    const OwnWorkFolder folder;
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(commands::version(folder.path()), QString());
    QCOMPARE(errors.take(), QByteArray());
}

void QueriesTest::withoutAToolTheAnswerIsTheRejection()
{
    const QString rejection = QStringLiteral("error: no vondPath set");
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(commands::version(QString()), rejection);
    QCOMPARE(commands::listconfigurations(QString()), rejection);
    QCOMPARE(commands::configDetails(QString(), QStringLiteral("Web")), rejection);
    QCOMPARE(errors.take(), QByteArray("error: no vondPath set\n").repeated(3));
}

void QueriesTest::aZeroCharacterInTheNameIsAnEmptyAnswer()
{
    faketool::behave("print its arguments");
    const MessageCatcher catcher;
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(commands::configDetails(faketool::path(), QStringLiteral("Web") + QChar(0)),
             QString());
    QCOMPARE(errors.take(),
             QByteArray("error: zero character in an argument, the tool is not started\n"));
    QVERIFY(!faketool::ran());
}

VOND_TEST(QueriesTest);
#include "queriestest.moc"
