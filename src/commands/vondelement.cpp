#include "commands/vondelement.h"

#include "base/jsontext.h"
#include "base/withoutpart.h"
#include "tool/uniquefilepath.h"

namespace commands {

namespace {

constexpr QLatin1String returnMarker("return:", 7);

VondElement readText(const QString &text)
{
    const int marker = text.indexOf(returnMarker, 0, Qt::CaseSensitive);
    if (marker < 0) {
        return {VondElement::Kind::Literal, text, {}, {}};
    }
    return {VondElement::Kind::ReturnFile,
            text.left(marker),
            text.mid(marker + returnMarker.size()),
            {}};
}

VondElement readFile(const base::JsonText &file)
{
    constexpr std::array keys{QLatin1String("filename", 8), QLatin1String("data", 4)};
    const auto values = file.values(keys);
    return {VondElement::Kind::InputFile, {}, values[0].text(), values[1].text()};
}

} // namespace

VondElement readVondElement(const base::JsonText &element)
{
    if (element.isString()) {
        return readText(element.text());
    }
    if (element.isObject()) {
        return readFile(element);
    }
    return {};
}

ReturnFile
reserveReturnFile(const VondElement &element, const QString &folder, tool::ClaimedPaths *claims)
{
    const QString prefix = QStringLiteral("%1/").arg(folder);
    QString key;
    static_cast<void>(
        tool::uniqueFilePath(prefix + element.name, claims, [&](const QString &candidate) {
            // Deliberate: every occurrence of the prefix is removed, not only the one in front. The
            // result may be a name that another client has claimed.
            key = base::withoutPart(candidate, prefix);
            return !tool::isNameTaken(candidate)
                && (prefix + key == candidate
                    || claims->claim(prefix + key) != tool::ClaimedPaths::Claim::Refused);
        }));
    return {element.text + prefix + key, key};
}

} // namespace commands
