#include "sampletool/configurations.h"
#include "tests/support/testmain.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

class SampleConfigurationsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void thePlainListingHasOneNamePerLine();
    void theDetailsOfOneAreAJsonObject();
    void detailsThatWereNotAskedForAreLeftOut();
    void withoutANameAllAreListed();
    void anUnknownNameIsRejected();
    void anUnknownDetailIsRejected();
    void namesAreTakenExactly();
};

namespace {

QJsonDocument json(const sample::ListConfigurations &list)
{
    const auto text = sample::listing(list);
    return QJsonDocument::fromJson(QByteArray::fromStdString(std::get<std::string>(text)));
}

} // namespace

void SampleConfigurationsTest::thePlainListingHasOneNamePerLine()
{
    const auto text = std::get<std::string>(sample::listing({}));
    QCOMPARE(QString::fromStdString(text).split(QLatin1Char('\n')),
             (QStringList{QStringLiteral("sRGB"),
                          QStringLiteral("DisplayP3"),
                          QStringLiteral("PressCMYK")}));
}

void SampleConfigurationsTest::theDetailsOfOneAreAJsonObject()
{
    const QJsonDocument document =
        json({true, "PressCMYK", {"DocumentColorSpace", "DstProfile", "PSLayersOption"}});
    QCOMPARE(document.object(),
             (QJsonObject{{QStringLiteral("Name"), QStringLiteral("PressCMYK")},
                          {QStringLiteral("DocumentColorSpace"), QStringLiteral("CMYK")},
                          {QStringLiteral("DstProfile"), QStringLiteral("Chemical proof")},
                          {QStringLiteral("PSLayersOption"), QStringLiteral("Flatten")}}));
}

void SampleConfigurationsTest::detailsThatWereNotAskedForAreLeftOut()
{
    QCOMPARE(json({true, "sRGB", {"DocumentColorSpace"}}).object(),
             (QJsonObject{{QStringLiteral("Name"), QStringLiteral("sRGB")},
                          {QStringLiteral("DocumentColorSpace"), QStringLiteral("RGB")}}));
}

void SampleConfigurationsTest::withoutANameAllAreListed()
{
    const QJsonArray all = json({true, {}, {"DstProfile"}}).array();
    QCOMPARE(all.size(), 3);
    QCOMPARE(all.at(1).toObject().value(QLatin1String("DstProfile")).toString(),
             QStringLiteral("Display P3"));
}

void SampleConfigurationsTest::anUnknownNameIsRejected()
{
    const auto text = sample::listing({true, "Coated", {"DstProfile"}});
    QCOMPARE(std::get<sample::Failure>(text).text,
             std::string("There is no configuration 'Coated'."));
}

void SampleConfigurationsTest::anUnknownDetailIsRejected()
{
    const std::string words = "Configurations have no detail 'Price'.";
    QCOMPARE(std::get<sample::Failure>(sample::listing({true, "sRGB", {"Price"}})).text, words);
    QCOMPARE(std::get<sample::Failure>(sample::listing({true, {}, {"Price"}})).text, words);
}

void SampleConfigurationsTest::namesAreTakenExactly()
{
    QVERIFY(sample::findConfiguration("PressCMYK"));
    QVERIFY(!sample::findConfiguration("presscmyk"));
    QVERIFY(!sample::findConfiguration("PressCMYK "));
    QVERIFY(!sample::findConfiguration(""));
}

VOND_TEST_WITHOUT_APPLICATION(SampleConfigurationsTest);
#include "sampleconfigurationstest.moc"
