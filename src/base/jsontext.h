#pragma once

#include <QByteArray>
#include <QLatin1String>
#include <QString>

#include <array>

// Reads JSON (RFC 8259) in place. Qt's own parser is not fit for what clients send: it takes some
// 25 bytes for each byte of "[[0],", leaks arrays and objects under repeated keys, and ends the
// process when it runs out of memory, because it allocates in destructors.
namespace base {

// A view of a value in a document: only text() copies or allocates. The bytes of the document must
// outlive it. An absent value is one, too: neither array nor object nor string.
//
// It accepts and yields exactly what QJsonDocument::fromJson() and its classes do. They differ from
// the RFC in some points: the document is an array or an object; these nest at most 1024 deep;
// strings may contain control characters; a backslash may precede any character; UTF-8 must be
// valid, but an escaped surrogate may be unpaired. Of duplicate keys the last counts; in Qt, the
// outcome is arbitrary in objects of more than 16 members.
class JsonText
{
public:
    JsonText() = default;

    // The document's array or object; an absent value unless the bytes are JSON from first to last.
    // Takes one pass.
    [[nodiscard]] static JsonText document(const QByteArray &bytes);

    [[nodiscard]] bool isArray() const;
    [[nodiscard]] bool isObject() const;
    [[nodiscard]] bool isString() const;

    // The text of a string; empty for anything else. Throws std::bad_alloc.
    [[nodiscard]] QString text() const;

    // Whether this is a string of exactly these ASCII characters, escaped or not.
    [[nodiscard]] bool isText(QLatin1String text) const;

    // The bytes of the value within the document. Valid as long as the document's bytes.
    [[nodiscard]] QByteArray source() const;

    // An object's values for these keys: for each the last one, or an absent value. Takes one pass.
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

// Iterates over the elements of an array, or the members of an object, in document order: for
// (JsonWalk walk(array); walk.next();). Anything else has none.
class JsonWalk
{
public:
    explicit JsonWalk(const JsonText &container);

    // Advances to the next one; false after the last.
    [[nodiscard]] bool next();

    // A string in an object, absent in an array.
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

// A member of an object, as in QJsonObject.
struct JsonMember
{
    // The member whose key sorts first; of duplicate keys, the last. Its key is absent when there
    // is none.
    [[nodiscard]] static JsonMember firstByKey(const JsonText &object);

    JsonText key;
    JsonText value;
    bool isEscaped = false; // the key
};

// More elements than an argument list can have on Linux with the usual limit (a quarter of an 8 MiB
// stack: 233,016 empty arguments).
constexpr int mostElements = 262144;

// The number of elements in the array. Throws std::bad_alloc above `mostElements`: converting them
// would take up to thirty times as much memory as the body, in small blocks.
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
