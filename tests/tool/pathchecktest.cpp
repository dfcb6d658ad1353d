#include "tool/pathcheck.h"

#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/testmain.h"

#include <QTest>

class PathCheckTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void noPathIsRejectedWithTheSameTextOnConsoleAndInTheAnswer();
    void aMissingToolIsRejectedWithAColonInTheAnswerOnly();
    void aMarkerInThePathIsNotFilled();
    void anExistingFilePassesInSilence();
    void anExistingFolderPassesToo();
};

void PathCheckTest::noPathIsRejectedWithTheSameTextOnConsoleAndInTheAnswer()
{
    OutputCatcher errors(OutputCatcher::Channel::Error);
    const auto rejection = tool::rejectBadPath(QString());
    QCOMPARE(errors.take(), QByteArray("error: no vondPath set\n"));
    QVERIFY(rejection);
    QCOMPARE(*rejection, QStringLiteral("error: no vondPath set"));
}

void PathCheckTest::aMissingToolIsRejectedWithAColonInTheAnswerOnly()
{
    OutputCatcher errors(OutputCatcher::Channel::Error);
    const auto rejection = tool::rejectBadPath(QStringLiteral("/no/v\u00f6nd"));
    QCOMPARE(errors.take(), QByteArray("error: no vond-exe not found/no/v\xc3\xb6nd\n"));
    QVERIFY(rejection);
    QCOMPARE(*rejection, QStringLiteral("error: no vond-exe not found:/no/v\u00f6nd"));
}

void PathCheckTest::aMarkerInThePathIsNotFilled()
{
    OutputCatcher errors(OutputCatcher::Channel::Error);
    const auto rejection = tool::rejectBadPath(QStringLiteral("/no/%1"));
    QCOMPARE(errors.take(), QByteArray("error: no vond-exe not found/no/%1\n"));
    QCOMPARE(rejection.value_or(QString()), QStringLiteral("error: no vond-exe not found:/no/%1"));
}

void PathCheckTest::anExistingFilePassesInSilence()
{
    const OwnWorkFolder folder;
    makeFile(folder.filePath(QStringLiteral("vond")));
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QVERIFY(!tool::rejectBadPath(folder.filePath(QStringLiteral("vond"))));
    QCOMPARE(errors.take(), QByteArray());
}

void PathCheckTest::anExistingFolderPassesToo()
{
    const OwnWorkFolder folder;
    QVERIFY(!tool::rejectBadPath(folder.path()));
}

VOND_TEST(PathCheckTest);
#include "pathchecktest.moc"
