#include "tool/uniquefilepath.h"

#include "commands/writebase64file.h"
#include "tests/support/inthreads.h"
#include "tests/support/ownfolders.h"
#include "tests/support/testmain.h"

#include <QDir>
#include <QTest>

#include <set>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using Make = int (*)(const char *);
Q_DECLARE_METATYPE(Make)

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
    void anythingTakesItsName_data();
    void anythingTakesItsName();
    void aNameThatAnotherRequestHoldsIsTaken();
    void oneRequestIsGivenItsOwnNameAgain();
    void aNameIsFreeAgainWhenTheRequestHasEnded();
    void anotherWayToTheFolderIsTheSameName();
    void aRejectedCandidateIsFreeForOthers();
    void amongManyTheFirstFreeOneIsFound_data();
    void amongManyTheFirstFreeOneIsFound();
    void whatGoesAmongManyIsTheNextFreeOne();
    void whatGoesUnnoticedAmongManyIsFound();
    void anotherFolderOfTheSameNameIsSearchedAgain();
    void requestsAtTheSameTimeGetNamesOfTheirOwn();
};

void UniqueFilePathTest::aFreePathStaysAsItIs()
{
    const OwnWorkFolder folder;
    tool::ClaimedPaths claims;
    const QString path = folder.filePath(QStringLiteral("a.tif.b.tif"));
    QCOMPARE(tool::uniqueFilePath(path, &claims), path);
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
    tool::ClaimedPaths claims;
    for (const QString &name : taken) {
        makeFile(folder.filePath(name));
    }
    QCOMPARE(tool::uniqueFilePath(folder.filePath(wanted), &claims), folder.filePath(free));
}

void UniqueFilePathTest::theSuffixGoesFromFolderNamesToo()
{
    const OwnWorkFolder folder;
    tool::ClaimedPaths claims;
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("my.tif.d")));
    makeFile(folder.filePath(QStringLiteral("my.tif.d/a.tif")));
    QCOMPARE(tool::uniqueFilePath(folder.filePath(QStringLiteral("my.tif.d/a.tif")), &claims),
             folder.filePath(QStringLiteral("my.d/a_1.tif")));
}

void UniqueFilePathTest::withoutASuffixEveryDotOfThePathGoes()
{
    const OwnWorkFolder folder;
    tool::ClaimedPaths claims;
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("v1.2")));
    makeFile(folder.filePath(QStringLiteral("v1.2/raw")));
    QCOMPARE(tool::uniqueFilePath(folder.filePath(QStringLiteral("v1.2/raw")), &claims),
             folder.filePath(QStringLiteral("v12/raw_1.")));
}

void UniqueFilePathTest::theFolderItselfGetsANumberInsideIt()
{
    const OwnWorkFolder folder;
    tool::ClaimedPaths claims;
    QCOMPARE(tool::uniqueFilePath(folder.filePath(QString()), &claims),
             folder.filePath(QStringLiteral("_1.")));
}

void UniqueFilePathTest::anEmptyPathStaysEmpty()
{
    tool::ClaimedPaths claims;
    QCOMPARE(tool::uniqueFilePath(QString(), &claims), QString());
}

void UniqueFilePathTest::anythingTakesItsName_data()
{
    QTest::addColumn<Make>("make");

#ifdef Q_OS_WIN
    QTest::newRow("a folder") << Make([](const char *path) { return ::mkdir(path); });
#else
    QTest::newRow("a folder") << Make([](const char *path) { return ::mkdir(path, 0700); });
    QTest::newRow("a link") << Make([](const char *path) { return ::symlink("/", path); });
    QTest::newRow("a link that leads nowhere")
        << Make([](const char *path) { return ::symlink("nowhere", path); });
    QTest::newRow("a link to itself")
        << Make([](const char *path) { return ::symlink(path, path); });
    QTest::newRow("a pipe") << Make([](const char *path) { return ::mkfifo(path, 0600); });
    QTest::newRow("a link to a device")
        << Make([](const char *path) { return ::symlink("/dev/full", path); });
#endif
}

void UniqueFilePathTest::anythingTakesItsName()
{
    QFETCH(const Make, make);
    const OwnWorkFolder folder;
    QCOMPARE(make(QFile::encodeName(folder.filePath(QStringLiteral("a.tif"))).constData()), 0);
    tool::ClaimedPaths claims;
    QCOMPARE(tool::uniqueFilePath(folder.filePath(QStringLiteral("a.tif")), &claims),
             folder.filePath(QStringLiteral("a_1.tif")));
    QCOMPARE(commands::writeBase64File(
                 folder.filePath(QStringLiteral("a.tif")), QStringLiteral("bmV3"), &claims),
             folder.filePath(QStringLiteral("a_1.tif")));
    QVERIFY(!folder.names().contains(QStringLiteral("nowhere")));
}

void UniqueFilePathTest::aNameThatAnotherRequestHoldsIsTaken()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a.tif"));
    tool::ClaimedPaths claims;
    tool::ClaimedPaths others;
    QCOMPARE(tool::uniqueFilePath(path, &others), path);
    QCOMPARE(tool::uniqueFilePath(path, &claims), folder.filePath(QStringLiteral("a_1.tif")));
    QCOMPARE(commands::writeBase64File(path, {}, &claims),
             folder.filePath(QStringLiteral("a_1.tif")));
    QCOMPARE(commands::writeBase64File(path, {}, &others), path);
}

void UniqueFilePathTest::oneRequestIsGivenItsOwnNameAgain()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a.tif"));
    tool::ClaimedPaths claims;
    QCOMPARE(tool::uniqueFilePath(path, &claims), path);
    QCOMPARE(tool::uniqueFilePath(path, &claims), path);
}

void UniqueFilePathTest::aNameIsFreeAgainWhenTheRequestHasEnded()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a.tif"));
    tool::ClaimedPaths claims;
    {
        tool::ClaimedPaths others;
        QCOMPARE(tool::uniqueFilePath(path, &others), path);
    }
    QCOMPARE(tool::uniqueFilePath(path, &claims), path);
}

void UniqueFilePathTest::anotherWayToTheFolderIsTheSameName()
{
    const OwnWorkFolder folder;
#ifdef Q_OS_WIN
    QSKIP("a link is a file there");
#endif
    QVERIFY(QFile::link(folder.path(), folder.filePath(QStringLiteral("way"))));
    tool::ClaimedPaths claims;
    tool::ClaimedPaths others;
    QCOMPARE(tool::uniqueFilePath(folder.filePath(QStringLiteral("way/./a.tif")), &others),
             folder.filePath(QStringLiteral("way/./a.tif")));
    QCOMPARE(tool::uniqueFilePath(folder.filePath(QStringLiteral("a.tif")), &claims),
             folder.filePath(QStringLiteral("a_1.tif")));
}

void UniqueFilePathTest::aRejectedCandidateIsFreeForOthers()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a.tif"));
    tool::ClaimedPaths claims;
    tool::ClaimedPaths others;
    QCOMPARE(tool::uniqueFilePath(
                 path, &others, [&](const QString &candidate) { return candidate != path; }),
             folder.filePath(QStringLiteral("a_1.tif")));
    QCOMPARE(tool::uniqueFilePath(path, &claims), path);
}

void UniqueFilePathTest::amongManyTheFirstFreeOneIsFound_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<int>("gap");

    for (const int gap : {1, 63, 64, 65, 150, 299, 300, 301}) {
        QTest::addRow("%d is free", gap) << ".jpg" << gap;
    }
    QTest::newRow("without a suffix") << "." << 200;
}

void UniqueFilePathTest::amongManyTheFirstFreeOneIsFound()
{
    QFETCH(const QString, suffix);
    QFETCH(const int, gap);
    const OwnWorkFolder folder;
    const auto numbered = [&](const QString &number) {
        return folder.filePath(QStringLiteral("image_") + number + suffix);
    };
    makeFile(folder.filePath(suffix == QLatin1String(".") ? QStringLiteral("image")
                                                          : QStringLiteral("image.jpg")));
    for (int number = 1; number <= 300; ++number) {
        makeFile(numbered(QString::number(number)));
    }
    // Names that only look like candidates.
    const QString free = numbered(QString::number(gap));
    QFile::remove(free);
    makeFile(numbered(QStringLiteral("0%1").arg(gap)));
    makeFile(numbered(QStringLiteral("%1x").arg(gap)));
    makeFile(numbered(QStringLiteral("99999999999999999999999")));
    makeFile(numbered(QString()));
    makeFile(free + QStringLiteral("x"));
    makeFile(folder.filePath(QStringLiteral("x") + QFileInfo(free).fileName()));
    tool::ClaimedPaths claims;
    QCOMPARE(tool::uniqueFilePath(folder.filePath(suffix == QLatin1String(".")
                                                      ? QStringLiteral("image")
                                                      : QStringLiteral("image.jpg")),
                                  &claims),
             free);
}

namespace {

QString numbered(const OwnWorkFolder &folder, int number)
{
    return folder.filePath(QStringLiteral("image_%1.jpg").arg(number));
}

// image.jpg, and all numbers up to the last.
void makeMany(const OwnWorkFolder &folder, int last)
{
    makeFile(folder.filePath(QStringLiteral("image.jpg")));
    for (int number = 1; number <= last; ++number) {
        makeFile(numbered(folder, number));
    }
}

QString firstFree(const OwnWorkFolder &folder)
{
    tool::ClaimedPaths claims;
    return tool::uniqueFilePath(folder.filePath(QStringLiteral("image.jpg")), &claims);
}

} // namespace

// That all lower numbers are taken is remembered until one of them is removed.
void UniqueFilePathTest::whatGoesAmongManyIsTheNextFreeOne()
{
    const OwnWorkFolder folder;
    makeMany(folder, 300);
    for (int i = 0; i < 2; ++i) {
        QCOMPARE(firstFree(folder), numbered(folder, 301));
    }
    makeFile(numbered(folder, 301)); // as another program would
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("image_302.jpg")));
    QCOMPARE(firstFree(folder), numbered(folder, 303));
    for (const int gone : {250, 150, 64, 63, 1, 200, 302}) {
        QVERIFY(QFile::remove(numbered(folder, gone)) || QDir().rmdir(numbered(folder, gone)));
        for (int i = 0; i < 2; ++i) {
            QCOMPARE(firstFree(folder), numbered(folder, gone));
        }
        makeFile(numbered(folder, gone));
        QCOMPARE(firstFree(folder), numbered(folder, 303));
    }
    QVERIFY(QFile::rename(numbered(folder, 100), folder.filePath(QStringLiteral("away"))));
    QCOMPARE(firstFree(folder), numbered(folder, 100));
    {
        tool::ClaimedPaths others; // taken only as long as it is claimed
        QCOMPARE(tool::uniqueFilePath(folder.filePath(QStringLiteral("image.jpg")), &others),
                 numbered(folder, 100));
        QCOMPARE(firstFree(folder), numbered(folder, 303));
    }
    QCOMPARE(firstFree(folder), numbered(folder, 100));
}

// More files are removed at once than the system's event queue can hold.
void UniqueFilePathTest::whatGoesUnnoticedAmongManyIsFound()
{
    constexpr int beyondTheQueue = 20000;
    const OwnWorkFolder folder;
    makeMany(folder, 100);
    QCOMPARE(firstFree(folder), numbered(folder, 101));
    const QByteArray first = QFile::encodeName(folder.filePath(QStringLiteral("x")));
    const QByteArray second = QFile::encodeName(folder.filePath(QStringLiteral("y")));
    makeFile(folder.filePath(QStringLiteral("x")));
    for (int i = 0; i < beyondTheQueue; ++i) { // alternating: equal events are reported once
        const bool isThere = i % 2 == 0;
        QCOMPARE(::rename((isThere ? first : second).constData(),
                          (isThere ? second : first).constData()),
                 0);
    }
    QVERIFY(QFile::remove(numbered(folder, 80)));
    QCOMPARE(firstFree(folder), numbered(folder, 80));
}

void UniqueFilePathTest::anotherFolderOfTheSameNameIsSearchedAgain()
{
    const OwnWorkFolder folder;
    const QString inside = folder.filePath(QStringLiteral("inside"));
    const auto make = [&inside] {
        QVERIFY(QDir().mkdir(inside));
        makeFile(inside + QStringLiteral("/image.jpg"));
        for (int number = 1; number <= 100; ++number) {
            makeFile(inside + QStringLiteral("/image_%1.jpg").arg(number));
        }
    };
    const auto free = [&inside] {
        tool::ClaimedPaths claims;
        return tool::uniqueFilePath(inside + QStringLiteral("/image.jpg"), &claims);
    };
    make();
    QCOMPARE(free(), inside + QStringLiteral("/image_101.jpg"));
    QVERIFY(QDir(inside).removeRecursively());
    make(); // mostly with the previous one's number
    QVERIFY(QFile::remove(inside + QStringLiteral("/image_90.jpg")));
    QCOMPARE(free(), inside + QStringLiteral("/image_90.jpg"));
    QVERIFY(QFile::rename(inside, folder.filePath(QStringLiteral("old"))));
    make();
    QCOMPARE(free(), inside + QStringLiteral("/image_101.jpg"));
}

void UniqueFilePathTest::requestsAtTheSameTimeGetNamesOfTheirOwn()
{
    constexpr int requests = 8;
    constexpr int rounds = 100;
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("out.tif"));
    for (int round = 0; round < rounds; ++round) {
        std::vector<tool::ClaimedPaths> claims(requests);
        std::vector<QString> given(requests);
        inThreads(requests, [&](int number) {
            const auto index = static_cast<std::size_t>(number);
            given[index] = tool::uniqueFilePath(path, &claims[index]);
        });
        QCOMPARE(int(std::set<QString>(given.begin(), given.end()).size()), requests);
    }
    QCOMPARE(folder.names(), QStringList());
}

VOND_TEST(UniqueFilePathTest);
#include "uniquefilepathtest.moc"
