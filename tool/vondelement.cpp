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

ReturnFile reserveReturnFile(const VondElement &element, const QString &folder)
{
    const QString prefix = QStringLiteral("%1/").arg(folder);
    // Deliberate: every occurrence of the prefix goes, not only the one in front.
    const QString key = uniqueFilePath(prefix + element.name).remove(prefix, Qt::CaseSensitive);
    return {element.text + prefix + key, key};
}

} // namespace tool
