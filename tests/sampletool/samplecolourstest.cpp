#include "tests/support/testmain.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include "pictures.h"
#include "toolrun.h"

using pictures::Kind;

// The tool's colours compared with those of tificc, a program that shares no code with it.
class SampleColoursTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void theTiffEqualsTheOracles_data();
    void theTiffEqualsTheOracles();
    void anotherIntentGivesOtherColours();
    void whiteIsPaperAndBlackIsInk();

private:
    [[nodiscard]] QString path(const QString &name) const;
    [[nodiscard]] QString profileFile(const QString &name);

    QTemporaryDir m_folder;
};

namespace {

#ifdef TIFICC
const QString oracle = QStringLiteral(TIFICC);
#else
const QString oracle;
#endif

constexpr int asGoodAsEqual = 1; // of 255 steps, from rounding

} // namespace

void SampleColoursTest::initTestCase()
{
    if (oracle.isEmpty()) {
        QSKIP("tificc is not installed (package liblcms2-utils): nothing to compare with");
    }
    pictures::start();
}

QString SampleColoursTest::path(const QString &name) const
{
    return m_folder.filePath(name);
}

QString SampleColoursTest::profileFile(const QString &name)
{
    QFile file(path(name + QStringLiteral(".icc")));
    const QByteArray bytes = pictures::profile(name.toUtf8().constData());
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        QTest::qFail("the profile was not written", __FILE__, __LINE__);
    }
    return file.fileName();
}

void SampleColoursTest::theTiffEqualsTheOracles_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("embedded");
    QTest::addColumn<QString>("assumed");
    QTest::addColumn<QString>("configuration");
    QTest::addColumn<QString>("destination");
    QTest::addColumn<QString>("intent"); // empty: the tool's own
    QTest::addColumn<int>("number"); // the oracle's for the same intent

    const auto row = [](const char *name,
                        Kind kind,
                        const char *embedded,
                        const char *assumed,
                        const char *configuration,
                        const char *destination,
                        const char *intent,
                        int number) {
        QTest::newRow(name) << int(kind) << QString::fromUtf8(embedded)
                            << QString::fromUtf8(assumed) << QString::fromUtf8(configuration)
                            << QString::fromUtf8(destination) << QString::fromUtf8(intent)
                            << number;
    };
    // clang-format off
    // one case per line
    row("RGB to press, usual intent",    Kind::Rgb,   "",     "srgb", "PressCMYK", "cmyk", "",           1);
    row("RGB to press, perceptual",      Kind::Rgb,   "",     "srgb", "PressCMYK", "cmyk", "perceptual", 0);
    row("RGB to press, relative",        Kind::Rgb,   "",     "srgb", "PressCMYK", "cmyk", "relative",   1);
    row("RGB to press, saturation",      Kind::Rgb,   "",     "srgb", "PressCMYK", "cmyk", "saturation", 2);
    row("RGB to press, absolute",        Kind::Rgb,   "",     "srgb", "PressCMYK", "cmyk", "absolute",   3);
    row("RGB to another RGB",            Kind::Rgb,   "",     "srgb", "DisplayP3", "p3",   "",           1);
    row("embedded P3 to press",          Kind::Rgb,   "p3",   "",     "PressCMYK", "cmyk", "",           1);
    row("embedded P3 to press, absolute", Kind::Rgb,  "p3",   "",     "PressCMYK", "cmyk", "absolute",   3);
    row("embedded P3 to sRGB",           Kind::Rgb,   "p3",   "",     "sRGB",      "srgb", "perceptual", 0);
    row("CMYK to sRGB",                  Kind::Cmyk,  "",     "cmyk", "sRGB",      "srgb", "",           1);
    row("embedded CMYK to sRGB",         Kind::Cmyk,  "cmyk", "",     "sRGB",      "srgb", "",           1);
    row("16 bits to press",              Kind::Rgb16, "",     "srgb", "PressCMYK", "cmyk", "",           1);
    row("16 bits, embedded P3, to sRGB", Kind::Rgb16, "p3",   "",     "sRGB",      "srgb", "",           1);
    // clang-format on
}

void SampleColoursTest::theTiffEqualsTheOracles()
{
    QFETCH(const int, kind);
    QFETCH(const QString, embedded);
    QFETCH(const QString, assumed);
    QFETCH(const QString, configuration);
    QFETCH(const QString, destination);
    QFETCH(const QString, intent);
    QFETCH(const int, number);

    const QString input = path(QStringLiteral("in.tif"));
    const QByteArray profile =
        embedded.isEmpty() ? QByteArray() : pictures::profile(embedded.toUtf8().constData());
    pictures::writeColourful(input, Kind(kind), profile);

    const QString ours = path(QStringLiteral("ours.tif"));
    QStringList arguments{QStringLiteral("-c"), configuration};
    if (!intent.isEmpty()) {
        arguments << QStringLiteral("setoption") << QStringLiteral("--intent") << intent;
    }
    const ToolRun run = runTool(arguments << input << QStringLiteral("-o") << ours);
    QCOMPARE(run.err, QByteArray());
    QCOMPARE(run.exitCode, 0);

    const QString theirs = path(QStringLiteral("theirs.tif"));
    QStringList oracleArguments{QStringLiteral("-w8"),
                                QStringLiteral("-t%1").arg(number),
                                QStringLiteral("-o") + profileFile(destination)};
    if (!assumed.isEmpty()) {
        oracleArguments << QStringLiteral("-i") + profileFile(assumed);
    }
    QCOMPARE(QProcess::execute(oracle, oracleArguments << input << theirs), 0);

    const pictures::Pixels ourPixels = pictures::read(ours);
    const int difference = pictures::largestDifference(ourPixels, pictures::read(theirs));
    QVERIFY(difference >= 0);
    QVERIFY2(difference <= asGoodAsEqual, qPrintable(QString::number(difference)));
    QCOMPARE(ourPixels.profile, pictures::profile(destination.toUtf8().constData()));
}

// Shows that the comparison above can fail.
void SampleColoursTest::anotherIntentGivesOtherColours()
{
    const QString input = path(QStringLiteral("in.tif"));
    pictures::writeColourful(input, Kind::Rgb);
    const auto convert = [&](const char *intent) {
        const QString output = path(QString::fromUtf8(intent) + QStringLiteral(".tif"));
        (void)runTool({QStringLiteral("-c"),
                       QStringLiteral("PressCMYK"),
                       QStringLiteral("setoption"),
                       QStringLiteral("--intent"),
                       QString::fromUtf8(intent),
                       input,
                       QStringLiteral("-o"),
                       output});
        return pictures::read(output);
    };
    QVERIFY(pictures::largestDifference(convert("relative"), convert("perceptual")) > 10);
}

// Both programs could agree on inverted inks; the first and the last colour of the cube show that.
void SampleColoursTest::whiteIsPaperAndBlackIsInk()
{
    const QString input = path(QStringLiteral("in.tif"));
    const QString output = path(QStringLiteral("inks.tif"));
    pictures::writeColourful(input, Kind::Rgb);
    QCOMPARE(runTool({QStringLiteral("-c"),
                      QStringLiteral("PressCMYK"),
                      input,
                      QStringLiteral("-o"),
                      output})
                 .exitCode,
             0);
    const pictures::Pixels before = pictures::read(input);
    const pictures::Pixels after = pictures::read(output);
    const int white = before.bytes.indexOf(QByteArray(3, '\xff'));
    const int black = before.bytes.indexOf(QByteArray(12, '\0'));
    QVERIFY(white >= 0 && white % 3 == 0);
    QVERIFY(black >= 0);
    const auto ink = [&after](int pixel, int channel) {
        return int(static_cast<unsigned char>(after.bytes.at(pixel * 4 + channel)));
    };
    for (int channel = 0; channel < 4; ++channel) {
        QVERIFY(ink(white / 3, channel) < 16);
    }
    QVERIFY(ink((black + 2) / 3, 3) > 200);
}

VOND_TEST(SampleColoursTest);
#include "samplecolourstest.moc"
