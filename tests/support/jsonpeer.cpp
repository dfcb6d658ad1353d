#include "tests/support/jsonpeer.h"

#include "base/jsontext.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>

#include <algorithm>

namespace {

class Comparison
{
public:
    explicit Comparison(bool anyKeys)
        : m_anyKeys(anyKeys)
    {
    }

    [[nodiscard]] QString difference(const base::JsonText &ours, const QJsonValue &theirs) const
    {
        if (ours.isArray() != theirs.isArray() || ours.isObject() != theirs.isObject()
            || ours.isString() != theirs.isString()) {
            return QStringLiteral("another kind");
        }
        if (ours.text() != theirs.toString()) {
            return QStringLiteral("another text");
        }
        if (ours.isArray()) {
            return arrays(ours, theirs.toArray());
        }
        return ours.isObject() ? objects(ours, theirs.toObject()) : QString();
    }

private:
    [[nodiscard]] QString arrays(const base::JsonText &ours, const QJsonArray &theirs) const
    {
        int i = 0;
        for (base::JsonWalk walk(ours); walk.next(); ++i) {
            if (i == theirs.size()) {
                return QStringLiteral("more elements");
            }
            const QString found = difference(walk.value(), theirs.at(i));
            if (!found.isEmpty()) {
                return QStringLiteral("[%1] ").arg(i) + found;
            }
        }
        return i == theirs.size() ? QString() : QStringLiteral("fewer elements");
    }

    [[nodiscard]] QString objects(const base::JsonText &ours, const QJsonObject &theirs) const
    {
        QMap<QString, base::JsonText> members;
        bool marked = false;
        int count = 0;
        for (base::JsonWalk walk(ours); walk.next(); ++count) {
            const QString key = walk.key().text();
            if (!m_anyKeys && hasOddUnits(key)) {
                return {};
            }
            marked = marked || walk.key().source().startsWith("\"\xef\xbb\xbf");
            members.insert(key, walk.value());
        }
        constexpr int sortedInOrder = 16;
        const bool byChance = count > sortedInOrder && members.size() < count;
        if (byChance || (marked && !m_anyKeys)) {
            return {};
        }
        const auto first = base::JsonMember::firstByKey(ours);
        const QString firstKey = theirs.isEmpty() ? QString() : theirs.keys().constFirst();
        if (first.key.isString() == theirs.isEmpty() || first.key.text() != firstKey) {
            return QStringLiteral("another first key");
        }
        const QString found = difference(first.value, theirs.value(firstKey));
        if (!found.isEmpty()) {
            return QStringLiteral("of the first key: ") + found;
        }
        return marked ? QString() : allMembers(ours, members, theirs);
    }

    [[nodiscard]] QString allMembers(const base::JsonText &ours,
                                     const QMap<QString, base::JsonText> &members,
                                     const QJsonObject &theirs) const
    {
        if (members.size() != theirs.size()) {
            return QStringLiteral("another number of members");
        }
        for (auto member = members.cbegin(); member != members.cend(); ++member) {
            QString found = difference(member.value(), theirs.value(member.key()));
            const QByteArray ascii = member.key().toLatin1();
            if (found.isEmpty() && QString::fromLatin1(ascii) == member.key() && isAscii(ascii)) {
                const std::array keys{QLatin1String(ascii.constData(), ascii.size())};
                found = difference(ours.values(keys)[0], theirs.value(member.key()));
            }
            if (!found.isEmpty()) {
                return QStringLiteral("{%1} ").arg(member.key()) + found;
            }
        }
        return {};
    }

    static bool hasOddUnits(const QString &text)
    {
        return std::any_of(text.cbegin(), text.cend(), [](QChar unit) {
            return unit.isNull() || unit.unicode() >= 0xd800;
        });
    }

    static bool isAscii(const QByteArray &text)
    {
        return std::all_of(text.cbegin(), text.cend(), [](char byte) {
            return static_cast<signed char>(byte) >= 0;
        });
    }

    bool m_anyKeys;
};

// Qt 5.15 leaks an array or object whose key is repeated in the same object: tests/lsan.supp.
QJsonDocument documentOfQt(const QByteArray &bytes)
{
    return QJsonDocument::fromJson(bytes);
}

} // namespace

QString jsonDifference(const QByteArray &bytes, bool anyKeys)
{
    const QJsonDocument theirs = documentOfQt(bytes);
    const base::JsonText ours = base::JsonText::document(bytes);
    if (theirs.isArray()) {
        return Comparison(anyKeys).difference(ours, theirs.array());
    }
    if (theirs.isObject()) {
        return Comparison(anyKeys).difference(ours, theirs.object());
    }
    const bool nothing = !ours.isArray() && !ours.isObject() && !ours.isString();
    return nothing ? QString() : QStringLiteral("read, where Qt reads nothing");
}
