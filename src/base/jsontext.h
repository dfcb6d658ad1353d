#pragma once

#include <QByteArray>
#include <QLatin1String>
#include <QString>

#include <array>

// Reading JSON (RFC 8259) where it stands. Qt's own reader cannot be used on what clients send: it
// keeps some 25 bytes for each byte of "[[0],", loses the memory of arrays and objects whose key
// comes again, and ends the process when memory is refused, since it allocates in destructors.
namespace base {

// A value in a document, as a view: nothing is copied and nothing allocated but by text(). The
// bytes of the document must stay. What is not there is a value, too: neither array nor object nor
// text.
//
// What is accepted and what it reads as is what QJsonDocument::fromJson() and its classes make of
// it, to the letter. They differ from the RFC in some places: the document is an array or an
// object; at most 1024 of these lie in one another; text may hold control characters; a backslash
// may stand before any character; UTF-8 must be valid, but an escaped surrogate may stand alone. Of
// equal keys the last counts; Qt leaves it to chance in objects of more than 16 members.
class JsonText
{
public:
    JsonText() = default;

    // The array or object that the bytes are; nothing when they are no JSON from the first byte to
    // the last. Takes one pass.
    [[nodiscard]] static JsonText document(const QByteArray &bytes);

    [[nodiscard]] bool isArray() const;
    [[nodiscard]] bool isObject() const;
    [[nodiscard]] bool isString() const;

    // The text of a string; of anything else, the empty text. Throws std::bad_alloc.
    [[nodiscard]] QString text() const;

    // Whether this is a string of exactly these ASCII characters, however they are written.
    [[nodiscard]] bool isText(QLatin1String text) const;

    // The bytes of the document that are the value. They live as long as the document's.
    [[nodiscard]] QByteArray source() const;

    // An object's values for these keys: for each the last one, or nothing. Takes one pass.
    template <std::size_t Count>
    [[nodiscard]] std::array<JsonText, Count>
    values(const std::array<QLatin1String, Count> &keys) const;

private:
    friend class JsonWalk;
    friend struct JsonMember;

    JsonText(const char *begin, const char *end)
        : m_begin(begin)
        , m_end(end)
    {
    }

    const char *m_begin = nullptr;
    const char *m_end = nullptr;
};

// Goes through the elements of an array, or the members of an object, in the order of the document:
// for (JsonWalk walk(array); walk.next();). Of anything else there are none.
class JsonWalk
{
public:
    explicit JsonWalk(const JsonText &container);

    // On to the next one; false behind the last.
    [[nodiscard]] bool next();

    // A string in an object, nothing in an array.
    [[nodiscard]] const JsonText &key() const
    {
        return m_key;
    }

    [[nodiscard]] const JsonText &value() const
    {
        return m_value;
    }

private:
    [[nodiscard]] JsonText take();

    const char *m_at = nullptr;
    const char *m_end = nullptr; // the closing bracket
    bool m_inObject = false;
    JsonText m_key;
    JsonText m_value;
};

// A member of an object, as QJsonObject has it.
struct JsonMember
{
    // The one whose key comes first in the alphabet; of equal keys, the last. Nothing, an absent
    // key, when there is none.
    [[nodiscard]] static JsonMember firstByKey(const JsonText &object);

    JsonText key;
    JsonText value;
    bool isEscaped = false; // the key
};

// More elements than an argument list can have on Linux where it is limited as usual (a quarter of
// a stack of 8 MiB: 233,016 arguments without a character).
constexpr int mostElements = 262144;

// How many elements the array has. Throws std::bad_alloc above `mostElements`: what would be made
// of them takes up to thirty times as much memory as the body, in small blocks.
[[nodiscard]] int boundedCount(const JsonText &array);

template <std::size_t Count>
std::array<JsonText, Count> JsonText::values(const std::array<QLatin1String, Count> &keys) const
{
    std::array<JsonText, Count> found;
    if (!isObject()) {
        return found;
    }
    for (JsonWalk walk(*this); walk.next();) {
        for (std::size_t i = 0; i < Count; ++i) {
            if (walk.key().isText(keys[i])) {
                found[i] = walk.value();
            }
        }
    }
    return found;
}

} // namespace base
