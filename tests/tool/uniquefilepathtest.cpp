#include "tool/uniquefilepath.h"

#include "tests/support/ownfolders.h"

#include <QDir>
#include <QtTest>

class UniqueFilePathTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aFreePathStaysAsItIs();
    void aTakenNameGetsTheFirstFreeNumber_data();
    void aTakenNameGetsTheFirstFreeNumber();
    void theSuffixGoesFromFolderNamesToo();
    void withoutASuffixEveryDotOfThePathGoes();
    void theFolderItselfGetsANumberInsideIt();
    void anEmptyPathStaysEmpty();
};

void UniqueFilePathTest::aFreePathStaysAsItIs()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a.tif.b.tif"));
    QCOMPARE(tool::uniqueFilePath(path), path);
}

void UniqueFilePathTest::aTakenNameGetsTheFirstFreeNumber_data()
{
    QTest::addColumn<QStringList>("taken");
    QTest::addColumn<QString>("wanted");
    QTest::addColumn<QString>("free");

    const auto names = [](const char *list) {
        return QString::fromUtf8(list).split(QLatin1Char(' '));
    };
    QTest::newRow("one taken") << names("a.tif") << "a.tif"
                               << "a_1.tif";
    QTest::newRow("two taken") << names("photo.jpg photo_1.jpg") << "photo.jpg"
                               << "photo_2.jpg";
    QTest::newRow("a gap is used") << names("a.tif a_2.tif") << "a.tif"
                                   << "a_1.tif";
    QTest::newRow("the suffix goes from inside the name too") << names("a.tif.tif") << "a.tif.tif"
                                                              << "a_1.tif";
    QTest::newRow("a longer word that begins like the suffix is cut")
        << names("a.tiff.tif") << "a.tiff.tif"
        << "af_1.tif";
    QTest::newRow("the suffix is compared with its case") << names("a.TIF.tif") << "a.TIF.tif"
                                                          << "a.TIF_1.tif";
    QTest::newRow("only the last suffix counts") << names("a.tar.gz") << "a.tar.gz"
                                                 << "a.tar_1.gz";
    QTest::newRow("a name that is only a suffix") << names(".tif") << ".tif"
                                                  << "_1.tif";
    QTest::newRow("no suffix: a dot at the end") << names("raw") << "raw"
                                                 << "raw_1.";
    QTest::newRow("a dot at the end") << names("raw.") << "raw."
                                      << "raw_1.";
}

void UniqueFilePathTest::aTakenNameGetsTheFirstFreeNumber()
{
    QFETCH(const QStringList, taken);
    QFETCH(const QString, wanted);
    QFETCH(const QString, free);
    const OwnWorkFolder folder;
    for (const QString &name : taken) {
        makeFile(folder.filePath(name));
    }
    QCOMPARE(tool::uniqueFilePath(folder.filePath(wanted)), folder.filePath(free));
}

void UniqueFilePathTest::theSuffixGoesFromFolderNamesToo()
{
    const OwnWorkFolder folder;
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("my.tif.d")));
    makeFile(folder.filePath(QStringLiteral("my.tif.d/a.tif")));
    QCOMPARE(tool::uniqueFilePath(folder.filePath(QStringLiteral("my.tif.d/a.tif"))),
             folder.filePath(QStringLiteral("my.d/a_1.tif")));
}

void UniqueFilePathTest::withoutASuffixEveryDotOfThePathGoes()
{
    const OwnWorkFolder folder;
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("v1.2")));
    makeFile(folder.filePath(QStringLiteral("v1.2/raw")));
    QCOMPARE(tool::uniqueFilePath(folder.filePath(QStringLiteral("v1.2/raw"))),
             folder.filePath(QStringLiteral("v12/raw_1.")));
}

void UniqueFilePathTest::theFolderItselfGetsANumberInsideIt()
{
    const OwnWorkFolder folder;
    QCOMPARE(tool::uniqueFilePath(folder.filePath(QString())),
             folder.filePath(QStringLiteral("_1.")));
}

void UniqueFilePathTest::anEmptyPathStaysEmpty()
{
    QCOMPARE(tool::uniqueFilePath(QString()), QString());
}

QTEST_GUILESS_MAIN(UniqueFilePathTest)
#include "uniquefilepathtest.moc"
