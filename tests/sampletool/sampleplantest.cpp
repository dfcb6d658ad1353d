#include "sampletool/plan.h"
#include "tests/support/testmain.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using sample::ColourSpace;

class SamplePlanTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theConfigurationGivesProfileAndColours();
    void theUsualIntentIsRelative();
    void setOptionsGoBeforeTheConfiguration();
    void outputsKeepTheirInputs();
    void anUnknownConfigurationIsRejected();
    void oneBadOutputRejectsAll();
    void cmykForPngBecomesTiffWhereNamesAreNumbered();
    void aProfileIsReadFromItsHeader_data();
    void aProfileIsReadFromItsHeader();
    void aProfileThatIsNotThereIsRejected();
    void theErrorTextNamesEveryOutput();
};

namespace {

sample::Convert request(const char *configuration, const char *output)
{
    sample::Convert convert;
    convert.configuration = configuration;
    convert.tasks = {{"in.tif", {output}}};
    return convert;
}

// Just enough of a profile to read its header.
std::string header(const char *colourSpace, const char *signature)
{
    std::string bytes(128, '\0');
    bytes.replace(16, 4, colourSpace);
    bytes.replace(36, 4, signature);
    return bytes;
}

const char *nameOf(ColourSpace space)
{
    if (space == ColourSpace::Gray) {
        return "gray";
    }
    return space == ColourSpace::Rgb ? "RGB" : "CMYK";
}

std::string textOf(const std::variant<sample::Plan, sample::Failure> &plan)
{
    const auto *const failure = std::get_if<sample::Failure>(&plan);
    return failure ? failure->text : "no failure";
}

} // namespace

void SamplePlanTest::theConfigurationGivesProfileAndColours()
{
    const auto plan = std::get<sample::Plan>(sample::planFor(request("PressCMYK", "o.tif")));
    QCOMPARE(plan.recipe.profile, std::string("cmyk"));
    QVERIFY(plan.recipe.colourSpace == ColourSpace::Cmyk);
}

void SamplePlanTest::theUsualIntentIsRelative()
{
    const auto plan = std::get<sample::Plan>(sample::planFor(request("sRGB", "o.tif")));
    QVERIFY(plan.recipe.intent == sample::Intent::Relative);
    QCOMPARE(plan.recipe.quality, 90);
}

void SamplePlanTest::setOptionsGoBeforeTheConfiguration()
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("gray.icc")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QByteArray::fromStdString(header("GRAY", "acsp")));
    file.close();

    sample::Convert convert = request("PressCMYK", "o.png");
    convert.options = {file.fileName().toStdString(), sample::Intent::Saturation, 55};
    const auto plan = std::get<sample::Plan>(sample::planFor(convert));
    QCOMPARE(plan.recipe.profile, file.fileName().toStdString());
    QVERIFY(plan.recipe.colourSpace == ColourSpace::Gray);
    QVERIFY(plan.recipe.intent == sample::Intent::Saturation);
    QCOMPARE(plan.recipe.quality, 55);
}

void SamplePlanTest::outputsKeepTheirInputs()
{
    sample::Convert convert = request("sRGB", "1.tif");
    convert.tasks = {{"a.tif", {"1.tif", "2.jpg"}}, {"b.tif", {"3.png"}}};
    const auto plan = std::get<sample::Plan>(sample::planFor(convert));
    QCOMPARE(plan.outputs.size(), std::size_t(3));
    QCOMPARE(plan.outputs[1].input, std::string("a.tif"));
    QCOMPARE(plan.outputs[1].path, std::string("2.jpg"));
    QVERIFY(plan.outputs[1].format == sample::Format::Jpeg);
    QCOMPARE(plan.outputs[2].input, std::string("b.tif"));
}

void SamplePlanTest::anUnknownConfigurationIsRejected()
{
    QCOMPARE(textOf(sample::planFor(request("Coated", "o.tif"))),
             std::string("There is no configuration 'Coated'."));
}

void SamplePlanTest::oneBadOutputRejectsAll()
{
    sample::Convert convert = request("PressCMYK", "1.tif");
    convert.tasks[0].outputs.emplace_back("2.png");
    QCOMPARE(textOf(sample::planFor(convert)),
             std::string("'2.png' cannot be written: PNG cannot hold CMYK colours."));
}

void SamplePlanTest::cmykForPngBecomesTiffWhereNamesAreNumbered()
{
    sample::Convert convert = request("PressCMYK", "a.png");
    convert.increment = true;
    const auto plan = std::get<sample::Plan>(sample::planFor(convert));
    QCOMPARE(plan.outputs[0].path, std::string("a.tif"));
    QVERIFY(plan.outputs[0].format == sample::Format::Tiff);
    QVERIFY(sample::errorText({"No.", {}}, convert).find("'a.png'") != std::string::npos);

    convert.configuration = "sRGB";
    QCOMPARE(std::get<sample::Plan>(sample::planFor(convert)).outputs[0].path,
             std::string("a.png"));
}

void SamplePlanTest::aProfileIsReadFromItsHeader_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("outcome");

    const auto row = [](const char *name, const std::string &bytes, const char *outcome) {
        QTest::newRow(name) << QByteArray::fromStdString(bytes) << QString::fromUtf8(outcome);
    };
    row("RGB", header("RGB ", "acsp"), "RGB");
    row("CMYK", header("CMYK", "acsp"), "CMYK");
    row("gray", header("GRAY", "acsp"), "gray");
    row("Lab",
        header("Lab ", "acsp"),
        "The profile 'p' is for other colours than RGB, CMYK or gray.");
    row("no signature", header("RGB ", "acsq"), "'p' is not an ICC profile.");
    row("cut off in the header",
        header("RGB ", "acsp").substr(0, 127),
        "'p' is not an ICC profile.");
    row("empty", "", "'p' is not an ICC profile.");
}

void SamplePlanTest::aProfileIsReadFromItsHeader()
{
    QFETCH(const QByteArray, bytes);
    QFETCH(const QString, outcome);

    const auto result = sample::colourSpaceOf(bytes.toStdString(), "p");
    const auto *const failure = std::get_if<sample::Failure>(&result);
    const QString seen = failure ? QString::fromStdString(failure->text)
                                 : QLatin1String(nameOf(std::get<ColourSpace>(result)));
    QCOMPARE(seen, outcome);
}

void SamplePlanTest::aProfileThatIsNotThereIsRejected()
{
    sample::Convert convert = request("sRGB", "o.tif");
    convert.options.profile = "/nowhere/p.icc";
    QCOMPARE(textOf(sample::planFor(convert)),
             std::string("The profile '/nowhere/p.icc' does not exist or is not a file."));
    convert.options.profile = "/";
    QCOMPARE(textOf(sample::planFor(convert)),
             std::string("The profile '/' does not exist or is not a file."));
}

void SamplePlanTest::theErrorTextNamesEveryOutput()
{
    sample::Convert convert = request("sRGB", "/t/1.tif");
    convert.tasks[0].outputs.emplace_back("/t/2.jpg");
    QCOMPARE(sample::errorText({"It did not work.", {}}, convert),
             std::string("It did not work. Not written: '/t/1.tif' '/t/2.jpg'"));
    QCOMPARE(sample::errorText({"It did not work.", "bad luck"}, convert),
             std::string("It did not work. bad luck Not written: '/t/1.tif' '/t/2.jpg'"));
}

VOND_TEST_WITHOUT_APPLICATION(SamplePlanTest);
#include "sampleplantest.moc"
