#pragma once

#include <QByteArray>

// The rules for parts of a request head that a general parser leaves to its user. Plain functions
// on bytes.
namespace http {

// The members of a comma-separated list (RFC 9110 section 5.6.1), with surrounding white space
// removed; empty members are kept.
[[nodiscard]] QList<QByteArray> listMembers(const QByteArray &value);

// Whether a Host value is empty, or a host with or without a port (RFC 9110 section 7.2).
[[nodiscard]] bool isHostValue(const QByteArray &value);

// Whether a target is in origin form, in absolute form or, where allowed, the asterisk (RFC 9112
// section 3.2). Its bytes must have been checked before.
[[nodiscard]] bool isTarget(const QByteArray &target, bool asteriskAllowed);

enum class Coding
{
    None, // no Transfer-Encoding at all
    Chunked, // "chunked" and nothing else
    Unknown, // others before a final "chunked"
    Malformed, // anything else: where the body ends would be a guess
};

// What all Transfer-Encoding values say together (RFC 9112 section 6.1).
[[nodiscard]] Coding transferCoding(const QList<QByteArray> &members);

enum class Expectation
{
    None,
    Continue,
    Unknown,
};

// What all Expect values say together (RFC 9110 section 10.1.1).
[[nodiscard]] Expectation expectation(const QList<QByteArray> &members);

} // namespace http
