#include "http/fieldrules.h"

#include "tests/support/testmain.h"

#include <QTest>

using http::Coding;
using http::Expectation;

class FieldRulesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void hostValues_data()
    {
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<bool>("valid");

        QTest::newRow("empty") << QByteArray("") << true;
        QTest::newRow("name") << QByteArray("print-shop.example") << true;
        QTest::newRow("name and port") << QByteArray("a:8080") << true;
        QTest::newRow("colon without a port") << QByteArray("a:") << true;
        QTest::newRow("IPv4") << QByteArray("127.0.0.1:1") << true;
        QTest::newRow("IPv6") << QByteArray("[2001:db8::1]") << true;
        QTest::newRow("IPv6 and port") << QByteArray("[::1]:80") << true;
        QTest::newRow("encoded byte") << QByteArray("a%2Db") << true;
        QTest::newRow("half an encoded byte") << QByteArray("a%2") << false;
        QTest::newRow("no encoded byte") << QByteArray("a%xx") << false;
        QTest::newRow("port alone") << QByteArray(":80") << false;
        QTest::newRow("two ports") << QByteArray("a:1:2") << false;
        QTest::newRow("empty brackets") << QByteArray("[]") << false;
        QTest::newRow("text behind the brackets") << QByteArray("[::1]x") << false;
        QTest::newRow("scheme") << QByteArray("http://a") << false;
        QTest::newRow("question mark") << QByteArray("a?") << false;
        QTest::newRow("byte from 0x80 up") << QByteArray("\xc3\xa4") << false;
    }

    void hostValues()
    {
        QFETCH(QByteArray, value);
        QFETCH(bool, valid);
        QCOMPARE(http::isHostValue(value), valid);
    }

    void targets_data()
    {
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<bool>("asteriskAllowed");
        QTest::addColumn<bool>("valid");

        QTest::newRow("origin form") << QByteArray("/a/b?c") << false << true;
        QTest::newRow("absolute form") << QByteArray("http://a/b") << false << true;
        QTest::newRow("absolute form without a path")
            << QByteArray("HTTP://a:1?x") << false << true;
        QTest::newRow("absolute form, IPv6") << QByteArray("http://[::1]:1/") << false << true;
        QTest::newRow("asterisk where allowed") << QByteArray("*") << true << true;
        QTest::newRow("asterisk elsewhere") << QByteArray("*") << false << false;
        QTest::newRow("asterisk and more") << QByteArray("*a") << true << false;
        QTest::newRow("authority form") << QByteArray("a:80") << false << false;
        QTest::newRow("scheme that begins with a digit") << QByteArray("1p://a/") << false << false;
        QTest::newRow("scheme with an illegal byte") << QByteArray("h_p://a/") << false << false;
        QTest::newRow("no scheme") << QByteArray("://a/") << false << false;
        QTest::newRow("no host") << QByteArray("http://") << false << false;
    }

    void targets()
    {
        QFETCH(QByteArray, target);
        QFETCH(bool, asteriskAllowed);
        QFETCH(bool, valid);
        QCOMPARE(http::isTarget(target, asteriskAllowed), valid);
    }

    void listMembersLoseTheirBlanksAndKeepTheirEmptyOnes()
    {
        QCOMPARE(http::listMembers(" a ,\tb,, c"), (QList<QByteArray>{"a", "b", "", "c"}));
        QCOMPARE(http::listMembers(""), QList<QByteArray>{""});
    }

    void onlyChunkedAloneIsUnderstood()
    {
        QCOMPARE(http::transferCoding({}), Coding::None);
        QCOMPARE(http::transferCoding({"Chunked"}), Coding::Chunked);
        QCOMPARE(http::transferCoding({"gzip", "chunked"}), Coding::Unknown);
        QCOMPARE(http::transferCoding({"gzip"}), Coding::Malformed);
        QCOMPARE(http::transferCoding({"chunked", "gzip"}), Coding::Malformed);
        QCOMPARE(http::transferCoding({"chunked", "chunked"}), Coding::Malformed);
        QCOMPARE(http::transferCoding({"", "chunked"}), Coding::Malformed);
    }

    void onlyOneExpectationIsUnderstood()
    {
        QCOMPARE(http::expectation({}), Expectation::None);
        QCOMPARE(http::expectation({"100-CONTINUE"}), Expectation::Continue);
        QCOMPARE(http::expectation({"100-continue", "x"}), Expectation::Unknown);
    }

    void emptyExpectationsSayNothing()
    {
        QCOMPARE(http::expectation({""}), Expectation::None);
        QCOMPARE(http::expectation({"", "100-continue", ""}), Expectation::Continue);
        QCOMPARE(http::expectation({"", "x"}), Expectation::Unknown);
    }
};

VOND_TEST_WITHOUT_APPLICATION(FieldRulesTest);
#include "fieldrulestest.moc"
