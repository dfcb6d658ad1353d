// The request of "/vond": reading its elements, reserving names, and pruning after a run.
#include "tests/fuzz/property.h"
#include "tests/fuzz/target.h"
#include "tool/vondanswer.h"
#include "tool/vondelement.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cstdint>

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray body(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const QString folder = QStringLiteral("/nonexistent/T");
    QStringList keys;
    tool::ClaimedPaths claims;
    const QJsonArray elements = QJsonDocument::fromJson(body).array();
    for (const QJsonValue &value : elements) {
        const tool::VondElement element = tool::readVondElement(value);
        const bool known = value.isString() || value.isObject();
        mustHold(known == (element.kind != tool::VondElement::Kind::Neither),
                 "strings and objects are taken, nothing else");
        if (element.kind == tool::VondElement::Kind::Literal) {
            mustHold(element.text == value.toString(), "a literal stays as it is");
        } else if (element.kind == tool::VondElement::Kind::ReturnFile) {
            const tool::ReturnFile file = tool::reserveReturnFile(element, folder, &claims);
            mustHold(file.argument == element.text + folder + QLatin1Char('/') + file.key,
                     "the argument names the file that the key fetches");
            keys.append(file.key);
        }
    }
    const QStringList surviving = tool::survivingReturnKeys(keys, body);
    mustHold(surviving.size() <= keys.size(), "pruning adds nothing");
    mustHold(tool::survivingReturnKeys(keys, {}) == keys, "without errors every key stays");
    const QJsonObject answer = tool::vondAnswer({body, body}, keys);
    mustHold(answer.contains(QLatin1String("returnFilesDict")) == !surviving.isEmpty(),
             "a dictionary is there when a key is");
    mustHold(QJsonDocument::fromJson(QJsonDocument(answer).toJson()).object() == answer,
             "the answer is JSON");
    return 0;
}
