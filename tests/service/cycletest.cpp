#include "tests/support/ownfolders.h"
#include "tests/support/rawclient.h"
#include "tests/support/requests.h"
#include "tests/support/serviceundertest.h"
#include "tests/support/testmain.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>
#include <QtEndian>

#include <memory>

using requests::get;
using requests::post;

namespace {

template <typename Number>
void appendLittleEndian(QByteArray &bytes, Number value)
{
    const Number little = qToLittleEndian(value);
    bytes.append(reinterpret_cast<const char *>(&little), sizeof little);
}

// An uncompressed RGB picture of colour gradients, as a TIFF file with one strip.
QByteArray picture(quint32 width, quint32 height)
{
    constexpr quint16 shortType = 3;
    constexpr quint16 longType = 4;

    struct Entry
    {
        quint16 tag;
        quint16 type;
        quint32 count;
        quint32 value;
    };

    constexpr quint32 entryCount = 9;
    constexpr quint32 bitsAt = 8 + 2 + 12 * entryCount + 4;
    constexpr quint32 pixelsAt = bitsAt + 6;
    const Entry entries[entryCount] = {
        {256, longType, 1, width},
        {257, longType, 1, height},
        {258, shortType, 3, bitsAt}, // bits per sample
        {259, shortType, 1, 1}, // no compression
        {262, shortType, 1, 2}, // RGB
        {273, longType, 1, pixelsAt},
        {277, shortType, 1, 3},
        {278, longType, 1, height},
        {279, longType, 1, 3 * width * height},
    };
    QByteArray bytes("II*\0", 4);
    bytes.reserve(static_cast<int>(pixelsAt + 3 * width * height));
    appendLittleEndian<quint32>(bytes, 8);
    appendLittleEndian<quint16>(bytes, entryCount);
    for (const Entry &entry : entries) {
        appendLittleEndian(bytes, entry.tag);
        appendLittleEndian(bytes, entry.type);
        appendLittleEndian(bytes, entry.count);
        appendLittleEndian(bytes, entry.value);
    }
    appendLittleEndian<quint32>(bytes, 0);
    for (int i = 0; i < 3; ++i) {
        appendLittleEndian<quint16>(bytes, 8);
    }
    for (quint32 y = 0; y < height; ++y) {
        for (quint32 x = 0; x < width; ++x) {
            bytes.append(static_cast<char>(255 * x / width));
            bytes.append(static_cast<char>(255 * y / height));
            bytes.append(static_cast<char>((x ^ y) & 255));
        }
    }
    return bytes;
}

// The value of a tag in the first directory of a TIFF file, for tags with one short or long.
quint32 tiffTag(const QByteArray &file, quint16 wanted)
{
    const auto *const data = reinterpret_cast<const uchar *>(file.constData());
    const auto at = qFromLittleEndian<quint32>(data + 4);
    const auto count = qFromLittleEndian<quint16>(data + at);
    for (quint32 i = 0; i < count; ++i) {
        const uchar *const entry = data + at + 2 + size_t{12} * i;
        if (qFromLittleEndian<quint16>(entry) == wanted) {
            return qFromLittleEndian<quint16>(entry + 2) == 3
                ? qFromLittleEndian<quint16>(entry + 8)
                : qFromLittleEndian<quint32>(entry + 8);
        }
    }
    return 0;
}

int percentOf(const QByteArray &progress)
{
    // Several lines may have arrived in one piece; the last one counts.
    const int last = progress.lastIndexOf("Progress: ");
    return progress.mid(last + 10).split('%').constFirst().toInt();
}

// One conversion as a client drives it: requested on one connection, followed on another.
class Conversion
{
public:
    Conversion(quint16 port, QByteArray fileName, const QByteArray &id)
        : m_id(id)
        , m_asking(port)
        , m_polling(port)
        , m_fileName(std::move(fileName))
    {
    }

    void start()
    {
        const QJsonObject request{
            {QStringLiteral("fileName"), QString::fromUtf8(m_fileName)},
            {QStringLiteral("reqestID"), QString::fromUtf8(m_id)},
            {QStringLiteral("configuration"), QStringLiteral("PressCMYK")},
            {QStringLiteral("cancelID"), QString::fromUtf8("cancel-" + m_id)},
        };
        m_asking.send(post("/convert", QJsonDocument(request).toJson(QJsonDocument::Compact)));
    }

    // Polls the progress once; the empty text when there is none.
    QByteArray poll()
    {
        m_polling.send(get("/progressInfo/" + m_id));
        const auto response = m_polling.takeResponse();
        return response ? response->body : QByteArray("no answer");
    }

    // Polls once and notes what was seen.
    void follow()
    {
        const QByteArray progress = poll();
        if (progress.startsWith("Progress: ")) {
            const int percent = percentOf(progress);
            if (seen.isEmpty() || seen.constLast() != percent) {
                seen.append(percent);
            }
        }
    }

    bool hasAnswer()
    {
        return !m_asking.received().isEmpty();
    }

    QByteArray answer()
    {
        const auto response = m_asking.takeResponse(false, 30000);
        return response ? response->body : QByteArray("no answer");
    }

    QVector<int> seen; // percentages, each change once

private:
    QByteArray m_id;
    RawClient m_asking;
    RawClient m_polling;
    QByteArray m_fileName;
};

} // namespace

class CycleTest : public QObject
{
    Q_OBJECT

private:
    QByteArray ask(const QByteArray &request) const
    {
        return requests::ask(m_service.port(), request);
    }

    QDir workFolder() const
    {
        return {m_service.temporaryFolder()};
    }

private Q_SLOTS:

    void initTestCase()
    {
        QVERIFY(m_service.start(QStringLiteral(SAMPLE_TOOL_PATH)));
        m_picture = picture(4000, 3000);
    }

    void uploadConvertFollowAndFetchTwoAtTheSameTime()
    {
        QCOMPARE(ask(post("/upload/one.tif", m_picture)), QByteArray("{\"ok\": true}"));
        QCOMPARE(ask(post("/upload/two.tif", m_picture)), QByteArray("{\"ok\": true}"));
        QCOMPARE(contentOf(workFolder().filePath(QStringLiteral("one.tif"))), m_picture);

        Conversion one(m_service.port(), "one.tif", "first");
        Conversion two(m_service.port(), "two.tif", "second");
        one.start();
        two.start();
        QByteArrayList answers;
        for (Conversion *conversion : {&one, &two}) {
            while (!conversion->hasAnswer()) {
                one.follow();
                two.follow();
            }
            answers.append(conversion->answer());
        }

        QCOMPARE(answers, (QByteArrayList{"one_PressCMYK.tif", "two_PressCMYK.tif"}));
        for (const Conversion *conversion : {&one, &two}) {
            QVERIFY2(conversion->seen.size() > 3, "progress was not seen to move");
            QVERIFY(std::is_sorted(conversion->seen.cbegin(), conversion->seen.cend()));
            QVERIFY(conversion->seen.constLast() <= 100);
        }
        QCOMPARE(one.poll(), QByteArray()); // removed with the response
        QCOMPARE(two.poll(), QByteArray());

        for (const QByteArray &name : qAsConst(answers)) {
            const QByteArray fetched = ask(get("/getConversionResult/" + name));
            QVERIFY(fetched == contentOf(workFolder().filePath(QString::fromUtf8(name))));
            QCOMPARE(tiffTag(fetched, 256), 4000U);
            QCOMPARE(tiffTag(fetched, 257), 3000U);
            QCOMPARE(tiffTag(fetched, 262), 5U); // inks
            QVERIFY(tiffTag(fetched, 34675) != 0); // a profile is embedded
        }
    }

    void aSecondConversionOfTheSameFileIsNumbered()
    {
        QCOMPARE(ask(post("/upload/small.tif", picture(40, 30))), QByteArray("{\"ok\": true}"));
        QByteArrayList names;
        for (const QByteArray &id : {QByteArray("a"), QByteArray("b")}) {
            Conversion conversion(m_service.port(), "small.tif", id);
            conversion.start();
            names.append(conversion.answer());
        }
        QCOMPARE(names, (QByteArrayList{"small_PressCMYK.tif", "small_PressCMYK_1.tif"}));
    }

    void aCancelledConversionSaysSoAndLeavesNoOutput()
    {
        QCOMPARE(ask(post("/upload/three.tif", m_picture)), QByteArray("{\"ok\": true}"));
        Conversion conversion(m_service.port(), "three.tif", "third");
        conversion.start();
        while (conversion.seen.isEmpty() || conversion.seen.constLast() == 0) {
            QVERIFY(!conversion.hasAnswer());
            conversion.follow();
        }
        QCOMPARE(ask(get("/cancelConversion/cancel-third")), QByteArray("cancel-third"));

        const QByteArray answer = conversion.answer();
        QVERIFY2(answer.contains("cancel"), answer.constData());
        QCOMPARE(conversion.poll(), QByteArray());
        QCOMPARE(contentOf(workFolder().filePath(QStringLiteral("cancel-third.txt"))),
                 QByteArray("This is a stop file."));
        QStringList left =
            workFolder().entryList({QStringLiteral("*three*")}, QDir::Files | QDir::Hidden);
        QCOMPARE(left, QStringList{QStringLiteral("three.tif")});
    }

    void aMissingInputIsReportedByTheTool()
    {
        Conversion conversion(m_service.port(), "nowhere.tif", "fourth");
        conversion.start();
        const QByteArray answer = conversion.answer();
        QVERIFY2(answer.contains("nowhere.tif"), answer.constData());
        QCOMPARE(conversion.poll(), QByteArray());
    }

private:
    ServiceUnderTest m_service;
    QByteArray m_picture;
};

VOND_TEST(CycleTest);
#include "cycletest.moc"
