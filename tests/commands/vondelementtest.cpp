#include "commands/vondelement.h"

#include "base/jsontext.h"
#include "tests/support/ownfolders.h"
#include "tests/support/testmain.h"

#include <QTest>

using Kind = commands::VondElement::Kind;
Q_DECLARE_METATYPE(Kind)

class VondElementTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anElementIsReadByItsKind_data();
    void anElementIsReadByItsKind();
    void aReturnedFileIsNamedInTheFolder_data();
    void aReturnedFileIsNamedInTheFolder();
    void aReturnedFileIsNotMade();
    void everyOccurrenceOfTheFolderGoesFromTheKey();
    void withoutANameTheFolderItselfIsTheTarget();
    void aNameIsNobodyElsesWhileTheClaimsLive();
    void aNameInsideTheFolderIsNobodyElsesEither();
};

void VondElementTest::anElementIsReadByItsKind_data()
{
    QTest::addColumn<QByteArray>("json"); // the only element of an array
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("base64");

    QTest::newRow("a text") << QByteArray(R"(["--help"])") << Kind::Literal << "--help"
                            << ""
                            << "";
    QTest::newRow("an empty text") << QByteArray(R"([""])") << Kind::Literal << ""
                                   << ""
                                   << "";
    QTest::newRow("the marker in other case")
        << QByteArray(R"(["Return:a"])") << Kind::Literal << "Return:a"
        << ""
        << "";
    QTest::newRow("the marker without its colon")
        << QByteArray(R"(["return a"])") << Kind::Literal << "return a"
        << ""
        << "";
    QTest::newRow("a wanted file") << QByteArray(R"(["return:out.tif"])") << Kind::ReturnFile << ""
                                   << "out.tif"
                                   << "";
    QTest::newRow("a wanted file behind an option")
        << QByteArray(R"(["--output=return:x.tif"])") << Kind::ReturnFile << "--output="
        << "x.tif"
        << "";
    QTest::newRow("a wanted file without a name")
        << QByteArray(R"(["return:"])") << Kind::ReturnFile << ""
        << ""
        << "";
    QTest::newRow("only the first marker counts")
        << QByteArray(R"(["a return:b return:c"])") << Kind::ReturnFile << "a "
        << "b return:c"
        << "";
    QTest::newRow("a file") << QByteArray(R"([{"filename": "a.tif", "data": "QUJD", "other": 1}])")
                            << Kind::InputFile << ""
                            << "a.tif"
                            << "QUJD";
    QTest::newRow("a file without keys") << QByteArray(R"([{}])") << Kind::InputFile << ""
                                         << ""
                                         << "";
    QTest::newRow("a file whose keys are no texts")
        << QByteArray(R"([{"filename": 1, "data": []}])") << Kind::InputFile << ""
        << ""
        << "";
    QTest::newRow("a number") << QByteArray("[1]") << Kind::Neither << ""
                              << ""
                              << "";
    QTest::newRow("a truth") << QByteArray("[true]") << Kind::Neither << ""
                             << ""
                             << "";
    QTest::newRow("null") << QByteArray("[null]") << Kind::Neither << ""
                          << ""
                          << "";
    QTest::newRow("an array") << QByteArray(R"([["a"]])") << Kind::Neither << ""
                              << ""
                              << "";
}

void VondElementTest::anElementIsReadByItsKind()
{
    QFETCH(const QByteArray, json);
    base::JsonWalk walk(base::JsonText::document(json));
    QVERIFY(walk.next());
    const commands::VondElement element = commands::readVondElement(walk.value());
    QVERIFY(!walk.next());
    QTEST(element.kind, "kind");
    QTEST(element.text, "text");
    QTEST(element.name, "name");
    QTEST(element.base64, "base64");
}

void VondElementTest::aReturnedFileIsNamedInTheFolder_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("key");

    QTest::newRow("a free name") << ""
                                 << "free.tif"
                                 << "free.tif";
    QTest::newRow("a taken name") << ""
                                  << "out.tif"
                                  << "out_1.tif";
    QTest::newRow("behind an option") << "--output="
                                      << "x.tif"
                                      << "x.tif";
    QTest::newRow("a marker of a substitution") << "%1="
                                                << "%1.tif"
                                                << "%1.tif";
}

void VondElementTest::aReturnedFileIsNamedInTheFolder()
{
    QFETCH(const QString, text);
    QFETCH(const QString, name);
    QFETCH(const QString, key);
    const OwnWorkFolder folder;
    tool::ClaimedPaths claims;
    makeFile(folder.filePath(QStringLiteral("out.tif")));
    const commands::ReturnFile file =
        commands::reserveReturnFile({Kind::ReturnFile, text, name, {}}, folder.path(), &claims);
    QCOMPARE(file.key, key);
    QCOMPARE(file.argument, text + folder.filePath(key));
}

void VondElementTest::aReturnedFileIsNotMade()
{
    const OwnWorkFolder folder;
    tool::ClaimedPaths claims;
    const QString name = QStringLiteral("x.tif");
    QCOMPARE(
        commands::reserveReturnFile({Kind::ReturnFile, {}, name, {}}, folder.path(), &claims).key,
        name);
    QCOMPARE(folder.names(), QStringList());
}

void VondElementTest::everyOccurrenceOfTheFolderGoesFromTheKey()
{
    const OwnWorkFolder folder;
    tool::ClaimedPaths claims;
    const commands::ReturnFile file = commands::reserveReturnFile(
        {Kind::ReturnFile, {}, QLatin1Char('a') + folder.filePath(QStringLiteral("b")), {}},
        folder.path(),
        &claims);
    QCOMPARE(file.key, QStringLiteral("ab"));
    QCOMPARE(file.argument, folder.filePath(QStringLiteral("ab")));
}

void VondElementTest::withoutANameTheFolderItselfIsTheTarget()
{
    const OwnWorkFolder folder;
    tool::ClaimedPaths claims;
    const commands::ReturnFile file =
        commands::reserveReturnFile({Kind::ReturnFile, {}, {}, {}}, folder.path(), &claims);
    QCOMPARE(file.key, QStringLiteral("_1."));
}

void VondElementTest::aNameIsNobodyElsesWhileTheClaimsLive()
{
    const OwnWorkFolder folder;
    const QString name = QStringLiteral("x.tif");
    tool::ClaimedPaths claims;
    {
        tool::ClaimedPaths others;
        QCOMPARE(
            commands::reserveReturnFile({Kind::ReturnFile, {}, name, {}}, folder.path(), &others)
                .key,
            name);
        QCOMPARE(
            commands::reserveReturnFile({Kind::ReturnFile, {}, name, {}}, folder.path(), &claims)
                .key,
            QStringLiteral("x_1.tif"));
    }
    QCOMPARE(
        commands::reserveReturnFile({Kind::ReturnFile, {}, name, {}}, folder.path(), &claims).key,
        name);
}

void VondElementTest::aNameInsideTheFolderIsNobodyElsesEither()
{
    const OwnWorkFolder folder;
    const QString name = QStringLiteral("x.tif");
    const QString longer = folder.filePath(name); // which is reduced to the name
    for (const bool longerFirst : {false, true}) {
        tool::ClaimedPaths claims;
        tool::ClaimedPaths others;
        QCOMPARE(
            commands::reserveReturnFile(
                {Kind::ReturnFile, {}, longerFirst ? longer : name, {}}, folder.path(), &others)
                .key,
            name);
        QCOMPARE(
            commands::reserveReturnFile(
                {Kind::ReturnFile, {}, longerFirst ? name : longer, {}}, folder.path(), &claims)
                .key,
            QStringLiteral("x_1.tif"));
    }
}

VOND_TEST(VondElementTest);
#include "vondelementtest.moc"
