#include "tests/support/ownfolders.h"
#include "tests/support/requests.h"
#include "tests/support/residentmemory.h"
#include "tests/support/serviceundertest.h"
#include "tests/support/testmain.h"

#include <QTest>

#include <memory>
#include <random>

using requests::get;
using requests::post;

namespace {

constexpr int patienceMs = 120000;
constexpr int base64Size = 100 * 1000 * 1000;

// Allows for what small requests leave behind: objects of connections, and what the threads' heaps
// keep. A single copy of what is sent here is several times as large.
constexpr int marginMiB = 24;

QByteArray randomBytes(int size)
{
    std::mt19937 generator(1); // the same bytes in each run
    QByteArray bytes(size, Qt::Uninitialized);
    for (char &byte : bytes) {
        byte = static_cast<char>(generator() & 0xffU);
    }
    return bytes;
}

// JSON written with single quotes, with a % in place of the data.
QByteArray json(const char *pattern, const QByteArray &data)
{
    return QByteArray(pattern).replace('\'', '"').replace("%", data);
}

} // namespace

// A hundred million characters of base64 to each route that reads a body.
class LargeInputTest : public QObject
{
    Q_OBJECT

private:
    [[nodiscard]] QByteArray ask(const QByteArray &request) const
    {
        return requests::ask(m_service->port(), request, patienceMs);
    }

    [[nodiscard]] QByteArray stored(const char *name) const
    {
        return contentOf(m_service->temporaryFolder() + QLatin1Char('/') + QString::fromUtf8(name));
    }

    [[nodiscard]] QString memoryNow() const
    {
        return QStringLiteral("%1 MiB, %2 MiB when warm")
            .arg(residentMiB(m_service->processId()))
            .arg(m_warmMiB);
    }

private Q_SLOTS:

    void initTestCase()
    {
        m_bytes = randomBytes(base64Size / 4 * 3);
        m_base64 = m_bytes.toBase64();
        QCOMPARE(m_base64.size(), base64Size);
    }

    // A separate service for each request, so that none profits from what another left behind.
    void init()
    {
        m_service = std::make_unique<ServiceUnderTest>();
        QVERIFY(m_service->start(QStringLiteral(SAMPLE_TOOL_PATH)));
        for (int i = 0; i < 3; ++i) {
            for (const QByteArray &request : {get("/version"),
                                              post("/text", "a"),
                                              post("/upload/a", "a"),
                                              post("/convert", "a"),
                                              post("/convertWithLocalData", "a"),
                                              post("/vond", "[\"version\"]")}) {
                QVERIFY(ask(request) != "no answer");
            }
        }
        m_warmMiB = residentMiB(m_service->processId());
        QVERIFY(m_warmMiB > 0);
    }

    void cleanup()
    {
        QCOMPARE(ask(get("/")), QByteArray("vondServer: Hello world"));
        if (freedMemoryLeaves) { // a sanitizer keeps it
            QTRY_VERIFY2(residentMiB(m_service->processId()) <= m_warmMiB + marginMiB,
                         qPrintable(memoryNow()));
        }
        m_service.reset();
    }

    void textGivesItBack()
    {
        QVERIFY(ask(post("/text", m_base64)) == "vondServer:" + m_base64);
    }

    void uploadStoresIt()
    {
        QCOMPARE(ask(post("/upload/large", m_base64)), QByteArray("{\"ok\": true}"));
        QVERIFY(stored("large") == m_base64);
    }

    void vondStoresItDecoded()
    {
        const QByteArray answer =
            ask(post("/vond", json("['version',{'filename':'large','data':'%'}]", m_base64)));
        QVERIFY2(answer.contains("'version' stands alone"), answer.constData()); // the tool was run
        QVERIFY(stored("large") == m_bytes);
    }

    void vondRejectsItAlone()
    {
        QCOMPARE(ask(post("/vond", m_base64)), QByteArray("{}"));
    }

    void convertWithLocalDataStoresItDecoded()
    {
        const QByteArray answer = ask(
            post("/convertWithLocalData",
                 json("{'fileName':'large.tif','configuration':'sRGB','imgData':'%'}", m_base64)));
        QVERIFY2(answer.endsWith("/large.tif' cannot be read as a TIFF, JPEG or PNG picture.\n"),
                 answer.constData());
        QVERIFY(stored("large.tif") == m_bytes);
    }

    // An argument too long for any tool.
    void convertTakesItForANameThatCannotBe()
    {
        QCOMPARE(ask(post("/convert", json("{'fileName':'%'}", m_base64))), QByteArray());
    }

    void convertIgnoresWhatItDoesNotKnow()
    {
        QCOMPARE(ask(post("/convert", json("{'imgData':'%'}", m_base64))),
                 QByteArray("There is no configuration ''.\n"));
    }

private:
    std::unique_ptr<ServiceUnderTest> m_service;
    QByteArray m_bytes;
    QByteArray m_base64;
    int m_warmMiB = 0;
};

VOND_TEST(LargeInputTest);
#include "largeinputtest.moc"
