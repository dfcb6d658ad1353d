#pragma once

#include <QByteArray>

// The rules for single pieces of a head that a general parser leaves to its user. Plain functions
// on bytes.
namespace http {

// The members of a comma-separated list (RFC 9110 section 5.6.1), blanks around them removed;
// empty members stay.
[[nodiscard]] QList<QByteArray> listMembers(const QByteArray &value);

// Whether a Host value is empty, or a host with or without a port (RFC 9110 section 7.2).
[[nodiscard]] bool isHostValue(const QByteArray &value);

// Whether a target is in origin form, or in absolute form, or, where that is allowed, the asterisk
// (RFC 9112 section 3.2). Its bytes have been looked at already.
[[nodiscard]] bool isTarget(const QByteArray &target, bool asteriskAllowed);

enum class Coding
{
    None, // no Transfer-Encoding at all
    Chunked, // "chunked" and nothing else
    Unknown, // others before a final "chunked"
    Malformed, // anything else: the end of the body would be a guess
};

// What all Transfer-Encoding values together say (RFC 9112 section 6.1).
[[nodiscard]] Coding transferCoding(const QList<QByteArray> &members);

enum class Expectation
{
    None,
    Continue,
    Unknown,
};

// What all Expect values together say (RFC 9110 section 10.1.1).
[[nodiscard]] Expectation expectation(const QList<QByteArray> &members);

} // namespace http
