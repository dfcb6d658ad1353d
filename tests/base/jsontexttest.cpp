#include "base/jsontext.h"

#include "tests/support/jsonpeer.h"
#include "tests/support/testmain.h"

#include <QTest>

#include <new>
#include <random>

namespace {

// Enough for each kind of document and each way of spoiling one. The address sanitizer walks the
// stack at each allocation.
#ifdef __SANITIZE_ADDRESS__
constexpr int randomDocuments = 4000;
#else
constexpr int randomDocuments = 20000;
#endif

using base::JsonMember;
using base::JsonText;
using base::JsonWalk;

// Generates documents, valid and nearly valid ones.
class Author
{
public:
    explicit Author(unsigned seed)
        : m_random(seed)
    {
    }

    QByteArray document()
    {
        m_beyond = one<std::vector<QByteArray>>(
            {{"a", "\xc3\xa4", "\\u00e4", "\xe2\x82\xac"},
             {"\xf0\x9f\x98\x80", "\\ud83d\\ude00", "\\uD83D\\uDe01"},
             {"\xef\xbf\xbd", "\\uffff", "\xef\xbb\xbf", "\\ufeff", "\xee\x80\x80"},
             {"\\ud800", "\\udc00", "\\\xc3", "\\\xff"}});
        auto json = one<QByteArray>({"", "", "", "\xef\xbb\xbf", " \t\r\n"});
        json += space() + (chance(2) ? array(0) : object(0)) + space();
        if (chance(4)) {
            spoil(&json);
        }
        return json;
    }

    void spoil(QByteArray *json)
    {
        for (int times = 1 + number(3); times > 0; --times) {
            const int at = number(json->size() + 1);
            switch (number(4)) {
            case 0:
                json->remove(at, 1 + number(4));
                break;
            case 1:
                json->insert(at, static_cast<char>(number(256)));
                break;
            case 2:
                json->insert(at,
                             one<QByteArray>({"\"",
                                              "\\",
                                              "\\u12",
                                              ",",
                                              "]",
                                              "}",
                                              "[",
                                              "{",
                                              "0",
                                              "-",
                                              ".",
                                              "e",
                                              "null",
                                              "\xc3",
                                              "\xed\xa0\x80",
                                              ":"}));
                break;
            default:
                json->truncate(at);
                break;
            }
        }
    }

private:
    int number(int below)
    {
        return below > 0 ? static_cast<int>(m_random() % static_cast<unsigned>(below)) : 0;
    }

    bool chance(int in)
    {
        return number(in) == 0;
    }

    template <typename T>
    T one(const std::vector<T> &choice)
    {
        return choice.at(static_cast<std::size_t>(number(static_cast<int>(choice.size()))));
    }

    QByteArray space()
    {
        return chance(6) ? one<QByteArray>({" ", "\n", "\t", "\r", "  \n "}) : QByteArray();
    }

    QByteArray text()
    {
        QByteArray json = "\"";
        for (int count = number(5); count > 0; --count) {
            json += chance(3) ? one(m_beyond)
                              : one<QByteArray>({"a",
                                                 "b",
                                                 "B",
                                                 "\\u0061",
                                                 "\\u0062",
                                                 "\\n",
                                                 "\\/",
                                                 "\\\"",
                                                 "\\\\",
                                                 "\\q",
                                                 "\x01",
                                                 "\x7f",
                                                 "fileName",
                                                 "a rather longer piece of text"});
        }
        return json + '"';
    }

    QByteArray scalar()
    {
        if (chance(2)) {
            return text();
        }
        return one<QByteArray>({"0",
                                "-1",
                                "12",
                                "1.5",
                                "1e3",
                                "-0.0E-7",
                                "1e999",
                                "true",
                                "false",
                                "null",
                                "1.",
                                ".5",
                                "-",
                                "01",
                                "123456789012345678",
                                "1234567890123456789",
                                "12345678901234567890",
                                "-.5",
                                "1e",
                                "1e+",
                                "9007199254740993",
                                "1e-999",
                                "5.00",
                                "nul",
                                "True",
                                "+1",
                                "0x1",
                                "99999999999999999999999999999999999999999.000"});
    }

    QByteArray value(int depth)
    {
        if (depth > 3 || chance(2)) {
            return scalar();
        }
        return chance(2) ? array(depth + 1) : object(depth + 1);
    }

    QByteArray array(int depth)
    {
        QByteArray json = "[" + space();
        for (int count = number(4), i = 0; i < count; ++i) {
            json += (i > 0 ? "," + space() : QByteArray()) + value(depth) + space();
        }
        return json + ']';
    }

    QByteArray object(int depth)
    {
        QByteArray json = "{" + space();
        for (int count = number(5), i = 0; i < count; ++i) {
            json += (i > 0 ? "," + space() : QByteArray()) + text() + space() + ':' + space()
                + value(depth) + space();
        }
        return json + '}';
    }

    std::mt19937 m_random;
    std::vector<QByteArray> m_beyond;
};

QByteArray nested(int depth)
{
    return QByteArray(depth, '[') + QByteArray(depth, ']');
}

} // namespace

class JsonTextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatQtReadsIsReadTheSame_data();
    void whatQtReadsIsReadTheSame();
    void randomDocumentsAreReadAsQtReadsThem();
    void spoiltRealDocumentsAreReadAsQtReadsThem();
    void anEscapedByteHasItsSignOnEveryProcessor();
    void valuesAreTheLastOfTheirKeys();
    void whatIsNotThereReadsAsNothing();
    void theFirstKeyIsTheFirstOfTheAlphabet();
    void moreElementsThanTheBoundAreRefusedMemory();
};

void JsonTextTest::whatQtReadsIsReadTheSame_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<bool>("isJson");

    const auto row = [](const char *name, const QByteArray &json, bool isJson) {
        QTest::newRow(name) << json << isJson;
    };
    row("nothing", "", false);
    row("a mark alone", "\xef\xbb\xbf", false);
    row("a mark in front", "\xef\xbb\xbf[]", true);
    row("two marks in front", "\xef\xbb\xbf\xef\xbb\xbf[]", false);
    row("space around", " \t\r\n[\n] ", true);
    row("a vertical tab", "\v[]", false);
    row("a text alone", "\"a\"", false);
    row("a number alone", "1", false);
    row("something behind", "[]]", false);
    row("a zero behind", QByteArray("[]\0", 3), false);
    row("a comma before the end", "[1,]", false);
    row("a comma before the brace", "{\"a\":1,}", false);
    row("a comma alone", "[,]", false);
    row("a missing value", "{\"a\":}", false);
    row("a missing colon", "{\"a\" 1}", false);
    row("a key that is none", "{1:2}", false);
    row("a bracket for a brace", "{\"a\":1]", false);
    row("an open array", "[", false);
    row("an open object", "{\"a\":1", false);
    row("an open text", "[\"a", false);
    row("a text that ends in a backslash", "[\"a\\", false);
    row("half an escape", "[\"\\u00\"]", false);
    row("an unknown escape", R"(["\q\'"])", true);
    row("an escaped byte", "[\"\\\xff\"]", true);
    row("an escaped character of two bytes", "[\"\\\xc3\xa4\"]", false);
    row("a character cut short", "[\"\xe2\x82\"]", false);
    row("an overlong character", "[\"\xc0\xaf\"]", false);
    row("a surrogate in UTF-8", "[\"\xed\xa0\x80\"]", false);
    row("beyond Unicode", "[\"\xf4\x90\x80\x80\"]", false);
    row("the last of Unicode", "[\"\xf4\x8f\xbf\xbf\"]", true);
    row("no character", "[\"\xef\xbf\xbf\"]", true);
    row("a pair of surrogates", R"(["\ud83d\ude00"])", true);
    row("a surrogate alone", R"(["\ud83d"])", true);
    row("a mark in a text",
        "[\"\xef\xbb\xbf"
        "a\"]",
        true);
    row("two marks in a text", "[\"\xef\xbb\xbf\xef\xbb\xbf\"]", true);
    row("a mark in an escaped text", "[\"\xef\xbb\xbf\\n\"]", true);
    row("a mark in a key",
        "{\"\xef\xbb\xbf"
        "a\":1}",
        true);
    row("control characters in a text", QByteArray("[\"a\0\x01\n\"]", 8), true);
    row("a zero outside a text", QByteArray("[\0]", 3), false);
    row("a comment", "[1/**/]", false);
    row("a leading zero", "[01]", false);
    row("a point at the end", "[1.]", true);
    row("a point at the start", "[.5]", true);
    row("a sign alone", "[-]", false);
    row("a sign in front", "[+1]", false);
    row("too large a number", "[1e999]", false);
    row("too small a number", "[1e-999]", false);
    row("a hundred digits", '[' + QByteArray(100, '7') + ']', true);
    row("no number", "[NaN]", false);
    row("half a word", "[nul]", false);
    row("a word with more behind", "[nullx]", false);
    row("the same key twice", R"({"a":1,"a":"x"})", true);
    row("the same key in other writing", R"({"a":1,"\u0061":"x"})", true);
    row("an empty key", R"({"":{}})", true);
    row("1024 arrays in one another", nested(1024), true);
    row("1025 arrays in one another", nested(1025), false);
    row("1024 beside others", "[" + nested(1023) + ",{}]", true);
    row("a million open arrays", QByteArray(1000000, '['), false);
}

void JsonTextTest::whatQtReadsIsReadTheSame()
{
    QFETCH(const QByteArray, json);
    QFETCH(const bool, isJson);
    const JsonText document = JsonText::document(json);
    QCOMPARE(document.isArray() || document.isObject(), isJson);
    QCOMPARE(jsonDifference(json, true), QString());
}

void JsonTextTest::randomDocumentsAreReadAsQtReadsThem()
{
    const auto seed = qEnvironmentVariableIntValue("VOND_TEST_SEED");
    Author author(static_cast<unsigned>(seed));
    for (int i = 0; i < randomDocuments; ++i) {
        const QByteArray json = author.document();
        const QString difference = jsonDifference(json, false);
        QVERIFY2(difference.isEmpty(),
                 qPrintable(difference + QLatin1Char('\n')
                            + QString::fromLatin1(json.toPercentEncoding())));
    }
}

void JsonTextTest::spoiltRealDocumentsAreReadAsQtReadsThem()
{
    const QByteArray original =
        R"({"fileName":"a.tif","imgData":"QUJDRA==","configuration":"W\u0065b \ud83d\ude00",)"
        R"("setOptions":{"setOptions":[{"--dpi":"300"},{"local:":{"filename":"p.icc",)"
        R"("data":"QUJD","option":"--profile"}},[1,-2.5e3,true,null]]}})";
    Author author(static_cast<unsigned>(qEnvironmentVariableIntValue("VOND_TEST_SEED")));
    for (int i = 0; i < randomDocuments; ++i) {
        QByteArray json = original;
        author.spoil(&json);
        const QString difference = jsonDifference(json, false);
        QVERIFY2(difference.isEmpty(),
                 qPrintable(difference + QLatin1Char('\n')
                            + QString::fromLatin1(json.toPercentEncoding())));
    }
}

void JsonTextTest::anEscapedByteHasItsSignOnEveryProcessor()
{
    const QByteArray json = "{\"\": \"\\\xff\"}"; // must outlive what reads it
    const JsonMember first = JsonMember::firstByKey(JsonText::document(json));
    const std::array beyondUnicode = {QChar(0xd7bf), QChar(0xdfff)}; // as if it were one
    QCOMPARE(first.value.text(), QString(beyondUnicode.data(), 2));
}

void JsonTextTest::valuesAreTheLastOfTheirKeys()
{
    const QByteArray json = R"( {"a" : "1" , "b":["a"], "\u0061":"2", "ab":"3", "c":{"a":"4"}} )";
    const auto values = JsonText::document(json).values(
        std::array{QLatin1String("a"), QLatin1String("b"), QLatin1String("d")});
    QCOMPARE(values[0].text(), QStringLiteral("2"));
    QVERIFY(values[1].isArray());
    QCOMPARE(values[1].source(), QByteArray(R"(["a"])"));
    QVERIFY(!values[2].isString());
}

void JsonTextTest::whatIsNotThereReadsAsNothing()
{
    const JsonText nothing;
    QVERIFY(!nothing.isArray() && !nothing.isObject() && !nothing.isString());
    QCOMPARE(nothing.text(), QString());
    QVERIFY(!nothing.isText(QLatin1String("")));
    QVERIFY(!nothing.values(std::array{QLatin1String("")})[0].isString());
    QVERIFY(!JsonWalk(nothing).next());
    QVERIFY(!JsonMember::firstByKey(nothing).key.isString());
    QCOMPARE(base::boundedCount(nothing), 0);
}

void JsonTextTest::theFirstKeyIsTheFirstOfTheAlphabet()
{
    const auto first = [](const QByteArray &json) {
        const JsonMember member = JsonMember::firstByKey(JsonText::document(json));
        return member.key.text() + QLatin1Char('=') + member.value.text();
    };
    QCOMPARE(first(R"({"b":"1","a":"2","c":"3"})"), QStringLiteral("a=2"));
    QCOMPARE(first(R"({"a":"1","b":"2","\u0061":"3"})"), QStringLiteral("a=3"));
    QCOMPARE(first(R"({"b":"1","B":"2"})"), QStringLiteral("B=2"));
    QCOMPARE(first(R"({"ab":"1","a":"2"})"), QStringLiteral("a=2"));
    QCOMPARE(first(R"({"":"1","a":"2"})"), QStringLiteral("=1"));
    // By code points if either is unescaped, by code units if both are escaped.
    QCOMPARE(first("{\"\xf0\x9f\x98\x80\":\"1\",\"\xef\xbf\xbd\":\"2\"}"),
             QString::fromUtf8("\xef\xbf\xbd=2"));
    QCOMPARE(first("{\"\\ud83d\\ude00\":\"1\",\"\xef\xbf\xbd\":\"2\"}"),
             QString::fromUtf8("\xef\xbf\xbd=2"));
    QCOMPARE(first(R"({"\ufffd":"1","\ud83d\ude00":"2"})"),
             QString::fromUtf8("\xf0\x9f\x98\x80=2"));
}

void JsonTextTest::moreElementsThanTheBoundAreRefusedMemory()
{
    const QByteArray most = '[' + QByteArray("0,").repeated(base::mostElements - 1) + "0]";
    QCOMPARE(base::boundedCount(JsonText::document(most)), base::mostElements);
    const QByteArray more = '[' + QByteArray("0,").repeated(base::mostElements) + "0]";
    QVERIFY_EXCEPTION_THROWN((void)base::boundedCount(JsonText::document(more)), std::bad_alloc);
    const QByteArray inner = '[' + more + ']'; // counted only on request
    QCOMPARE(base::boundedCount(JsonText::document(inner)), 1);
}

VOND_TEST(JsonTextTest);
#include "jsontexttest.moc"
