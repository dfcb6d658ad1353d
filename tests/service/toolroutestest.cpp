#include "tests/sampletool/pictures.h"
#include "tests/sampletool/toolrun.h"
#include "tests/support/ownfolders.h"
#include "tests/support/requests.h"
#include "tests/support/serviceundertest.h"
#include "tests/support/testmain.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using pictures::Kind;
using requests::get;
using requests::post;

namespace {

QString base64(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toBase64());
}

QJsonObject fileObject(const char *name, const QByteArray &bytes)
{
    return {{QStringLiteral("filename"), QString::fromUtf8(name)},
            {QStringLiteral("data"), base64(bytes)}};
}

} // namespace

// The routes that take files inside JSON, with real pictures and profiles.
class ToolRoutesTest : public QObject
{
    Q_OBJECT

private:
    // The response's body, which must be an object.
    [[nodiscard]] QJsonObject vond(const QJsonArray &arguments) const
    {
        const QByteArray answer = requests::ask(
            m_service->port(), post("/vond", QJsonDocument(arguments).toJson()), patienceMs);
        const QJsonDocument document = QJsonDocument::fromJson(answer);
        if (!document.isObject()) {
            qWarning("no object: %s", answer.constData());
        }
        return document.object();
    }

    [[nodiscard]] QString convertWithLocalData(const QJsonObject &request) const
    {
        return QString::fromUtf8(
            requests::ask(m_service->port(),
                          post("/convertWithLocalData", QJsonDocument(request).toJson()),
                          patienceMs));
    }

    [[nodiscard]] QJsonObject conversionOf(const char *name, const char *configuration) const
    {
        return {{QStringLiteral("fileName"), QString::fromUtf8(name)},
                {QStringLiteral("imgData"), base64(m_picture)},
                {QStringLiteral("configuration"), QString::fromUtf8(configuration)}};
    }

    [[nodiscard]] QByteArray fetch(const QString &name) const
    {
        return requests::ask(m_service->port(),
                             get("/getConversionResult/" + name.toUtf8().toPercentEncoding()));
    }

    [[nodiscard]] QString inWorkFolder(const QString &name) const
    {
        return m_service->temporaryFolder() + QLatin1Char('/') + name;
    }

    // The bytes as a picture, read from a file with this suffix.
    [[nodiscard]] pictures::Pixels pixels(const QByteArray &bytes, const QString &suffix) const
    {
        const QString path = m_folder.filePath(QStringLiteral("fetched.") + suffix);
        makeFile(path, bytes);
        return pictures::read(path);
    }

    // What the tool makes of the picture when it is run by hand.
    [[nodiscard]] pictures::Pixels made(const QStringList &options) const
    {
        const QString output = m_folder.filePath(QStringLiteral("byhand.tif"));
        (void)runTool(options
                      + QStringList{m_folder.filePath(QStringLiteral("picture.png")),
                                    QStringLiteral("-o"),
                                    output});
        return pictures::read(output);
    }

private Q_SLOTS:

    void initTestCase()
    {
        pictures::start();
        const QString path = m_folder.filePath(QStringLiteral("picture.png"));
        pictures::writeColourful(path, Kind::Rgb);
        m_picture = contentOf(path);
        m_profile = pictures::profile("p3");
        makeFile(m_folder.filePath(QStringLiteral("p3.icc")), m_profile);
    }

    void init()
    {
        m_service = std::make_unique<ServiceUnderTest>(); // with an empty work folder
        QVERIFY(m_service->start(QStringLiteral(SAMPLE_TOOL_PATH)));
    }

    void helpComesBackAlone()
    {
        const QJsonObject answer = vond({QStringLiteral("--help")});
        QCOMPARE(answer.keys(), (QStringList{QStringLiteral("stdErr"), QStringLiteral("stdOut")}));
        QCOMPARE(answer.value(QLatin1String("stdErr")).toString(), QString());
        QCOMPARE(answer.value(QLatin1String("stdOut")).toString().toUtf8(),
                 runTool({QStringLiteral("--help")}).out);
    }

    void severalOutputsAreFetchedByTheNamesInTheAnswer()
    {
        const QJsonObject answer = vond({QStringLiteral("-c"),
                                         QStringLiteral("PressCMYK"),
                                         fileObject("in.png", m_picture),
                                         QStringLiteral("-o"),
                                         QStringLiteral("return:first.tif"),
                                         QStringLiteral("-o"),
                                         QStringLiteral("return:second.final.jpg")});
        QCOMPARE(answer.value(QLatin1String("stdErr")).toString(), QString());
        QCOMPARE(answer.value(QLatin1String("stdOut")).toString(),
                 QStringLiteral("Output file: %1\nOutput file: %2\n")
                     .arg(inWorkFolder(QStringLiteral("first.tif")),
                          inWorkFolder(QStringLiteral("second.final.jpg"))));
        QCOMPARE(answer.value(QLatin1String("returnFilesDict")).toObject(),
                 (QJsonObject{{QStringLiteral("first"), QStringLiteral("first.tif")},
                              {QStringLiteral("second"), QStringLiteral("second.final.jpg")}}));
        QCOMPARE(contentOf(inWorkFolder(QStringLiteral("in.png"))), m_picture);

        const pictures::Pixels expected = made({QStringLiteral("-c"), QStringLiteral("PressCMYK")});
        const pictures::Pixels first =
            pixels(fetch(QStringLiteral("first.tif")), QStringLiteral("tif"));
        QCOMPARE(first.bands, 4);
        QCOMPARE(pictures::largestDifference(first, expected), 0);
        QCOMPARE(first.profile, pictures::profile("cmyk"));
        const pictures::Pixels second =
            pixels(fetch(QStringLiteral("second.final.jpg")), QStringLiteral("jpg"));
        QCOMPARE(second.bands, 4);
        QCOMPARE(second.width, expected.width);
        QCOMPARE(second.height, expected.height);
        QCOMPARE(second.profile, pictures::profile("cmyk"));
    }

    void aTakenNameIsNumbered()
    {
        const QByteArray occupant = "was here before";
        makeFile(inWorkFolder(QStringLiteral("out.tif")), occupant);
        const QJsonObject answer = vond({QStringLiteral("-c"),
                                         QStringLiteral("sRGB"),
                                         fileObject("in.png", m_picture),
                                         QStringLiteral("-o"),
                                         QStringLiteral("return:out.tif")});
        QCOMPARE(answer.value(QLatin1String("returnFilesDict")).toObject(),
                 (QJsonObject{{QStringLiteral("out_1"), QStringLiteral("out_1.tif")}}));
        QCOMPARE(contentOf(inWorkFolder(QStringLiteral("out.tif"))), occupant);
        const pictures::Pixels result =
            pixels(fetch(QStringLiteral("out_1.tif")), QStringLiteral("tif"));
        QCOMPARE(pictures::largestDifference(result,
                                             made({QStringLiteral("-c"), QStringLiteral("sRGB")})),
                 0);
    }

    void aProfileGoesAlongAsAFileObject()
    {
        const QJsonObject answer = vond({QStringLiteral("-c"),
                                         QStringLiteral("PressCMYK"),
                                         QStringLiteral("setoption"),
                                         QStringLiteral("--profile"),
                                         fileObject("own.icc", m_profile),
                                         fileObject("in.png", m_picture),
                                         QStringLiteral("-o"),
                                         QStringLiteral("return:own.tif")});
        QVERIFY2(!answer.value(QLatin1String("returnFilesDict")).toObject().isEmpty(),
                 QJsonDocument(answer).toJson().constData());
        const pictures::Pixels result =
            pixels(fetch(QStringLiteral("own.tif")), QStringLiteral("tif"));
        QCOMPARE(result.bands, 3); // by the profile, not by the configuration
        QCOMPARE(result.profile, m_profile);
        QCOMPARE(pictures::largestDifference(result, made(withOwnProfile())), 0);
    }

    // The tool writes all outputs of a run or none, and its error line names all of them. The stop
    // file's name is not in that line.
    void whatTheErrorLineNamesIsLeftOut()
    {
        const QJsonObject answer = vond({QStringLiteral("--translateerror"),
                                         QStringLiteral("--stopfile=return:stop.txt"),
                                         QStringLiteral("-c"),
                                         QStringLiteral("PressCMYK"),
                                         fileObject("in.png", m_picture),
                                         QStringLiteral("-o"),
                                         QStringLiteral("return:good.tif"),
                                         QStringLiteral("-o"),
                                         QStringLiteral("return:bad.png")});
        const QString sentence =
            QStringLiteral("'%1' cannot be written: PNG cannot hold CMYK colours.")
                .arg(inWorkFolder(QStringLiteral("bad.png")));
        QCOMPARE(answer.value(QLatin1String("stdOut")).toString(), sentence + QLatin1Char('\n'));
        const QString error = answer.value(QLatin1String("stdErr")).toString();
        QVERIFY2(error.startsWith(QStringLiteral("Error: ") + sentence), qPrintable(error));
        QCOMPARE(answer.value(QLatin1String("returnFilesDict")).toObject(),
                 (QJsonObject{{QStringLiteral("stop"), QStringLiteral("stop.txt")}}));
        QCOMPARE(fetch(QStringLiteral("good.tif")), QByteArray());
        QCOMPARE(fetch(QStringLiteral("bad.png")), QByteArray());
        QVERIFY(m_service->error().contains("removed return filekey on error: \"good.tif\""));
        QVERIFY(m_service->error().contains("removed return filekey on error: \"bad.png\""));
    }

    void withNoNameLeftThereIsNoDictionary()
    {
        const QJsonObject answer = vond({QStringLiteral("-c"),
                                         QStringLiteral("Nonsense"),
                                         fileObject("in.png", m_picture),
                                         QStringLiteral("-o"),
                                         QStringLiteral("return:never.tif")});
        QCOMPARE(answer.keys(), (QStringList{QStringLiteral("stdErr"), QStringLiteral("stdOut")}));
        QVERIFY(answer.value(QLatin1String("stdErr"))
                    .toString()
                    .startsWith(QLatin1String("Error: There is no configuration 'Nonsense'.")));
    }

    void aPictureSentInlineIsConverted()
    {
        const QString answer = convertWithLocalData(conversionOf("scan.page.png", "DisplayP3"));
        QCOMPARE(answer, inWorkFolder(QStringLiteral("scan_DisplayP3.png")));
        QCOMPARE(contentOf(inWorkFolder(QStringLiteral("scan.page.png"))), m_picture);
        const pictures::Pixels result =
            pixels(fetch(QFileInfo(answer).fileName()), QStringLiteral("png"));
        QCOMPARE(result.profile, m_profile);
        QCOMPARE(pictures::largestDifference(
                     result, made({QStringLiteral("-c"), QStringLiteral("DisplayP3")})),
                 0);
    }

    void theSamePictureAgainIsNumbered()
    {
        const QJsonObject request = conversionOf("name.png", "sRGB");
        QCOMPARE(convertWithLocalData(request), inWorkFolder(QStringLiteral("name_sRGB.png")));
        QCOMPARE(convertWithLocalData(request), inWorkFolder(QStringLiteral("name_1_sRGB.png")));
        QCOMPARE(fetch(QStringLiteral("name_sRGB.png")), fetch(QStringLiteral("name_1_sRGB.png")));
    }

    void aLocalProfileReplacesTheConfigurationsOwn()
    {
        QJsonObject request = conversionOf("photo.png", "PressCMYK");
        QJsonObject local = fileObject("own.icc", m_profile);
        local.insert(QStringLiteral("option"), QStringLiteral("--profile"));
        const QJsonArray options{
            QJsonObject{{QStringLiteral("local:"), local}},
            QJsonObject{{QStringLiteral("--intent"), QStringLiteral("perceptual")}},
        };
        request.insert(QStringLiteral("setOptions"),
                       QJsonObject{{QStringLiteral("setOptions"), options}});
        const QString answer = convertWithLocalData(request);
        QCOMPARE(answer, inWorkFolder(QStringLiteral("photo_PressCMYK.png")));
        QCOMPARE(contentOf(inWorkFolder(QStringLiteral("own.icc"))), m_profile);
        const pictures::Pixels result =
            pixels(fetch(QFileInfo(answer).fileName()), QStringLiteral("png"));
        QCOMPARE(result.bands, 3);
        QCOMPARE(result.profile, m_profile);
        const QStringList byHand = withOwnProfile()
            + QStringList{QStringLiteral("--intent"), QStringLiteral("perceptual")};
        QCOMPARE(pictures::largestDifference(result, made(byHand)), 0);
    }

    void anOptionListThatIsNotWrappedIsIgnored()
    {
        QJsonObject request = conversionOf("photo.tif", "PressCMYK");
        request.insert(
            QStringLiteral("setOptions"),
            QJsonArray{QJsonObject{{QStringLiteral("--nonsense"), QStringLiteral("1")}}});
        QCOMPARE(convertWithLocalData(request),
                 inWorkFolder(QStringLiteral("photo_PressCMYK.tif")));
    }

    void whatTheToolSaysOfAFailureIsTheAnswer()
    {
        QCOMPARE(convertWithLocalData(conversionOf("photo.gif", "PressCMYK")),
                 QStringLiteral("'%1' cannot be written: '.gif' is none of .tif, .tiff, .jpg, "
                                ".jpeg and .png.\n")
                     .arg(inWorkFolder(QStringLiteral("photo_PressCMYK.gif"))));
        QCOMPARE(fetch(QStringLiteral("photo_PressCMYK.gif")), QByteArray());
    }

    // PNG cannot hold CMYK, and the tool may choose the name.
    void theResultsSuffixMayDifferFromTheUploads()
    {
        QCOMPARE(convertWithLocalData(conversionOf("photo.png", "PressCMYK")),
                 inWorkFolder(QStringLiteral("photo_PressCMYK.tif")));
        const QByteArray result = fetch(QStringLiteral("photo_PressCMYK.tif"));
        QCOMPARE(pixels(result, QStringLiteral("tif")).bands, 4);
    }

    void aProfileThatIsNoneIsReportedByTheTool()
    {
        QJsonObject request = conversionOf("photo.png", "sRGB");
        QJsonObject local = fileObject("own.icc", m_picture);
        local.insert(QStringLiteral("option"), QStringLiteral("--profile"));
        request.insert(QStringLiteral("setOptions"),
                       QJsonObject{{QStringLiteral("setOptions"),
                                    QJsonArray{QJsonObject{{QStringLiteral("local:"), local}}}}});
        QCOMPARE(convertWithLocalData(request),
                 QStringLiteral("'%1' is not an ICC profile.\n")
                     .arg(inWorkFolder(QStringLiteral("own.icc"))));
    }

private:
    [[nodiscard]] QStringList withOwnProfile() const
    {
        return {QStringLiteral("-c"),
                QStringLiteral("PressCMYK"),
                QStringLiteral("setoption"),
                QStringLiteral("--profile"),
                m_folder.filePath(QStringLiteral("p3.icc"))};
    }

    static constexpr int patienceMs = 30000;

    QTemporaryDir m_folder;
    QByteArray m_picture; // RGB, as PNG, without a profile
    QByteArray m_profile; // RGB, and not the profile of any picture here
    std::unique_ptr<ServiceUnderTest> m_service;
};

VOND_TEST(ToolRoutesTest);
#include "toolroutestest.moc"
