#include "http/fieldrules.h"

#include <QList>

#include <algorithm>
#include <cstring>

namespace http {
namespace {

bool isAlpha(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isHexDigit(char c)
{
    return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool isOneOf(char c, const char *characters)
{
    return c != '\0' && std::strchr(characters, c) != nullptr;
}

// unreserved and sub-delims (RFC 3986 section 2)
bool isNameCharacter(char c)
{
    return isAlpha(c) || isDigit(c) || isOneOf(c, "-._~!$&'()*+,;=");
}

bool isRegisteredName(const QByteArray &name)
{
    for (int i = 0; i < name.size(); ++i) {
        if (isNameCharacter(name.at(i))) {
            continue;
        }
        const bool encoded = name.at(i) == '%' && i + 2 < name.size() && isHexDigit(name.at(i + 1))
            && isHexDigit(name.at(i + 2));
        if (!encoded) {
            return false;
        }
        i += 2;
    }
    return !name.isEmpty();
}

// The inside of the brackets: an IPv6 address, or a later version's.
bool isAddressLiteral(const QByteArray &literal)
{
    return !literal.isEmpty() && std::all_of(literal.cbegin(), literal.cend(), [](char c) {
        return isNameCharacter(c) || c == ':';
    });
}

// Empty, or a colon and digits, which may be none.
bool isPortPart(const QByteArray &part)
{
    return part.isEmpty()
        || (part.startsWith(':') && std::all_of(part.cbegin() + 1, part.cend(), isDigit));
}

bool isAuthority(const QByteArray &authority)
{
    if (authority.startsWith('[')) {
        const int end = authority.indexOf(']');
        return end > 0 && isAddressLiteral(authority.mid(1, end - 1))
            && isPortPart(authority.mid(end + 1));
    }
    const int colon = authority.indexOf(':');
    const int nameLength = colon < 0 ? authority.size() : colon;
    return isRegisteredName(authority.left(nameLength)) && isPortPart(authority.mid(nameLength));
}

bool isAbsoluteForm(const QByteArray &target)
{
    const int schemeEnd = target.indexOf("://");
    if (schemeEnd < 1 || !isAlpha(target.at(0))
        || !std::all_of(target.cbegin(), target.cbegin() + schemeEnd, [](char c) {
               return isAlpha(c) || isDigit(c) || isOneOf(c, "+-.");
           })) {
        return false;
    }
    const int authorityStart = schemeEnd + 3;
    int authorityEnd = authorityStart;
    while (authorityEnd < target.size() && !isOneOf(target.at(authorityEnd), "/?#")) {
        ++authorityEnd;
    }
    return isAuthority(target.mid(authorityStart, authorityEnd - authorityStart));
}

bool equalsIgnoringCase(const QByteArray &value, const char *other)
{
    return value.compare(other, Qt::CaseInsensitive) == 0;
}

} // namespace

QList<QByteArray> listMembers(const QByteArray &value)
{
    QList<QByteArray> members = value.split(',');
    for (QByteArray &member : members) {
        member = member.trimmed();
    }
    return members;
}

bool isHostValue(const QByteArray &value)
{
    return value.isEmpty() || isAuthority(value);
}

bool isTarget(const QByteArray &target, bool asteriskAllowed)
{
    return target.startsWith('/') || (asteriskAllowed && target == "*") || isAbsoluteForm(target);
}

Coding transferCoding(const QList<QByteArray> &members)
{
    if (members.isEmpty()) {
        return Coding::None;
    }
    const auto chunked = std::count_if(members.cbegin(), members.cend(), [](const auto &member) {
        return equalsIgnoringCase(member, "chunked");
    });
    if (chunked != 1 || !equalsIgnoringCase(members.last(), "chunked")
        || members.contains(QByteArray())) {
        return Coding::Malformed;
    }
    return members.size() == 1 ? Coding::Chunked : Coding::Unknown;
}

Expectation expectation(const QList<QByteArray> &members)
{
    Expectation found = Expectation::None;
    for (const QByteArray &member : members) {
        if (member.isEmpty()) {
            continue; // empty members of a list say nothing (RFC 9110 section 5.6.1)
        }
        if (!equalsIgnoringCase(member, "100-continue")) {
            return Expectation::Unknown;
        }
        found = Expectation::Continue;
    }
    return found;
}

} // namespace http
