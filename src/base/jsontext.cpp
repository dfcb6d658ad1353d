#include "base/jsontext.h"

#include "base/hugepages.h"

#include <QChar>

#include <algorithm>
#include <bitset>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

namespace base {
namespace {

constexpr int deepest = 1024; // nested arrays and objects
constexpr char quote = '"';
constexpr char backslash = '\\';
constexpr const char *byteOrderMark = "\xef\xbb\xbf";
constexpr int byteOrderMarkSize = 3;

bool startsWithMark(const char *at, const char *end)
{
    return end - at >= byteOrderMarkSize && std::memcmp(at, byteOrderMark, byteOrderMarkSize) == 0;
}

const char *behindSpace(const char *at, const char *end)
{
    while (at != end && (*at == ' ' || *at == '\t' || *at == '\n' || *at == '\r')) {
        ++at;
    }
    return at;
}

// Skips to the first quote, backslash or non-ASCII byte; eight bytes at a time, because strings can
// be gigabytes long.
const char *behindPlain(const char *at, const char *end)
{
    constexpr std::uint64_t ones = 0x0101010101010101U;
    constexpr std::uint64_t highBits = ones << 7U;
    // For a word without high bits: sets the high bit of each byte that equals the character, and
    // perhaps of bytes above it.
    const auto marked = [](std::uint64_t word, char character) {
        return (word ^ (ones * static_cast<std::uint8_t>(character))) - ones;
    };
    for (; end - at >= 8; at += 8) {
        std::uint64_t word = 0;
        std::memcpy(&word, at, sizeof word);
        if (((word | marked(word, quote) | marked(word, backslash)) & highBits) != 0) {
            break;
        }
    }
    while (at != end && *at != quote && *at != backslash && static_cast<signed char>(*at) >= 0) {
        ++at;
    }
    return at;
}

// Reads one character of well-formed UTF-8 (RFC 3629 section 4) and advances past it. Returns
// false, without advancing, if it is malformed.
bool takeUtf8(const char *&at, const char *end, char32_t *character)
{
    const auto byte = [at](int i) { return static_cast<std::uint8_t>(at[i]); };
    const std::uint8_t first = byte(0);
    if (first < 0x80) {
        *character = first;
        ++at;
        return true;
    }
    const int more = first >= 0xf0 ? 3 : first >= 0xe0 ? 2 : 1;
    if (first < 0xc2 || first > 0xf4 || end - at <= more) {
        return false;
    }
    char32_t value = first & (0x3fU >> static_cast<unsigned>(more));
    for (int i = 1; i <= more; ++i) {
        if ((byte(i) & 0xc0U) != 0x80) {
            return false;
        }
        value = value << 6U | (byte(i) & 0x3fU);
    }
    const bool isOverlong = (more == 2 && value < 0x800) || (more == 3 && value < 0x10000);
    if (isOverlong || value > 0x10ffff || (value >= 0xd800 && value <= 0xdfff)) {
        return false;
    }
    *character = value;
    at += more + 1;
    return true;
}

int hexDigit(char digit)
{
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    const int lower = digit | 0x20;
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// Reads what follows a backslash and advances past it. False at the end of the bytes, or unless
// four hexadecimal digits follow a "u".
bool takeEscaped(const char *&at, const char *end, char32_t *character)
{
    if (at == end) {
        return false;
    }
    const char escaped = *at++;
    switch (escaped) {
    case 'b':
        *character = '\b';
        return true;
    case 'f':
        *character = '\f';
        return true;
    case 'n':
        *character = '\n';
        return true;
    case 'r':
        *character = '\r';
        return true;
    case 't':
        *character = '\t';
        return true;
    case 'u':
        *character = 0;
        for (int i = 0; i < 4; ++i) {
            const int digit = at != end ? hexDigit(*at) : -1;
            if (digit < 0) {
                return false;
            }
            *character = *character << 4U | static_cast<char32_t>(digit);
            ++at;
        }
        return true;
    default:
        // Deliberate: the character itself; a non-ASCII byte is sign-extended, as Qt does where
        // char is signed. Where it is unsigned (arm64), Qt reads another character, and we do not.
        *character = static_cast<char32_t>(static_cast<signed char>(escaped));
        return true;
    }
}

// Reads the next character of a string, escaped or not.
bool takeCharacter(const char *&at, const char *end, char32_t *character)
{
    if (*at != backslash) {
        return takeUtf8(at, end, character);
    }
    ++at;
    return takeEscaped(at, end, character);
}

// Returns the position after the closing quote; `at` is after the opening one. Null if the string
// is malformed.
const char *checkedString(const char *at, const char *end)
{
    while ((at = behindPlain(at, end)) != end) {
        if (*at == quote) {
            return at + 1;
        }
        char32_t character = 0;
        if (!takeCharacter(at, end, &character)) {
            return nullptr;
        }
    }
    return nullptr;
}

const char *behindDigits(const char *at, const char *end)
{
    while (at != end && *at >= '0' && *at <= '9') {
        ++at;
    }
    return at;
}

// Returns the position after a number; null unless Qt can read it: it accepts "1.", but neither "-"
// nor 1e999.
const char *checkedNumber(const char *begin, const char *end)
{
    const char *at = begin;
    if (at != end && *at == '-') {
        ++at;
    }
    const char *const digits = at;
    at = at != end && *at == '0' ? at + 1 : behindDigits(at, end);
    const auto digitCount = at - digits;
    const char *const wholeEnd = at;
    if (at != end && *at == '.') {
        at = behindDigits(at + 1, end);
    }
    if (at != end && (*at == 'e' || *at == 'E')) {
        ++at;
        if (at != end && (*at == '-' || *at == '+')) {
            ++at;
        }
        at = behindDigits(at, end);
    }
    constexpr int alwaysFit = 18;
    if (at == wholeEnd && digitCount > 0 && digitCount <= alwaysFit) {
        return at;
    }
    const QByteArray number(begin, static_cast<int>(at - begin));
    bool isInteger = false;
    bool isNumber = false;
    static_cast<void>(number.toLongLong(&isInteger));
    static_cast<void>(number.toDouble(&isNumber));
    return isInteger || isNumber ? at : nullptr;
}

const char *checkedWord(const char *at, const char *end, const char *word)
{
    const auto size = static_cast<std::ptrdiff_t>(std::strlen(word));
    const bool stands = end - at >= size && std::equal(word, word + size, at);
    return stands ? at + size : nullptr;
}

// Checks a document against the grammar. The open containers are kept in a fixed array, so it
// neither allocates nor recurses.
class Grammar
{
public:
    Grammar(const char *begin, const char *end)
        : m_at(begin)
        , m_end(end)
    {
    }

    // Returns the position after the array or object that begins here; null if it is malformed.
    const char *behindContainer()
    {
        Next next = open();
        while (next == Next::Value) {
            next = *m_at == '[' || *m_at == '{' ? open() : scalar();
        }
        return next == Next::Done ? m_at : nullptr;
    }

private:
    enum class Next
    {
        Value, // m_at is at the first byte of one
        Done, // all containers are closed
        Failed
    };

    Next open()
    {
        if (m_depth == deepest) {
            return Next::Failed;
        }
        m_isObject[m_depth++] = *m_at++ == '{';
        m_at = behindSpace(m_at, m_end);
        return m_at != m_end && *m_at == closing() ? endValue() : beginValue();
    }

    Next scalar()
    {
        switch (*m_at) {
        case quote:
            m_at = checkedString(m_at + 1, m_end);
            break;
        case 'n':
            m_at = checkedWord(m_at, m_end, "null");
            break;
        case 't':
            m_at = checkedWord(m_at, m_end, "true");
            break;
        case 'f':
            m_at = checkedWord(m_at, m_end, "false");
            break;
        default:
            m_at = checkedNumber(m_at, m_end);
            break;
        }
        return m_at != nullptr ? endValue() : Next::Failed;
    }

    // In an object, the key comes first.
    Next beginValue()
    {
        if (m_isObject[m_depth - 1]) {
            if (m_at == m_end || *m_at != quote) {
                return Next::Failed;
            }
            m_at = checkedString(m_at + 1, m_end);
            m_at = m_at != nullptr ? behindSpace(m_at, m_end) : m_end;
            if (m_at == m_end || *m_at != ':') {
                return Next::Failed;
            }
            m_at = behindSpace(m_at + 1, m_end);
        }
        return m_at != m_end ? Next::Value : Next::Failed;
    }

    Next endValue()
    {
        while (m_depth > 0) {
            m_at = behindSpace(m_at, m_end);
            if (m_at == m_end) {
                return Next::Failed;
            }
            const char byte = *m_at;
            if (byte == ',') {
                m_at = behindSpace(m_at + 1, m_end);
                return beginValue();
            }
            if (byte != closing()) {
                return Next::Failed;
            }
            ++m_at;
            --m_depth;
        }
        return Next::Done;
    }

    [[nodiscard]] char closing() const
    {
        return m_isObject[m_depth - 1] ? '}' : ']';
    }

    const char *m_at;
    const char *m_end;
    std::bitset<deepest> m_isObject;
    std::size_t m_depth = 0;
};

// From here on, the bytes are known to match the grammar.

// `at` is after the opening quote.
const char *behindString(const char *at, const char *end)
{
    while (*(at = behindPlain(at, end)) != quote) {
        at += *at == backslash ? 2 : 1;
    }
    return at + 1;
}

const char *behindBrackets(const char *at, const char *end)
{
    int open = 0;
    do {
        const char byte = *at++;
        if (byte == quote) {
            at = behindString(at, end);
        } else if (byte == '[' || byte == '{') {
            ++open;
        } else if (byte == ']' || byte == '}') {
            --open;
        }
    } while (open > 0);
    return at;
}

const char *behindValue(const char *at, const char *end)
{
    if (*at == quote) {
        return behindString(at + 1, end);
    }
    if (*at == '[' || *at == '{') {
        return behindBrackets(at, end);
    }
    return std::find_if(at, end, [](char byte) {
        return byte == ',' || byte == ']' || byte == '}' || behindSpace(&byte, &byte + 1) != &byte;
    });
}

// The UTF-16 code units of what is between the quotes.
class Units
{
public:
    Units(const char *begin, const char *end)
        : m_at(begin)
        , m_end(end)
    {
    }

    // Negative after the last one.
    int next()
    {
        if (m_low >= 0) {
            return std::exchange(m_low, -1);
        }
        if (m_at == m_end) {
            return -1;
        }
        char32_t character = 0;
        static_cast<void>(takeCharacter(m_at, m_end, &character));
        if (!QChar::requiresSurrogates(character)) {
            return static_cast<int>(character);
        }
        m_low = QChar::lowSurrogate(character);
        return QChar::highSurrogate(character);
    }

private:
    const char *m_at;
    const char *m_end;
    int m_low = -1; // the low surrogate of the previous character
};

int nextCodePoint(Units &units)
{
    const int unit = units.next();
    if (unit >= 0 && QChar::isHighSurrogate(static_cast<uint>(unit))) {
        Units ahead = units;
        const int low = ahead.next();
        if (low >= 0 && QChar::isLowSurrogate(static_cast<uint>(low))) {
            units = ahead;
            return static_cast<int>(
                QChar::surrogateToUcs4(static_cast<ushort>(unit), static_cast<ushort>(low)));
        }
    }
    return unit;
}

bool hasEscapes(const char *begin, const char *end)
{
    return std::memchr(begin, backslash, static_cast<std::size_t>(end - begin)) != nullptr;
}

} // namespace

JsonText JsonText::document(const QByteArray &bytes)
{
    const char *begin = bytes.constData();
    const char *const end = begin + bytes.size();
    if (startsWithMark(begin, end)) {
        begin += byteOrderMarkSize;
    }
    begin = behindSpace(begin, end);
    if (begin == end || (*begin != '[' && *begin != '{')) {
        return {};
    }
    const char *const behind = Grammar(begin, end).behindContainer();
    if (behind == nullptr || behindSpace(behind, end) != end) {
        return {};
    }
    return {begin, behind};
}

bool JsonText::isArray() const
{
    return m_begin != nullptr && *m_begin == '[';
}

bool JsonText::isObject() const
{
    return m_begin != nullptr && *m_begin == '{';
}

bool JsonText::isString() const
{
    return m_begin != nullptr && *m_begin == quote;
}

QString JsonText::text() const
{
    if (!isString()) {
        return {};
    }
    const char *const begin = m_begin + 1;
    const char *const end = m_end - 1;
    const auto size = static_cast<int>(end - begin);
    if (behindPlain(begin, end) == end) { // as base64 is, which may be long
        QString text(size, Qt::Uninitialized);
        preferHugePages(text.constData(), qint64(size) * qint64(sizeof(QChar)));
        std::transform(begin, end, text.begin(), [](char c) { return QLatin1Char(c); });
        return text;
    }
    if (!hasEscapes(begin, end)) {
        return QString::fromUtf8(begin, size); // drops a byte order mark, as Qt does
    }
    QString text(size, Qt::Uninitialized); // no character takes more units than bytes
    QChar *out = text.data();
    Units units(begin, end);
    for (int unit = units.next(); unit >= 0; unit = units.next()) {
        *out++ = QChar(unit);
    }
    text.truncate(static_cast<int>(out - text.constData()));
    return text;
}

bool JsonText::isText(QLatin1String text) const
{
    if (!isString()) {
        return false;
    }
    const char *at = m_begin + 1;
    const char *const end = m_end - 1;
    for (const char wanted : text) {
        char32_t character = 0;
        if (at == end || !takeCharacter(at, end, &character)
            || character != static_cast<char32_t>(wanted)) {
            return false;
        }
    }
    return at == end;
}

QByteArray JsonText::source() const
{
    return QByteArray::fromRawData(m_begin, static_cast<int>(m_end - m_begin));
}

JsonWalk::JsonWalk(const JsonText &container)
    : m_inObject(container.isObject())
{
    if (m_inObject || container.isArray()) {
        m_end = container.m_end - 1;
        m_at = behindSpace(container.m_begin + 1, m_end);
    }
}

bool JsonWalk::next()
{
    if (m_at == m_end) {
        return false;
    }
    if (m_inObject) {
        m_key = take();
        ++m_at; // the colon
        m_at = behindSpace(m_at, m_end);
    }
    m_value = take();
    if (m_at != m_end) {
        ++m_at; // the comma
        m_at = behindSpace(m_at, m_end);
    }
    return true;
}

// Returns the value that begins here and advances past it and any space.
JsonText JsonWalk::take()
{
    const char *const begin = m_at;
    const char *const end = behindValue(begin, m_end);
    m_at = behindSpace(end, m_end);
    return {begin, end};
}

JsonMember JsonMember::firstByKey(const JsonText &object)
{
    // If both are escaped, Qt compares code units, otherwise code points.
    const auto isBehind = [](const JsonMember &one, const JsonMember &other) {
        Units left(one.key.m_begin + 1, one.key.m_end - 1);
        Units right(other.key.m_begin + 1, other.key.m_end - 1);
        const bool byUnits = one.isEscaped && other.isEscaped;
        int a = 0;
        int b = 0;
        do {
            a = byUnits ? left.next() : nextCodePoint(left);
            b = byUnits ? right.next() : nextCodePoint(right);
        } while (a == b && a >= 0);
        return a > b;
    };

    JsonMember first;
    if (!object.isObject()) {
        return first;
    }
    for (JsonWalk walk(object); walk.next();) {
        const JsonText &key = walk.key();
        const JsonMember member{key, walk.value(), hasEscapes(key.m_begin + 1, key.m_end - 1)};
        if (!first.key.isString() || !isBehind(member, first)) {
            first = member;
        }
    }
    if (first.key.isString() && startsWithMark(first.key.m_begin + 1, first.key.m_end - 1)) {
        first.value = {}; // Qt looks for the key without the mark, and does not find it
    }
    return first;
}

int boundedCount(const JsonText &array)
{
    int count = 0;
    if (array.isArray()) {
        for (JsonWalk walk(array); walk.next();) {
            if (++count > mostElements) {
                throw std::bad_alloc();
            }
        }
    }
    return count;
}

} // namespace base
