// The request of "/vond": reading its elements, reserving names, and pruning after a run.
#include "base/jsontext.h"
#include "commands/vondanswer.h"
#include "commands/vondelement.h"
#include "tests/fuzz/property.h"
#include "tests/fuzz/target.h"

#include <QJsonDocument>

#include <cstdint>

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray body(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const QString folder = QStringLiteral("/nonexistent/T");
    QStringList keys;
    tool::ClaimedPaths claims;
    const base::JsonText document = base::JsonText::document(body);
    qint64 characters = 0;
    base::JsonWalk walk(document.isArray() ? document : base::JsonText());
    while (walk.next()) {
        const base::JsonText &value = walk.value();
        const commands::VondElement element = commands::readVondElement(value);
        characters += element.text.size() + element.name.size() + element.base64.size();
        const bool known = value.isString() || value.isObject();
        mustHold(known == (element.kind != commands::VondElement::Kind::Neither),
                 "strings and objects are taken, nothing else");
        if (element.kind == commands::VondElement::Kind::Literal) {
            mustHold(element.text == value.text(), "a literal stays as it is");
        } else if (element.kind == commands::VondElement::Kind::ReturnFile) {
            const commands::ReturnFile file = commands::reserveReturnFile(element, folder, &claims);
            mustHold(file.argument == element.text + folder + QLatin1Char('/') + file.key,
                     "the argument names the file that the key fetches");
            keys.append(file.key);
        }
    }
    mustHold(characters <= body.size(), "what is read is no longer than the body");
    const QStringList surviving = commands::survivingReturnKeys(keys, body);
    mustHold(surviving.size() <= keys.size(), "pruning adds nothing");
    mustHold(commands::survivingReturnKeys(keys, {}) == keys, "without errors every key stays");
    const QJsonObject answer = commands::vondAnswer({body, body}, keys);
    mustHold(answer.contains(QLatin1String("returnFilesDict")) == !surviving.isEmpty(),
             "a dictionary is there when a key is");
    // Qt drops a byte order mark at the beginning of a text.
    const QByteArray json = QJsonDocument(answer).toJson();
    mustHold(json.contains("\xef\xbb\xbf") || QJsonDocument::fromJson(json).object() == answer,
             "the answer is JSON");
    mustHold(base::JsonText::document(json).isObject(), "the answer is an object");
    return 0;
}
