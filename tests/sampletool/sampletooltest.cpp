#include "tests/support/testmain.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <memory>
#include <vector>

#include "pictures.h"
#include "toolrun.h"

using pictures::Kind;

class SampleToolTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void versionIsOneLine();
    void helpNamesEveryOption();
    void configurationsAreListed();
    void detailsAreJson();
    void anUnknownNameOfAListingFails();
    void aWrongCommandLineFails();

    void aConversionReportsItsOutput();
    void progressRisesTo100BeforeTheOutput();
    void everyTextIsAChunkOfItsOwn_data();
    void everyTextIsAChunkOfItsOwn();
    void withoutProgressThereIsOnlyTheOutput();
    void theDestinationProfileIsEmbedded();
    void severalOutputsAreAllWritten();
    void severalInputsAreAllConverted();
    void theSuffixSaysTheFormat_data();
    void theSuffixSaysTheFormat();
    void cmykForPngIsWrittenAsTiffWhereNamesAreNumbered();
    void cmykForPngIsRejectedWhereTheNameIsFixed();
    void bracketsInANameAreNoOptions();
    void aProfileCanBeSentAlong();
    void qualityChangesTheSizeOfAJpeg();
    void transparencyIsFlattenedOnWhiteForCmyk();
    void transparencyIsKeptForRgb();

    void theOutputIsNumberedRatherThanOverwritten();
    void withoutTheOptionTheOutputIsOverwritten();
    void toolsAtOnceNumberSideBySide();

    void failuresHaveTwoTexts_data();
    void failuresHaveTwoTexts();
    void withoutTranslationThereIsNoTextOnStandardOutput();
    void aFailedOutputLeavesNoneOfTheOthers();
    void aTruncatedPictureFails_data();
    void aTruncatedPictureFails();
    void aFullDiskLeavesNothing();

private:
    [[nodiscard]] QString path(const char *name) const;
    [[nodiscard]] QStringList files() const;
    void fetch(const char *name) const;

    QTemporaryDir m_gallery; // pictures that several tests copy
    std::unique_ptr<QTemporaryDir> m_folder;
};

namespace {

QStringList convert(const char *configuration, const QStringList &rest)
{
    return QStringList{QStringLiteral("--translateerror"),
                       QStringLiteral("--overwriteoutput=increment"),
                       QStringLiteral("-c"),
                       QString::fromUtf8(configuration)}
    + rest;
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no such file");
}

bool write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray outputLine(const QString &path)
{
    return "Output file: " + QFile::encodeName(path) + '\n';
}

const QString o = QStringLiteral("-o");

// What the rows of failuresHaveTwoTexts() share; %T is the folder.
const QString goodInput = QStringLiteral("%T/in.tif");
const QString goodOutput = QStringLiteral("%T/o.tif");
const QString setoption = QStringLiteral("setoption");

void failureRow(const char *name,
                const char *configuration,
                const QStringList &rest,
                const char *text)
{
    QTest::newRow(name) << QString::fromUtf8(configuration) << rest << QString::fromUtf8(text);
}

void addBadInputs()
{
    failureRow("a missing input",
               "sRGB",
               {QStringLiteral("%T/none.tif"), o, goodOutput},
               "The input '%T/none.tif' does not exist or cannot be reached.");
    failureRow("a folder as input",
               "sRGB",
               {QStringLiteral("%T/"), o, goodOutput},
               "The input '%T/' is not a file.");
    failureRow("a device as input",
               "sRGB",
               {QStringLiteral("/dev/zero"), o, goodOutput},
               "The input '/dev/zero' is not a file.");
    failureRow("an input that is no picture",
               "sRGB",
               {QStringLiteral("%T/text.txt"), o, goodOutput},
               "The input '%T/text.txt' cannot be read as a TIFF, JPEG or PNG picture.");
    failureRow("an empty input",
               "sRGB",
               {QStringLiteral("%T/empty.tif"), o, goodOutput},
               "The input '%T/empty.tif' cannot be read as a TIFF, JPEG or PNG picture.");
    failureRow("a picture in a format that is not read",
               "sRGB",
               {QStringLiteral("%T/picture.ppm"), o, goodOutput},
               "The input '%T/picture.ppm' cannot be read as a TIFF, JPEG or PNG picture.");
    failureRow("a picture with a profile for other colours",
               "sRGB",
               {QStringLiteral("%T/mixed.tif"), o, goodOutput},
               "The profile in '%T/mixed.tif' is for other colours than its pixels.");
}

void addBadOutputs()
{
    failureRow("an output folder that is not there",
               "sRGB",
               {goodInput, o, QStringLiteral("%T/none/o.tif")},
               "'%T/none/o.tif' cannot be written: No such file or directory.");
    failureRow("a file as output folder",
               "sRGB",
               {goodInput, o, QStringLiteral("%T/text.txt/o.tif")},
               "'%T/text.txt/o.tif' cannot be written: Not a directory.");
    failureRow("a folder where nobody may write",
               "sRGB",
               {goodInput, o, QStringLiteral("/proc/o.tif")},
               "'/proc/o.tif' cannot be written: No such file or directory.");
    failureRow(
        "an output in a format that is not written",
        "sRGB",
        {goodInput, o, QStringLiteral("%T/o.gif")},
        "'%T/o.gif' cannot be written: '.gif' is none of .tif, .tiff, .jpg, .jpeg and .png.");
}

void addBadOptions()
{
    failureRow("an unknown configuration",
               "Coated",
               {goodInput, o, goodOutput},
               "There is no configuration 'Coated'.");
    failureRow(
        "no configuration's name", "", {goodInput, o, goodOutput}, "There is no configuration ''.");
    failureRow("a profile that is none",
               "sRGB",
               {setoption,
                QStringLiteral("--profile"),
                QStringLiteral("%T/text.txt"),
                goodInput,
                o,
                goodOutput},
               "'%T/text.txt' is not an ICC profile.");
    failureRow("a profile that is missing",
               "sRGB",
               {setoption,
                QStringLiteral("--profile"),
                QStringLiteral("%T/none.icc"),
                goodInput,
                o,
                goodOutput},
               "The profile '%T/none.icc' does not exist or is not a file.");
    failureRow("a profile that is cut off",
               "sRGB",
               {setoption,
                QStringLiteral("--profile"),
                QStringLiteral("%T/cut.icc"),
                goodInput,
                o,
                goodOutput},
               "'%T/in.tif' could not be converted.");
    failureRow(
        "a wrong value",
        "sRGB",
        {setoption, QStringLiteral("--quality"), QStringLiteral("500"), goodInput, o, goodOutput},
        "Usage: '500' is no quality from 1 to 100. See vond-sample --help.");
}

} // namespace

void SampleToolTest::initTestCase()
{
    pictures::start();
    for (const char *const name : {"in.tif", "p.tif", "p.jpg", "p.png"}) {
        pictures::writeColourful(m_gallery.filePath(QString::fromUtf8(name)), Kind::Rgb);
    }
    pictures::writeColourful(
        m_gallery.filePath(QStringLiteral("mixed.tif")), Kind::Rgb, pictures::profile("cmyk"));
}

// Each test has a folder with one picture in it.
void SampleToolTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    fetch("in.tif");
}

void SampleToolTest::fetch(const char *name) const
{
    QVERIFY(QFile::copy(m_gallery.filePath(QString::fromUtf8(name)), path(name)));
}

QString SampleToolTest::path(const char *name) const
{
    return m_folder->filePath(QString::fromUtf8(name));
}

QStringList SampleToolTest::files() const
{
    return QDir(m_folder->path())
        .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

void SampleToolTest::versionIsOneLine()
{
    const ToolRun run = runTool({QStringLiteral("version")});
    QCOMPARE(run.exitCode, 0);
    QVERIFY(run.out.startsWith("vond-sample "));
    QCOMPARE(run.out.count('\n'), 1);
    QVERIFY(run.out.endsWith('\n'));
    QVERIFY(run.err.isEmpty());
}

void SampleToolTest::helpNamesEveryOption()
{
    const ToolRun run = runTool({QStringLiteral("--help")});
    QCOMPARE(run.exitCode, 0);
    for (const char *const word : {"version",
                                   "listconfigurations",
                                   "--format=json",
                                   "--name=",
                                   "--details=",
                                   "-c NAME",
                                   "-o OUTPUT",
                                   "--progress",
                                   "--stopfile=",
                                   "--translateerror",
                                   "--overwriteoutput=increment",
                                   "setoption",
                                   "--profile",
                                   "--intent",
                                   "--quality"}) {
        QVERIFY2(run.out.contains(word), word);
    }
    QVERIFY(run.err.isEmpty());
}

void SampleToolTest::configurationsAreListed()
{
    const ToolRun run = runTool({QStringLiteral("listconfigurations")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("sRGB\nDisplayP3\nPressCMYK\n"));
    QVERIFY(run.err.isEmpty());
}

void SampleToolTest::detailsAreJson()
{
    const ToolRun run =
        runTool({QStringLiteral("listconfigurations"),
                 QStringLiteral("--format=json"),
                 QStringLiteral("--name=PressCMYK"),
                 QStringLiteral("--details=DocumentColorSpace,DstProfile,PSLayersOption")});
    QCOMPARE(run.exitCode, 0);
    QJsonParseError problem;
    const QJsonObject object = QJsonDocument::fromJson(run.out, &problem).object();
    QCOMPARE(problem.error, QJsonParseError::NoError);
    QCOMPARE(object.value(QLatin1String("DocumentColorSpace")).toString(), QStringLiteral("CMYK"));
    QCOMPARE(object.value(QLatin1String("DstProfile")).toString(),
             QStringLiteral("Chemical proof"));
    QCOMPARE(object.value(QLatin1String("PSLayersOption")).toString(), QStringLiteral("Flatten"));
}

void SampleToolTest::anUnknownNameOfAListingFails()
{
    const ToolRun run = runTool({QStringLiteral("listconfigurations"),
                                 QStringLiteral("--format=json"),
                                 QStringLiteral("--name=No, such"),
                                 QStringLiteral("--details=DstProfile")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray("There is no configuration 'No, such'.\n"));
    QCOMPARE(run.err, QByteArray("Error: There is no configuration 'No, such'.\n"));
}

void SampleToolTest::aWrongCommandLineFails()
{
    const ToolRun run = runTool({QStringLiteral("--fast"), path("in.tif"), o, path("o.tif")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray("Usage: '--fast' is not known here. See vond-sample --help.\n"));
    QCOMPARE(run.err, QByteArray("Error: usage: '--fast' is not known here\n"));
    QCOMPARE(files(), QStringList{QStringLiteral("in.tif")});
}

void SampleToolTest::aConversionReportsItsOutput()
{
    const ToolRun run = runTool(convert("PressCMYK", {path("in.tif"), o, path("out put.tif")}));
    QCOMPARE(run.err, QByteArray());
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, outputLine(path("out put.tif")));
    QCOMPARE(files(), (QStringList{QStringLiteral("in.tif"), QStringLiteral("out put.tif")}));
}

void SampleToolTest::progressRisesTo100BeforeTheOutput()
{
    pictures::writeLargePlain(path("large.jpg"), 3000, 2000, false);
    const ToolRun run =
        runTool(QStringList{QStringLiteral("--progress")}
                + convert("PressCMYK", {path("large.jpg"), o, path("a.tif"), o, path("b.jpg")}));
    QCOMPARE(run.exitCode, 0);

    QList<QByteArray> lines = run.out.split('\n');
    QCOMPARE(lines.takeLast(), QByteArray());
    QCOMPARE(lines.takeLast(), "Output file: " + QFile::encodeName(path("b.jpg")));
    QCOMPARE(lines.takeLast(), "Output file: " + QFile::encodeName(path("a.tif")));
    QCOMPARE(lines.first(), QByteArray("Progress: 0%"));
    QCOMPARE(lines.last(), QByteArray("Progress: 100%"));
    QVERIFY2(lines.size() > 5, run.out.constData());

    const QRegularExpression form(QStringLiteral("^Progress: (\\d+)%$"));
    int last = -1;
    for (const QByteArray &line : qAsConst(lines)) {
        const auto match = form.match(QString::fromUtf8(line));
        QVERIFY2(match.hasMatch(), line.constData());
        QVERIFY2(match.captured(1).toInt() > last, run.out.constData());
        last = match.captured(1).toInt();
    }
}

void SampleToolTest::everyTextIsAChunkOfItsOwn_data()
{
    QTest::addColumn<int>("pauseMs");

    QTest::newRow("a quick reader") << 0;
    QTest::newRow("a slow reader") << 30;
}

void SampleToolTest::everyTextIsAChunkOfItsOwn()
{
    QFETCH(const int, pauseMs);

    for (int round = 0; round < 3; ++round) {
        const ToolRun run = runTool(QStringList{QStringLiteral("--progress")}
                                        + convert("sRGB", {path("in.tif"), o, path("o.tif")}),
                                    static_cast<unsigned long>(pauseMs));
        QCOMPARE(run.exitCode, 0);
        QVERIFY(run.chunks.size() >= 3);
        for (const QByteArray &chunk : run.chunks) {
            QCOMPARE(chunk.count('\n'), 1);
            QVERIFY(chunk.endsWith('\n'));
        }
        QVERIFY(run.chunks.last().startsWith("Output file: "));
    }
}

void SampleToolTest::withoutProgressThereIsOnlyTheOutput()
{
    const ToolRun run =
        runTool({QStringLiteral("-c"), QStringLiteral("sRGB"), path("in.tif"), o, path("o.tif")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, outputLine(path("o.tif")));
}

void SampleToolTest::theDestinationProfileIsEmbedded()
{
    for (const auto &[configuration, profile] :
         {std::pair{"sRGB", "srgb"}, {"DisplayP3", "p3"}, {"PressCMYK", "cmyk"}}) {
        const ToolRun run = runTool(convert(configuration, {path("in.tif"), o, path("o.tif")}));
        QCOMPARE(run.exitCode, 0);
        const QString written = QString::fromUtf8(run.out.mid(13)).trimmed();
        QCOMPARE(pictures::read(written).profile, pictures::profile(profile));
    }
}

void SampleToolTest::severalOutputsAreAllWritten()
{
    const ToolRun run =
        runTool(convert("PressCMYK", {path("in.tif"), o, path("a.tif"), o, path("b.jpg")}));
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, outputLine(path("a.tif")) + outputLine(path("b.jpg")));
    const pictures::Pixels tiff = pictures::read(path("a.tif"));
    const pictures::Pixels jpeg = pictures::read(path("b.jpg"));
    QCOMPARE(tiff.bands, 4);
    QCOMPARE(jpeg.bands, 4);
    QCOMPARE(jpeg.width, tiff.width);
    QCOMPARE(jpeg.height, tiff.height);
}

void SampleToolTest::severalInputsAreAllConverted()
{
    pictures::writeColourful(path("gray.png"), Kind::Gray);
    const ToolRun run = runTool(convert(
        "PressCMYK", {path("in.tif"), o, path("a.tif"), path("gray.png"), o, path("b.tif")}));
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, outputLine(path("a.tif")) + outputLine(path("b.tif")));
    QVERIFY(
        pictures::largestDifference(pictures::read(path("a.tif")), pictures::read(path("b.tif")))
        > 50);
}

void SampleToolTest::theSuffixSaysTheFormat_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("firstBytes");

    QTest::newRow("TIFF") << "o.TIF" << QByteArray("II*\0", 4);
    QTest::newRow("JPEG") << "o.jpeg" << QByteArray("\xff\xd8\xff");
    QTest::newRow("PNG") << "o.png" << QByteArray("\x89PNG");
    QTest::newRow("no suffix") << "raw_sRGB" << QByteArray("II*\0", 4);
    QTest::newRow("a lone dot") << "raw_sRGB." << QByteArray("II*\0", 4);
}

void SampleToolTest::theSuffixSaysTheFormat()
{
    QFETCH(const QString, name);
    QFETCH(const QByteArray, firstBytes);

    const QString output = m_folder->filePath(name);
    const ToolRun run = runTool(convert("sRGB", {path("in.tif"), o, output}));
    QCOMPARE(run.exitCode, 0);
    QVERIFY(contentOf(output).startsWith(firstBytes));
}

void SampleToolTest::cmykForPngIsWrittenAsTiffWhereNamesAreNumbered()
{
    for (const char *const name : {"o.tif", "o_1.tif"}) {
        const ToolRun run = runTool(convert("PressCMYK", {path("in.tif"), o, path("o.png")}));
        QCOMPARE(run.err, QByteArray());
        QCOMPARE(run.out, outputLine(path(name)));
        QVERIFY(contentOf(path(name)).startsWith(QByteArray("II*\0", 4)));
        QCOMPARE(pictures::read(path(name)).bands, 4);
    }
    QVERIFY(!QFile::exists(path("o.png")));
}

void SampleToolTest::cmykForPngIsRejectedWhereTheNameIsFixed()
{
    const ToolRun run = runTool(
        {QStringLiteral("-c"), QStringLiteral("PressCMYK"), path("in.tif"), o, path("o.png")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.err,
             "Error: '" + QFile::encodeName(path("o.png"))
                 + "' cannot be written: PNG cannot hold CMYK colours. Not written: '"
                 + QFile::encodeName(path("o.png")) + "'\n");
    QCOMPARE(files(), QStringList{QStringLiteral("in.tif")});
}

void SampleToolTest::bracketsInANameAreNoOptions()
{
    QVERIFY(QFile::rename(path("in.tif"), path("in[page=7].tif")));
    const ToolRun run =
        runTool(convert("sRGB", {path("in[page=7].tif"), o, path("o[compression=jpeg].tif")}));
    QCOMPARE(run.err, QByteArray());
    QCOMPARE(
        files(),
        (QStringList{QStringLiteral("in[page=7].tif"), QStringLiteral("o[compression=jpeg].tif")}));
}

void SampleToolTest::aProfileCanBeSentAlong()
{
    QVERIFY(write(path("p.icc"), pictures::profile("p3")));
    const ToolRun run = runTool(convert("PressCMYK",
                                        {QStringLiteral("setoption"),
                                         QStringLiteral("--profile"),
                                         path("p.icc"),
                                         path("in.tif"),
                                         o,
                                         path("o.tif")}));
    QCOMPARE(run.exitCode, 0);
    const pictures::Pixels pixels = pictures::read(path("o.tif"));
    QCOMPARE(pixels.bands, 3);
    QCOMPARE(pixels.profile, pictures::profile("p3"));
}

void SampleToolTest::qualityChangesTheSizeOfAJpeg()
{
    const auto sizeWith = [this](const char *quality) {
        const QString output =
            m_folder->filePath(QString::fromUtf8(quality)) + QStringLiteral(".jpg");
        (void)runTool(convert("sRGB",
                              {QStringLiteral("setoption"),
                               QStringLiteral("--quality"),
                               QString::fromUtf8(quality),
                               path("in.tif"),
                               o,
                               output}));
        return QFileInfo(output).size();
    };
    const qint64 small = sizeWith("20");
    QVERIFY(small > 0);
    QVERIFY(sizeWith("98") > 2 * small);
}

void SampleToolTest::transparencyIsFlattenedOnWhiteForCmyk()
{
    pictures::writeColourful(path("alpha.png"), Kind::RgbAlpha);
    const ToolRun run = runTool(convert("PressCMYK", {path("alpha.png"), o, path("o.tif")}));
    QCOMPARE(run.exitCode, 0);
    const pictures::Pixels converted = pictures::read(path("o.tif"));
    QCOMPARE(converted.bands, 4);
    // The last pixel is fully transparent: paper, so almost no ink.
    const QByteArray last = converted.bytes.right(4);
    for (const char ink : last) {
        QVERIFY2(static_cast<unsigned char>(ink) < 16, last.toHex().constData());
    }
}

void SampleToolTest::transparencyIsKeptForRgb()
{
    pictures::writeColourful(path("alpha.png"), Kind::RgbAlpha);
    const ToolRun run = runTool(convert("DisplayP3", {path("alpha.png"), o, path("o.png")}));
    QCOMPARE(run.exitCode, 0);
    const pictures::Pixels before = pictures::read(path("alpha.png"));
    const pictures::Pixels after = pictures::read(path("o.png"));
    QCOMPARE(after.bands, 4);
    for (int i = 3; i < before.bytes.size(); i += 4) {
        QCOMPARE(after.bytes.at(i), before.bytes.at(i));
    }
}

void SampleToolTest::theOutputIsNumberedRatherThanOverwritten()
{
    QVERIFY(write(path("o.tif"), "old"));
    const QStringList arguments = convert("sRGB", {path("in.tif"), o, path("o.tif")});
    QCOMPARE(runTool(arguments).out, outputLine(path("o_1.tif")));
    QCOMPARE(runTool(arguments).out, outputLine(path("o_2.tif")));
    QCOMPARE(contentOf(path("o.tif")), QByteArray("old"));
    QCOMPARE(contentOf(path("o_1.tif")), contentOf(path("o_2.tif")));
}

void SampleToolTest::withoutTheOptionTheOutputIsOverwritten()
{
    QVERIFY(write(path("o.tif"), "old"));
    const ToolRun run =
        runTool({QStringLiteral("-c"), QStringLiteral("sRGB"), path("in.tif"), o, path("o.tif")});
    QCOMPARE(run.out, outputLine(path("o.tif")));
    QVERIFY(contentOf(path("o.tif")).size() > 1000);
    QCOMPARE(files(), (QStringList{QStringLiteral("in.tif"), QStringLiteral("o.tif")}));
}

void SampleToolTest::toolsAtOnceNumberSideBySide()
{
    constexpr int count = 8;
    std::vector<std::unique_ptr<QProcess>> tools;
    for (int i = 0; i < count; ++i) {
        tools.push_back(std::make_unique<QProcess>());
        tools.back()->start(toolPath(), convert("sRGB", {path("in.tif"), o, path("o.tif")}));
    }
    QStringList told;
    for (const auto &tool : tools) {
        QVERIFY(tool->waitForFinished());
        QCOMPARE(tool->exitCode(), 0);
        told << QString::fromUtf8(tool->readAllStandardOutput().mid(13)).trimmed();
    }
    QStringList expected{path("o.tif")};
    for (int i = 1; i < count; ++i) {
        expected << m_folder->filePath(QStringLiteral("o_%1.tif").arg(i));
    }
    std::sort(told.begin(), told.end());
    std::sort(expected.begin(), expected.end());
    QCOMPARE(told, expected);
    QCOMPARE(files().size(), count + 1);
    for (const QString &output : qAsConst(told)) {
        QCOMPARE(contentOf(output), contentOf(path("o.tif")));
    }
}

void SampleToolTest::failuresHaveTwoTexts_data()
{
    QTest::addColumn<QString>("configuration");
    QTest::addColumn<QStringList>("rest");
    QTest::addColumn<QString>("text");

    addBadInputs();
    addBadOutputs();
    addBadOptions();
}

void SampleToolTest::failuresHaveTwoTexts()
{
    QFETCH(const QString, configuration);
    QFETCH(QStringList, rest);
    QFETCH(QString, text);
    const QString folder = m_folder->path();
    rest.replaceInStrings(QStringLiteral("%T"), folder);
    text.replace(QStringLiteral("%T"), folder);

    QVERIFY(write(path("text.txt"), "This is no picture, whatever one may hope."));
    QVERIFY(write(path("empty.tif"), ""));
    QVERIFY(write(path("picture.ppm"), "P3 1 1 255 1 2 3\n"));
    QVERIFY(write(path("cut.icc"), pictures::profile("cmyk").left(2000)));
    fetch("mixed.tif");
    const QStringList before = files();

    const ToolRun run = runTool(convert(configuration.toUtf8().constData(), rest));
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(QString::fromUtf8(run.out), text + QLatin1Char('\n'));
    QVERIFY2(run.err.startsWith("Error: "), run.err.constData());
    QCOMPARE(run.err.count('\n'), 1);
    QVERIFY(run.err.endsWith('\n'));
    QCOMPARE(files(), before);
}

void SampleToolTest::withoutTranslationThereIsNoTextOnStandardOutput()
{
    const ToolRun run =
        runTool({QStringLiteral("-c"), QStringLiteral("sRGB"), path("none.tif"), o, path("o.tif")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray());
    QVERIFY(run.err.startsWith("Error: The input '"));
    QVERIFY(run.err.contains("none.tif"));
    QVERIFY(run.err.contains(QFile::encodeName(path("o.tif"))));
}

void SampleToolTest::aFailedOutputLeavesNoneOfTheOthers()
{
    const ToolRun run = runTool(
        convert("sRGB", {path("in.tif"), o, path("a.tif"), path("none.tif"), o, path("b.tif")}));
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(files(), QStringList{QStringLiteral("in.tif")});
}

void SampleToolTest::aTruncatedPictureFails_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<double>("part");

    for (const char *const name : {"p.tif", "p.jpg", "p.png"}) {
        for (const double part : {0.01, 0.3, 0.6, 0.95}) {
            QTest::addRow("%s, %g of it", name, part) << QString::fromUtf8(name) << part;
        }
    }
}

void SampleToolTest::aTruncatedPictureFails()
{
    QFETCH(const QString, name);
    QFETCH(const double, part);

    const QString picture = m_folder->filePath(name);
    fetch(name.toUtf8().constData());
    const qint64 size = QFileInfo(picture).size();
    QVERIFY(QFile::resize(picture, qRound64(double(size) * part)));
    const QStringList before = files();

    const ToolRun run = runTool(convert("PressCMYK", {picture, o, path("o.tif")}));
    QCOMPARE(run.exitCode, 1);
    QVERIFY(run.out.contains(QFile::encodeName(picture)));
    QVERIFY2(run.err.startsWith("Error: "), run.err.constData());
    QCOMPARE(files(), before);
}

void SampleToolTest::aFullDiskLeavesNothing()
{
    // A file size limit makes the write fail like a full disk.
    QProcess shell;
    shell.start(QStringLiteral("/bin/sh"),
                QStringList{QStringLiteral("-c"),
                            QStringLiteral("ulimit -f 100; exec \"$@\""),
                            QStringLiteral("sh"),
                            toolPath()}
                    + convert("PressCMYK", {path("in.tif"), o, path("o.tif")}));
    QVERIFY(shell.waitForFinished());
    QCOMPARE(shell.exitStatus(), QProcess::NormalExit);
    QCOMPARE(shell.exitCode(), 1);
    QVERIFY(shell.readAllStandardOutput().endsWith("could not be converted.\n"));
    QVERIFY(shell.readAllStandardError().startsWith("Error: "));
    QCOMPARE(files(), QStringList{QStringLiteral("in.tif")});
}

VOND_TEST(SampleToolTest);
#include "sampletooltest.moc"
