#include "tool/vondelement.h"

#include "tool/uniquefilepath.h"

#include <QJsonObject>

namespace tool {

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

VondElement readFile(const QJsonObject &file)
{
    return {VondElement::Kind::InputFile,
            {},
            file.value(QLatin1String("filename")).toString(),
            file.value(QLatin1String("data")).toString()};
}

// The same as QString::remove(), which moves the rest of the text for every occurrence.
QString withoutPart(const QString &text, const QString &part)
{
    QString rest;
    rest.reserve(text.size());
    int begin = 0;
    for (int at = text.indexOf(part); at >= 0; at = text.indexOf(part, begin)) {
        rest += text.midRef(begin, at - begin);
        begin = at + part.size();
    }
    return rest + text.midRef(begin);
}

} // namespace

VondElement readVondElement(const QJsonValue &element)
{
    if (element.isString()) {
        return readText(element.toString());
    }
    if (element.isObject()) {
        return readFile(element.toObject());
    }
    return {};
}

ReturnFile
reserveReturnFile(const VondElement &element, const QString &folder, ClaimedPaths *claims)
{
    const QString prefix = QStringLiteral("%1/").arg(folder);
    QString key;
    static_cast<void>(uniqueFilePath(prefix + element.name, claims, [&](const QString &candidate) {
        // Deliberate: every occurrence of the prefix goes, not only the one in front. What is left
        // may be a name that another client has been given.
        key = withoutPart(candidate, prefix);
        return !isNameTaken(candidate)
            && (prefix + key == candidate
                || claims->claim(prefix + key) != ClaimedPaths::Claim::Refused);
    }));
    return {element.text + prefix + key, key};
}

} // namespace tool
