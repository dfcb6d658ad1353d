#include "tool/localdataplan.h"

#include "tool/debugline.h"
#include "tool/utf8text.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace tool {

namespace {

LocalOption readOption(const QString &key, const QJsonValue &value)
{
    if (key != QLatin1String("local:")) {
        return {key, value.toString(), false, {}, {}};
    }
    const QJsonObject file = value.toObject();
    return {file.value(QLatin1String("option")).toString(),
            {},
            true,
            file.value(QLatin1String("filename")).toString(),
            file.value(QLatin1String("data")).toString()};
}

QVector<LocalOption> readOptions(const QJsonArray &elements)
{
    QVector<LocalOption> options;
    for (const QJsonValue &value : elements) {
        const QJsonObject element = value.toObject();
        if (element.isEmpty()) {
            debugLine("setOptions: skipped an element without a key:", value);
            continue;
        }
        // Deliberate: only the first key counts, in the order of the alphabet.
        const QString key = element.keys().constFirst();
        options.append(readOption(key, element.value(key)));
    }
    return options;
}

} // namespace

LocalDataRequest readLocalDataRequest(const QByteArray &body)
{
    const QJsonObject request = QJsonDocument::fromJson(body).object();
    const QLatin1String setOptions("setOptions");
    // Deliberate: the list lies one level deeper, under the same key; anything else is ignored.
    const QJsonArray elements = request.value(setOptions).toObject().value(setOptions).toArray();
    return {request.value(QLatin1String("fileName")).toString(),
            request.value(QLatin1String("imgData")).toString(),
            request.value(QLatin1String("configuration")).toString(),
            readOptions(elements)};
}

QString
localOutputPath(const QString &folder, const QString &inputPath, const QString &configuration)
{
    // Deliberate: of several dots the middle part is dropped, and the dot stays without a suffix.
    const QFileInfo input(inputPath);
    return folder + QLatin1Char('/') + input.baseName() + QLatin1Char('_') + configuration
        + QLatin1Char('.') + input.suffix();
}

QStringList localArguments(const QString &configuration,
                           const QStringList &options,
                           const QString &inputPath,
                           const QString &outputPath)
{
    QStringList arguments{
        QStringLiteral("--translateerror"),
        QStringLiteral("--overwriteoutput=increment"),
        QStringLiteral("-c"),
        configuration,
    };
    if (!options.isEmpty()) {
        arguments << QStringLiteral("setoption") << options;
    }
    arguments << inputPath << QStringLiteral("-o") << outputPath;
    return arguments;
}

QString localAnswer(const Output &output, const QString &outputPath)
{
    const QByteArray marker = QByteArrayLiteral("Output file:");
    if (reportsError(output.stdErr)) {
        return utf8Text(output.stdOut);
    }
    if (output.stdOut.startsWith(marker)) {
        return utf8Text(output.stdOut.mid(marker.size())).trimmed();
    }
    // Deliberate: a full path when the tool said anything, the bare name when it said nothing.
    return output.stdOut.isEmpty() ? QFileInfo(outputPath).fileName() : outputPath;
}

} // namespace tool
