#include "base/base64.h"

#include "tests/support/testmain.h"

#include <QObject>
#include <QRandomGenerator>
#include <QTest>

class Base64Test : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theExamplesOfTheStandard_data();
    void theExamplesOfTheStandard();
    void everyByteComesBack();
    void whatIsNotOfTheAlphabetIsSkipped_data();
    void whatIsNotOfTheAlphabetIsSkipped();
    void bitsThatMakeNoByteAreDropped_data();
    void bitsThatMakeNoByteAreDropped();
    void anyTextIsDecodedAsQtDoes();
};

// RFC 4648 section 10.
void Base64Test::theExamplesOfTheStandard_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("none") << QStringLiteral("") << QByteArray();
    QTest::newRow("one") << QStringLiteral("Zg==") << QByteArray("f");
    QTest::newRow("two") << QStringLiteral("Zm8=") << QByteArray("fo");
    QTest::newRow("three") << QStringLiteral("Zm9v") << QByteArray("foo");
    QTest::newRow("four") << QStringLiteral("Zm9vYg==") << QByteArray("foob");
    QTest::newRow("five") << QStringLiteral("Zm9vYmE=") << QByteArray("fooba");
    QTest::newRow("six") << QStringLiteral("Zm9vYmFy") << QByteArray("foobar");
}

void Base64Test::theExamplesOfTheStandard()
{
    QFETCH(QString, text);
    QTEST(base::decodedBase64(text), "bytes");
}

void Base64Test::everyByteComesBack()
{
    QByteArray bytes;
    for (int i = 0; i < 3 * 256; ++i) {
        bytes.append(static_cast<char>(i * 7));
        QCOMPARE(base::decodedBase64(QString::fromLatin1(bytes.toBase64())), bytes);
    }
}

void Base64Test::whatIsNotOfTheAlphabetIsSkipped_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("line ends") << QStringLiteral("Zm9v\r\nYmFy\r\n");
    QTest::newRow("between the digits of a group") << QStringLiteral("Z m9vY\tmF y");
    QTest::newRow("padding in the middle") << QStringLiteral("Zm9v=YmFy");
    QTest::newRow("the other alphabet") << QStringLiteral("Zm9v-_YmFy");
    QTest::newRow("a zero") << QStringLiteral("Zm9v") + QChar(0) + QStringLiteral("YmFy");
    QTest::newRow("letters of Latin-1") << QStringLiteral(u"Zm9v\u00e9\u00ffYmFy");
    QTest::newRow("a letter whose low byte is a digit") << QStringLiteral(u"Zm9v\u0141YmFy");
    QTest::newRow("a pair of surrogates") << QStringLiteral(u"Zm\U0001f5a89vYmFy");
}

void Base64Test::whatIsNotOfTheAlphabetIsSkipped()
{
    QFETCH(QString, text);
    QCOMPARE(base::decodedBase64(text), QByteArray("foobar"));
}

void Base64Test::bitsThatMakeNoByteAreDropped_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("one digit") << QStringLiteral("Z") << QByteArray();
    QTest::newRow("two digits") << QStringLiteral("Zg") << QByteArray("f");
    QTest::newRow("three digits") << QStringLiteral("Zm8") << QByteArray("fo");
    QTest::newRow("bits left of two digits") << QStringLiteral("Z/") << QByteArray("g");
    QTest::newRow("five digits") << QStringLiteral("Zm9vY") << QByteArray("foo");
}

void Base64Test::bitsThatMakeNoByteAreDropped()
{
    QFETCH(QString, text);
    QTEST(base::decodedBase64(text), "bytes");
}

void Base64Test::anyTextIsDecodedAsQtDoes()
{
    constexpr quint32 seed = 20261120;
    QRandomGenerator random(seed);
    for (int round = 0; round < 5000; ++round) {
        QString text;
        for (int i = random.bounded(40); i > 0; --i) {
            // Mostly digits, so that there are complete groups; some are any of the first 512
            // characters.
            text += random.bounded(8) == 0 ? QChar(random.bounded(512))
                                           : QChar(random.bounded('A', 'z'));
        }
        QCOMPARE(base::decodedBase64(text), QByteArray::fromBase64(text.toUtf8()));
    }
}

VOND_TEST(Base64Test);
#include "base64test.moc"
