#include "http/fieldrules.h"

#include <QList>

#include <algorithm>
#include <cstring>
#include <string_view>

namespace http {
namespace {

std::string_view viewOf(const QByteArray &bytes)
{
    return {bytes.constData(), static_cast<std::size_t>(bytes.size())};
}

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

bool isRegisteredName(std::string_view name)
{
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (isNameCharacter(name[i])) {
            continue;
        }
        const bool encoded = name[i] == '%' && i + 2 < name.size() && isHexDigit(name[i + 1])
            && isHexDigit(name[i + 2]);
        if (!encoded) {
            return false;
        }
        i += 2;
    }
    return !name.empty();
}

// The inside of the brackets: an IPv6 address, or a later version's.
bool isAddressLiteral(std::string_view literal)
{
    return !literal.empty() && std::all_of(literal.cbegin(), literal.cend(), [](char c) {
        return isNameCharacter(c) || c == ':';
    });
}

// Empty, or a colon and zero or more digits.
bool isPortPart(std::string_view part)
{
    return part.empty()
        || (part.front() == ':' && std::all_of(part.cbegin() + 1, part.cend(), isDigit));
}

bool isAuthority(std::string_view authority)
{
    if (!authority.empty() && authority.front() == '[') {
        const std::size_t end = authority.find(']');
        return end != std::string_view::npos && isAddressLiteral(authority.substr(1, end - 1))
            && isPortPart(authority.substr(end + 1));
    }
    const std::size_t nameLength = std::min(authority.find(':'), authority.size());
    return isRegisteredName(authority.substr(0, nameLength))
        && isPortPart(authority.substr(nameLength));
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
    return isAuthority(
        viewOf(target).substr(static_cast<std::size_t>(authorityStart),
                              static_cast<std::size_t>(authorityEnd - authorityStart)));
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
    return value.isEmpty() || isAuthority(viewOf(value));
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
            continue; // empty members of a list are ignored (RFC 9110 section 5.6.1)
        }
        if (!equalsIgnoringCase(member, "100-continue")) {
            return Expectation::Unknown;
        }
        found = Expectation::Continue;
    }
    return found;
}

} // namespace http
