#include "settings/keys.h"
#include "tests/support/rawclient.h"
#include "tests/support/requests.h"
#include "tests/support/residentmemory.h"
#include "tests/support/serviceundertest.h"
#include "tests/support/testmain.h"

#include <QDir>
#include <QDirIterator>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <vector>

using requests::get;
using requests::post;

namespace {

constexpr int levels = 100000;
constexpr int patienceMs = 30000;

const char *const notSaved = "Error: saving data to file";

// What may remain after many small requests: the objects of each connection, which are never
// deleted, and what the threads' heaps keep (up to some hundred KiB each, eight heaps per core). It
// is far below what any of the large requests here takes.
constexpr int marginMiB = 24;

QByteArray json(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QByteArray json(const QJsonArray &array)
{
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

QByteArray conversion(const QString &fileName)
{
    return post("/convert",
                json({{QStringLiteral("fileName"), fileName},
                      {QStringLiteral("reqestID"), QStringLiteral("1")},
                      {QStringLiteral("configuration"), QStringLiteral("sRGB")},
                      {QStringLiteral("cancelID"), QStringLiteral("c")}}));
}

// The bytes "ABC" as a picture.
QJsonObject inlineConversion(const QString &fileName)
{
    return {{QStringLiteral("fileName"), fileName},
            {QStringLiteral("imgData"), QStringLiteral("QUJD")},
            {QStringLiteral("configuration"), QStringLiteral("sRGB")}};
}

QByteArray inlinePicture(const QString &fileName)
{
    return post("/convertWithLocalData", json(inlineConversion(fileName)));
}

QByteArray inlineWithFile(const QString &optionFileName)
{
    QJsonObject request = inlineConversion(QStringLiteral("picture.tif"));
    const QJsonObject local{{QStringLiteral("filename"), optionFileName},
                            {QStringLiteral("data"), QStringLiteral("QUJD")},
                            {QStringLiteral("option"), QStringLiteral("--profile")}};
    const QJsonArray options{QJsonObject{{QStringLiteral("local:"), local}}};
    request.insert(QStringLiteral("setOptions"),
                   QJsonObject{{QStringLiteral("setOptions"), options}});
    return post("/convertWithLocalData", json(request));
}

QByteArray commandWithFile(const QString &fileName, const char *base64 = "QUJD")
{
    return post(
        "/vond",
        json(QJsonArray{QStringLiteral("listconfigurations"),
                        QJsonObject{{QStringLiteral("filename"), fileName},
                                    {QStringLiteral("data"), QString::fromLatin1(base64)}}}));
}

} // namespace

// What clients should not send. Each test checks the response, the files afterwards, and that the
// service goes on.
class BadInputTest : public QObject
{
    Q_OBJECT

private:
    [[nodiscard]] QStringList files() const
    {
        QStringList found;
        const QDir folder(m_folder.path());
        QDirIterator each(folder.path(), QDir::Files, QDirIterator::Subdirectories);
        while (each.hasNext()) {
            found.append(folder.relativeFilePath(each.next()));
        }
        found.sort();
        return found;
    }

    [[nodiscard]] QString workFolder() const
    {
        return m_folder.filePath(QStringLiteral("work"));
    }

    [[nodiscard]] QByteArray inWork(const char *name) const
    {
        return workFolder().toUtf8() + '/' + name;
    }

    [[nodiscard]] QByteArray unreadable(const char *name) const
    {
        return "The input '" + inWork(name) + "' cannot be read as a TIFF, JPEG or PNG picture.\n";
    }

    [[nodiscard]] QByteArray missing(const QString &name) const
    {
        return "The input '" + inWork(name.toUtf8().constData())
            + "' does not exist or cannot be reached.\n";
    }

    [[nodiscard]] QByteArray noProfile(const char *name) const
    {
        return '\'' + inWork(name) + "' is not an ICC profile.\n";
    }

    [[nodiscard]] QByteArray cannotWrite(const QString &name) const
    {
        return "Could not open " + inWork(name.toUtf8().constData()) + " for writing: ";
    }

    // The tool was run with the file as an argument that it does not know.
    [[nodiscard]] QByteArray listingRejected(const char *name) const
    {
        const QString said = QStringLiteral("usage: '%1' is not known to listconfigurations")
                                 .arg(QString::fromUtf8(inWork(name)));
        const QString shown =
            QLatin1Char('U') + said.mid(1) + QStringLiteral(". See vond-sample --help.\n");
        return json(
            {{QStringLiteral("stdErr"), QStringLiteral("Error: ") + said + QLatin1Char('\n')},
             {QStringLiteral("stdOut"), shown}});
    }

    static void row(const char *name,
                    const QByteArray &request,
                    const QByteArray &answer,
                    const QStringList &files = {},
                    const QByteArray &console = {})
    {
        QTest::newRow(name) << request << answer << files << console;
    }

    static void columns()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QByteArray>("console"); // what the operator reads
    }

    void exchange()
    {
        QFETCH(QByteArray, request);
        QFETCH(QByteArray, answer);
        QFETCH(QStringList, files);
        QFETCH(QByteArray, console);

        const int before = m_service.error().size();
        RawClient client(m_service.port());
        client.send(request);
        const auto response = client.takeResponse(false, patienceMs);
        QVERIFY(response);
        QCOMPARE(response->status(), 200);
        QVERIFY2(response->body == answer, response->body.left(500).constData());
        QCOMPARE(this->files(), files);
        const QByteArray said = m_service.error().mid(before);
        QVERIFY2(said.contains(console), said.left(2000).constData());

        client.send(get("/")); // the connection still works
        const auto next = client.takeResponse();
        QVERIFY(next);
        QCOMPARE(next->body, QByteArray("vondServer: Hello world"));
    }

private Q_SLOTS:

    void initTestCase()
    {
        init();
        m_service.setSetting(settings::tempFolderKey, workFolder());
        QVERIFY(m_service.start(QStringLiteral(SAMPLE_TOOL_PATH)));
        for (int i = 0; i < 3; ++i) {
            for (const QByteArray &request : {get("/version"),
                                              conversion(QStringLiteral("a.tif")),
                                              inlineWithFile(QString()),
                                              commandWithFile(QStringLiteral("b")),
                                              post("/upload/c", "c"),
                                              post("/text", "d")}) {
                QVERIFY(requests::ask(m_service.port(), request) != "no answer");
            }
        }
        m_warmMiB = residentMiB(m_service.processId());
        QVERIFY(m_warmMiB > 0);
    }

    void init()
    {
        QVERIFY(QDir(workFolder()).removeRecursively());
        QVERIFY(QDir(m_folder.path()).mkpath(QStringLiteral("work/sub")));
        QFile::remove(m_folder.filePath(QStringLiteral("beside.tif")));
    }

    void bodies_data()
    {
        columns();
        const QByteArray nested = QByteArray(levels, '[') + QByteArray(levels, ']');
        QByteArray nestedObjects;
        for (int i = 0; i < levels; ++i) {
            nestedObjects += "{\"a\":";
        }
        nestedObjects += '1' + QByteArray(levels, '}');

        struct Body
        {
            const char *name;
            QByteArray bytes;
            QByteArray text; // as "/text" returns it
        };

        const std::vector<Body> bodies{
            {"not JSON", "nonsense{", "nonsense{"},
            {"nothing", "", ""},
            {"zero bytes", QByteArray("\0\0", 2), QByteArray("\0\0", 2)},
            {"a JSON number", "17", "17"},
            {"arrays, 100000 deep", nested, nested},
            {"objects, 100000 deep", nestedObjects, nestedObjects},
            {"invalid UTF-8", "[\"\xff\xfe\"]", "[\"\xef\xbf\xbd\xef\xbf\xbd\"]"},
            {"half a surrogate pair in UTF-8",
             "[\"\xed\xa0\x80\"]",
             "[\"\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\"]"},
        };
        const QStringList uploaded{QStringLiteral("work/u")};
        const QStringList noName{QStringLiteral("work/_1.")}; // the free name next to a folder's
        const QByteArray noConfiguration = "There is no configuration ''.\n";
        for (const Body &body : bodies) {
            const auto named = [&body](const char *path) {
                return QByteArray(body.name) + " to " + path;
            };
            row(named("/text").constData(), post("/text", body.bytes), "vondServer:" + body.text);
            row(named("/upload").constData(),
                post("/upload/u", body.bytes),
                "{\"ok\": true}",
                uploaded);
            row(named("/convert").constData(), post("/convert", body.bytes), noConfiguration);
            row(named("/convertWithLocalData").constData(),
                post("/convertWithLocalData", body.bytes),
                noConfiguration,
                noName);
            row(named("/vond").constData(),
                post("/vond", body.bytes),
                "{}",
                {},
                "error: no json array with arguments" + body.bytes + '\n');
        }
        row("arrays, 1024 deep, to /vond",
            post("/vond", QByteArray(1024, '[') + QByteArray(1024, ']')),
            "{}",
            {},
            "error: json arguments array element is neither fileObj nor String:\n");
        row("arrays, 1025 deep, to /vond",
            post("/vond", QByteArray(1025, '[') + QByteArray(1025, ']')),
            "{}",
            {},
            "error: no json array with arguments[[[");
        row("an array in an array to /vond",
            post("/vond", "[[\"--help\"]]"),
            "{}",
            {},
            "error: json arguments array element is neither fileObj nor String:\n");
    }

    void bodies()
    {
        exchange();
    }

    // Names are used as given.
    void namesWithFolders_data()
    {
        columns();
        const QString beside = QStringLiteral("../beside.tif");
        const QString nowhere = QStringLiteral("nowhere/a.tif");
        const QStringList besideOnly{QStringLiteral("beside.tif")};

        row("/convert, beside", conversion(beside), missing(beside));
        row("/convertWithLocalData, beside",
            inlinePicture(beside),
            unreadable("../beside.tif"),
            besideOnly);
        row("/convertWithLocalData, option file beside",
            inlineWithFile(beside),
            noProfile("../beside.tif"),
            besideOnly + QStringList{QStringLiteral("work/picture.tif")});
        row("/vond, beside", commandWithFile(beside), listingRejected("../beside.tif"), besideOnly);
        row("/convertWithLocalData, in a folder that is there",
            inlinePicture(QStringLiteral("sub/a.tif")),
            unreadable("sub/a.tif"),
            {QStringLiteral("work/sub/a.tif")});

        row("/convert, in no folder", conversion(nowhere), missing(nowhere));
        row("/convertWithLocalData, in no folder",
            inlinePicture(nowhere),
            "",
            {},
            cannotWrite(nowhere));
        row("/convertWithLocalData, option file in no folder",
            inlineWithFile(nowhere),
            notSaved,
            {},
            cannotWrite(nowhere));
        row("/vond, in no folder",
            commandWithFile(nowhere),
            "{}",
            {},
            QByteArray(notSaved) + "nowhere/a.tif\n");

        row("/convertWithLocalData, option file without a name",
            inlineWithFile(QString()),
            noProfile("_1."),
            {QStringLiteral("work/_1."), QStringLiteral("work/picture.tif")});
    }

    void namesWithFolders()
    {
        exchange();
    }

    // The system would truncate a name at the zero: nothing is written or run.
    void namesWithZeros_data()
    {
        columns();
        const QString zero = QString::fromUtf8("a\0b.tif", 7);
        const QString upToZero = QStringLiteral("a");

        row("/convert",
            conversion(zero),
            "",
            {},
            "vond process timeout converting: " + inWork("a\n"));
        row("/convertWithLocalData", inlinePicture(zero), "", {}, cannotWrite(upToZero));
        row("/convertWithLocalData, option file",
            inlineWithFile(zero),
            notSaved,
            {},
            cannotWrite(upToZero));
        row("/vond", commandWithFile(zero), "{}", {}, notSaved + QByteArray("a\0b.tif\n", 8));
        row("/vond, in an argument",
            post("/vond", R"(["--help\u0000"])"),
            "{}",
            {},
            "vond process timeout\n");
        row("/vond, in a wanted name",
            post("/vond", R"(["version","return:a\u0000b"])"),
            "{}",
            {},
            "vond process timeout\n");
    }

    void namesWithZeros()
    {
        exchange();
    }

    void longNames_data()
    {
        columns();
        const QString longName(300, QLatin1Char('n')); // the system accepts 255 bytes
        const QString longest(200000, QLatin1Char('n')); // as an argument, it accepts 128 KiB

        row("/convert, long", conversion(longName), missing(longName));
        row("/convertWithLocalData, long", inlinePicture(longName), "", {}, cannotWrite(longName));
        row("/convertWithLocalData, option file with a long name",
            inlineWithFile(longName),
            notSaved,
            {},
            cannotWrite(longName));
        row("/vond, long", commandWithFile(longName), "{}", {}, cannotWrite(longName));

        row("/convert, longest", conversion(longest), "", {}, "vond process timeout converting: ");
        row("/convertWithLocalData, longest", inlinePicture(longest), "", {}, cannotWrite(longest));
        row("/vond, longest",
            post("/vond", json(QJsonArray{longest})),
            "{}",
            {},
            "vond process timeout\n");
    }

    void longNames()
    {
        exchange();
    }

    // What is not base64 is skipped, and the rest is written.
    void invalidBase64()
    {
        QVERIFY(requests::ask(m_service.port(),
                              commandWithFile(QStringLiteral("b.bin"), "!!QU!! JD\xc3\xbc??"))
                != "{}");
        QFile file(workFolder() + QStringLiteral("/b.bin"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("ABC"));
    }

    void namesInPaths_data()
    {
        columns();
        const QByteArray longName(300, 'n');
        const QByteArray longest(60000, 'n'); // the head as a whole may have 64 KiB
        const QString replaced = QStringLiteral("\uFFFD\uFFFD");
        const QStringList none;
        const QByteArray ok = "{\"ok\": true}";
        const auto noConfiguration = [](const QByteArray &name) {
            return "There is no configuration '" + name + "'.\n";
        };
        const auto noFile = [](const QByteArray &name) {
            return "file is not available, Size:0, File:" + name + '\n';
        };
        const auto noStopFile = [this](const QByteArray &name) {
            return "Could not open " + inWork(name.constData()) + ".txt for writing: ";
        };

        row("/upload, zero", post("/upload/a%00b", "x"), ok);
        row("/upload, the folder itself", post("/upload/.", "x"), ok);
        row("/upload, the folder above", post("/upload/..", "x"), ok);
        row("/upload, long", post("/upload/" + longName, "x"), ok);
        row("/upload, longest", post("/upload/" + longest, "x"), ok);
        row("/upload, no UTF-8, encoded",
            post("/upload/%ff%fe", "x"),
            ok,
            {QStringLiteral("work/") + replaced});
        row("/upload, no UTF-8",
            post("/upload/\xff\xfe", "x"),
            ok,
            {QStringLiteral("work/") + replaced});
        row("/upload, no encoding", post("/upload/%zz", "x"), ok, {QStringLiteral("work/%zz")});

        row("/progressInf, zero", get("/progressInf/a%00b"), QByteArray("/progressInf: a\0b", 17));
        row("/progressInf, no UTF-8", get("/progressInf/\xff"), "/progressInf: \xef\xbf\xbd");
        row("/progressInf, longest", get("/progressInf/" + longest), "/progressInf: " + longest);
        row("/progressInfo, zero", get("/progressInfo/a%00b"), "");
        row("/progressInfo, no UTF-8", get("/progressInfo/%ff"), "");
        row("/progressInfo, longest", get("/progressInfo/" + longest), "");

        row("/configDetails, zero",
            get("/configDetails/sRGB%00b"),
            "",
            none,
            "error: zero character in an argument, the tool is not started\n");
        row("/configDetails, no UTF-8", get("/configDetails/%ff"), noConfiguration("\xef\xbf\xbd"));
        row("/configDetails, longest", get("/configDetails/" + longest), noConfiguration(longest));

        row("/cancelConversion, zero", get("/cancelConversion/a%00b"), "", none, "Could not open ");
        row("/cancelConversion, long",
            get("/cancelConversion/" + longName),
            "",
            none,
            noStopFile(longName));
        row("/cancelConversion, no UTF-8",
            get("/cancelConversion/%ff%fe"),
            replaced.toUtf8(),
            {QStringLiteral("work/") + replaced + QStringLiteral(".txt")});

        row("/getConversionResult, zero",
            get("/getConversionResult/a%00b"),
            "",
            none,
            noFile(QByteArray("a\0b", 3)));
        row("/getConversionResult, long",
            get("/getConversionResult/" + longName),
            "",
            none,
            noFile(longName));
        row("/getConversionResult, no UTF-8",
            get("/getConversionResult/%ff"),
            "",
            none,
            noFile("\xef\xbf\xbd"));
    }

    void namesInPaths()
    {
        exchange();
    }

    void namesThatReachNoRoute_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<int>("status");
        for (const char *const path : {"/upload/",
                                       "/progressInf/",
                                       "/progressInfo/",
                                       "/configDetails/",
                                       "/cancelConversion/",
                                       "/getConversionResult/"}) {
            QTest::addRow("%s with a folder part", path)
                << post(path + QByteArray("../a"), "") << 404;
            QTest::addRow("%s with an encoded one", path)
                << post(path + QByteArray("..%2Fa"), "") << 404;
            QTest::addRow("%s with nothing", path) << post(path, "") << 404;
            QTest::addRow("%s with more than a head may have", path)
                << post(path + QByteArray(70000, 'n'), "") << 431;
            QTest::addRow("%s with a zero byte", path)
                << post(path + QByteArray("a\0b", 3), "") << 400;
        }
    }

    void namesThatReachNoRoute()
    {
        QFETCH(QByteArray, request);
        QFETCH(int, status);
        RawClient client(m_service.port());
        client.send(request);
        const auto response = client.takeResponse();
        QVERIFY(response);
        QCOMPARE(response->status(), status);
        QCOMPARE(files(), QStringList());
        QCOMPARE(requests::ask(m_service.port(), get("/")), QByteArray("vondServer: Hello world"));
    }

    void memoryIsBackAfterAllOfThat()
    {
        if (!freedMemoryLeaves) {
            QSKIP("a sanitizer keeps freed memory");
        }
        QTRY_VERIFY2(residentMiB(m_service.processId()) <= m_warmMiB + marginMiB,
                     qPrintable(memoryNow()));
    }

    // Bodies of this size used to make the allocator keep such blocks for later.
    void memoryIsBackAfterManyLargeBodiesAtOnce()
    {
        if (!freedMemoryLeaves) {
            QSKIP("a sanitizer keeps freed memory");
        }
        constexpr int clients = 12;
        constexpr int bodySize = 8 * 1024 * 1024;
        const QByteArray body(bodySize, 'x');
        for (const char *const path : {"/upload/a", "/text", "/vond"}) {
            std::vector<std::unique_ptr<RawClient>> all;
            for (int i = 0; i < clients; ++i) {
                all.push_back(std::make_unique<RawClient>(m_service.port()));
                all.back()->send(post(path, body));
            }
            for (const auto &client : all) {
                const auto response = client->takeResponse(false, patienceMs);
                QVERIFY(response);
                QCOMPARE(response->status(), 200);
            }
        }
        QTRY_VERIFY2(residentMiB(m_service.processId()) <= m_warmMiB + marginMiB,
                     qPrintable(memoryNow()));
    }

private:
    [[nodiscard]] QString memoryNow() const
    {
        return QStringLiteral("%1 MiB, %2 MiB when warm")
            .arg(residentMiB(m_service.processId()))
            .arg(m_warmMiB);
    }

    // No dot in its path: the free name for an empty name loses every dot.
    QTemporaryDir m_folder{QStringLiteral("/tmp/vond-badinput-XXXXXX")};
    ServiceUnderTest m_service;
    int m_warmMiB = 0;
};

VOND_TEST(BadInputTest);
#include "badinputtest.moc"
