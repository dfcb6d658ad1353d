// The request of "/convertWithLocalData": reading, arguments, and choosing the response.
#include "base/utf8text.h"
#include "commands/localdataplan.h"
#include "tests/fuzz/property.h"
#include "tests/fuzz/target.h"

#include <cstdint>

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray body(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const commands::LocalDataRequest request = commands::readLocalDataRequest(body);
    QStringList options;
    qint64 characters =
        request.fileName.size() + request.imgData.size() + request.configuration.size();
    for (const commands::LocalOption &option : request.options) {
        options << option.option << option.value;
        characters += option.option.size() + option.value.size() + option.fileName.size()
            + option.base64.size();
    }
    mustHold(characters <= body.size(), "what is read is no longer than the body");
    const QString input = QStringLiteral("/T/") + request.fileName;
    const QString output =
        commands::localOutputPath(QStringLiteral("/T"), input, request.configuration);
    const QStringList arguments =
        commands::localArguments(request.configuration, options, input, output);
    const int expected = options.isEmpty() ? 7 : 8 + options.size();
    mustHold(arguments.size() == expected, "the tool gets every option and nothing else");
    mustHold(arguments.at(expected - 3) == input && arguments.last() == output,
             "input and output stand at the end");

    mustHold(commands::localAnswer({body, "Error: x"}, output) == base::utf8Text(body),
             "an error is what the tool said");
    mustHold(!commands::localAnswer({{}, body.startsWith("Error:") ? QByteArray() : body}, output)
                  .contains(QLatin1Char('/')),
             "silence is a bare name");
    return 0;
}
