#include "sampletool/outputfile.h"
#include "tests/support/inthreads.h"
#include "tests/support/testmain.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <set>
#include <string>
#include <vector>

using sample::ColourSpace;

class SampleOutputFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theNumberGoesBeforeTheLastDot_data();
    void theNumberGoesBeforeTheLastDot();
    void theSuffixSaysTheFormat_data();
    void theSuffixSaysTheFormat();
    void otherSuffixesAreRejected();
    void pngIsRejectedForCmyk();
    void aNameThatCannotHoldTheColoursGetsAnotherSuffix_data();
    void aNameThatCannotHoldTheColoursGetsAnotherSuffix();
    void aFreeNameIsTakenAsItIs();
    void takenNamesAreNumbered();
    void aFolderAndADanglingLinkCountAsTaken();
    void withoutIncrementAFileIsReplaced();
    void manyAtOnceGetNamesOfTheirOwn();
    void temporaryFilesAreNextToTheOutputAndGoAtTheEnd();
    void noTemporaryFileIsMadeAfterTheEnd();
    void aFolderThatIsNotThereIsRejected();
};

namespace {

std::string pathIn(const QTemporaryDir &folder, const char *name)
{
    return folder.filePath(QString::fromUtf8(name)).toStdString();
}

void write(const std::string &path, const QByteArray &bytes)
{
    QFile file(QString::fromStdString(path));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), bytes.size());
}

QByteArray contentOf(const std::string &path)
{
    QFile file(QString::fromStdString(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no such file");
}

QStringList filesIn(const QTemporaryDir &folder)
{
    return QDir(folder.path())
        .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

std::string published(const std::string &temporary, const std::string &output, bool increment)
{
    const auto result = sample::publish(temporary, output, increment);
    if (const auto *const failure = std::get_if<sample::Failure>(&result)) {
        return failure->text;
    }
    return std::get<std::string>(result);
}

} // namespace

void SampleOutputFileTest::theNumberGoesBeforeTheLastDot_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("numbered");

    QTest::newRow("one dot") << "photo.tif"
                             << "photo_1.tif";
    QTest::newRow("two dots") << "photo.final.tif"
                              << "photo.final_1.tif";
    QTest::newRow("no dot") << "raw"
                            << "raw_1";
    QTest::newRow("a lone dot at the end") << "scan_Web."
                                           << "scan_Web_1.";
    QTest::newRow("dots in the folder") << "/a.tif/b.c/raw"
                                        << "/a.tif/b.c/raw_1";
    QTest::newRow("a hidden name") << "/t/.raw"
                                   << "/t/.raw_1";
    QTest::newRow("the suffix twice") << "/t/a.tif.tif"
                                      << "/t/a.tif_1.tif";
}

void SampleOutputFileTest::theNumberGoesBeforeTheLastDot()
{
    QFETCH(const QString, path);
    QFETCH(const QString, numbered);

    QCOMPARE(QString::fromStdString(sample::numberedPath(path.toStdString(), 1)), numbered);
}

void SampleOutputFileTest::theSuffixSaysTheFormat_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("format");

    QTest::newRow("tif") << "/t/a.tif" << int(sample::Format::Tiff);
    QTest::newRow("tiff") << "/t/a.tiff" << int(sample::Format::Tiff);
    QTest::newRow("capitals") << "/t/a.TIF" << int(sample::Format::Tiff);
    QTest::newRow("jpg") << "/t/a.jpg" << int(sample::Format::Jpeg);
    QTest::newRow("jpeg") << "/t/a.Jpeg" << int(sample::Format::Jpeg);
    QTest::newRow("png") << "/t/a.png" << int(sample::Format::Png);
    QTest::newRow("no suffix") << "/t.png/raw_X" << int(sample::Format::Tiff);
    QTest::newRow("a lone dot") << "/t/raw_X." << int(sample::Format::Tiff);
}

void SampleOutputFileTest::theSuffixSaysTheFormat()
{
    QFETCH(const QString, path);
    QFETCH(const int, format);

    const auto result = sample::formatFor(path.toStdString(), ColourSpace::Rgb);
    QVERIFY(std::holds_alternative<sample::Format>(result));
    QCOMPARE(int(std::get<sample::Format>(result)), format);
}

void SampleOutputFileTest::otherSuffixesAreRejected()
{
    const auto result = sample::formatFor("/t/a.gif", ColourSpace::Rgb);
    QCOMPARE(std::get<sample::Failure>(result).text,
             std::string("'/t/a.gif' cannot be written: '.gif' is none of .tif, .tiff, .jpg, "
                         ".jpeg and .png."));
}

void SampleOutputFileTest::pngIsRejectedForCmyk()
{
    const auto result = sample::formatFor("/t/a.png", ColourSpace::Cmyk);
    QCOMPARE(std::get<sample::Failure>(result).text,
             std::string("'/t/a.png' cannot be written: PNG cannot hold CMYK colours."));
    QVERIFY(
        std::holds_alternative<sample::Format>(sample::formatFor("/t/a.png", ColourSpace::Gray)));
}

void SampleOutputFileTest::aNameThatCannotHoldTheColoursGetsAnotherSuffix_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("cmyk");

    QTest::newRow("png") << "/t/a.png"
                         << "/t/a.tif";
    QTest::newRow("capitals") << "/t/a.PNG"
                              << "/t/a.tif";
    QTest::newRow("dots before it") << "/t.png/a.b.png"
                                    << "/t.png/a.b.tif";
    QTest::newRow("jpg") << "/t/a.jpg"
                         << "/t/a.jpg";
    QTest::newRow("no suffix") << "/t.png/raw"
                               << "/t.png/raw";
    QTest::newRow("a suffix that is not written") << "/t/a.gif"
                                                  << "/t/a.gif";
}

void SampleOutputFileTest::aNameThatCannotHoldTheColoursGetsAnotherSuffix()
{
    QFETCH(const QString, path);
    QFETCH(const QString, cmyk);

    QCOMPARE(sample::nameThatHolds(path.toStdString(), ColourSpace::Cmyk), cmyk.toStdString());
    QCOMPARE(sample::nameThatHolds(path.toStdString(), ColourSpace::Rgb), path.toStdString());
    QCOMPARE(sample::nameThatHolds(path.toStdString(), ColourSpace::Gray), path.toStdString());
}

void SampleOutputFileTest::aFreeNameIsTakenAsItIs()
{
    const QTemporaryDir folder;
    write(pathIn(folder, "t"), "new");
    QCOMPARE(published(pathIn(folder, "t"), pathIn(folder, "a.tif"), true),
             pathIn(folder, "a.tif"));
    QCOMPARE(contentOf(pathIn(folder, "a.tif")), QByteArray("new"));
    QCOMPARE(filesIn(folder), QStringList{QStringLiteral("a.tif")});
}

void SampleOutputFileTest::takenNamesAreNumbered()
{
    const QTemporaryDir folder;
    write(pathIn(folder, "a.tif"), "old");
    write(pathIn(folder, "a_1.tif"), "old too");
    write(pathIn(folder, "t"), "new");
    QCOMPARE(published(pathIn(folder, "t"), pathIn(folder, "a.tif"), true),
             pathIn(folder, "a_2.tif"));
    QCOMPARE(contentOf(pathIn(folder, "a.tif")), QByteArray("old"));
    QCOMPARE(contentOf(pathIn(folder, "a_1.tif")), QByteArray("old too"));
    QCOMPARE(contentOf(pathIn(folder, "a_2.tif")), QByteArray("new"));
    QCOMPARE(filesIn(folder).size(), 3);
}

void SampleOutputFileTest::aFolderAndADanglingLinkCountAsTaken()
{
    const QTemporaryDir folder;
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("a.tif")));
    QVERIFY(
        QFile::link(QStringLiteral("/nowhere/at/all"), folder.filePath(QStringLiteral("a_1.tif"))));
    write(pathIn(folder, "t"), "new");
    QCOMPARE(published(pathIn(folder, "t"), pathIn(folder, "a.tif"), true),
             pathIn(folder, "a_2.tif"));
}

void SampleOutputFileTest::withoutIncrementAFileIsReplaced()
{
    const QTemporaryDir folder;
    write(pathIn(folder, "a.tif"), "old");
    write(pathIn(folder, "t"), "new");
    QCOMPARE(published(pathIn(folder, "t"), pathIn(folder, "a.tif"), false),
             pathIn(folder, "a.tif"));
    QCOMPARE(contentOf(pathIn(folder, "a.tif")), QByteArray("new"));
    QCOMPARE(filesIn(folder), QStringList{QStringLiteral("a.tif")});
}

void SampleOutputFileTest::manyAtOnceGetNamesOfTheirOwn()
{
    constexpr std::size_t count = 16;
    const QTemporaryDir folder;
    std::vector<std::string> results(count);
    for (std::size_t i = 0; i < count; ++i) {
        write(pathIn(folder, "t") + std::to_string(i), QByteArray::number(int(i)));
    }
    inThreads(count, [&](int number) {
        const auto i = static_cast<std::size_t>(number);
        results[i] =
            published(pathIn(folder, "t") + std::to_string(i), pathIn(folder, "a.tif"), true);
    });
    QCOMPARE(std::set<std::string>(results.begin(), results.end()).size(), count);
    for (std::size_t i = 0; i < count; ++i) {
        QCOMPARE(contentOf(results[i]), QByteArray::number(int(i)));
    }
    QCOMPARE(filesIn(folder).size(), int(count));
}

void SampleOutputFileTest::temporaryFilesAreNextToTheOutputAndGoAtTheEnd()
{
    const QTemporaryDir folder;
    {
        sample::TemporaryFiles files;
        const auto first = std::get<std::string>(files.create(pathIn(folder, "a.tif")));
        const auto second = std::get<std::string>(files.create(pathIn(folder, "a.tif")));
        QVERIFY(first != second);
        QCOMPARE(filesIn(folder).size(), 2);
        QCOMPARE(published(first, pathIn(folder, "a.tif"), true), pathIn(folder, "a.tif"));
    }
    QCOMPARE(filesIn(folder), QStringList{QStringLiteral("a.tif")});
}

void SampleOutputFileTest::noTemporaryFileIsMadeAfterTheEnd()
{
    const QTemporaryDir folder;
    sample::TemporaryFiles files;
    files.removeAll();
    QVERIFY(std::holds_alternative<sample::Failure>(files.create(pathIn(folder, "a.tif"))));
    QVERIFY(filesIn(folder).isEmpty());
}

void SampleOutputFileTest::aFolderThatIsNotThereIsRejected()
{
    sample::TemporaryFiles files;
    const auto result = files.create("/nowhere/at/all/a.tif");
    QCOMPARE(std::get<sample::Failure>(result).text,
             std::string("'/nowhere/at/all/a.tif' cannot be written: No such file or directory."));
}

VOND_TEST_WITHOUT_APPLICATION(SampleOutputFileTest);
#include "sampleoutputfiletest.moc"
