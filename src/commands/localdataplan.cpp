#include "commands/localdataplan.h"

#include "base/debugline.h"
#include "base/jsontext.h"
#include "base/utf8text.h"
#include "tool/markers.h"

#include <QFileInfo>

namespace commands {

namespace {

LocalOption readOption(const base::JsonMember &member)
{
    const QString key = member.key.text();
    if (key != QLatin1String("local:")) {
        return {key, member.value.text(), false, {}, {}};
    }
    constexpr std::array keys{
        QLatin1String("option", 6),
        QLatin1String("filename", 8),
        QLatin1String("data", 4),
    };
    const auto values = member.value.values(keys);
    return {values[0].text(), {}, true, values[1].text(), values[2].text()};
}

QVector<LocalOption> readOptions(const base::JsonText &elements)
{
    QVector<LocalOption> options;
    if (!elements.isArray()) {
        return options;
    }
    options.reserve(base::boundedCount(elements));
    for (base::JsonWalk walk(elements); walk.next();) {
        // Deliberate: only the key that sorts first counts.
        const base::JsonMember member = base::JsonMember::firstByKey(walk.value());
        if (!member.key.isString()) {
            base::debugLine("setOptions: skipped an element without a key:", walk.value().source());
            continue;
        }
        options.append(readOption(member));
    }
    return options;
}

} // namespace

LocalDataRequest readLocalDataRequest(const QByteArray &body)
{
    constexpr QLatin1String setOptions("setOptions", 10);
    constexpr std::array keys{
        QLatin1String("fileName", 8),
        QLatin1String("imgData", 7),
        QLatin1String("configuration", 13),
        setOptions,
    };
    const auto values = base::JsonText::document(body).values(keys);
    // Deliberate: the list is one level deeper, under the same key; anything else is ignored.
    const auto inner = values[3].values(std::array{setOptions});
    return {values[0].text(), values[1].text(), values[2].text(), readOptions(inner[0])};
}

QString
localOutputPath(const QString &folder, const QString &inputPath, const QString &configuration)
{
    // Deliberate: in a name with several dots, the middle part is dropped; without a suffix, a dot
    // remains at the end.
    const QFileInfo input(inputPath);
    return folder + QLatin1Char('/') + input.baseName() + QLatin1Char('_') + configuration
        + QLatin1Char('.') + input.suffix();
}

bool namesFile(const QString &outputPath, const QString &folder, base::NameRules rules)
{
    QString name = outputPath.mid(folder.size() + 1);
    if (name.endsWith(QLatin1Char('.'))) {
        name.chop(1);
    }
    return base::isFileName(name, rules);
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

QString localAnswer(const tool::Output &output, const QString &outputPath)
{
    if (tool::reportsError(output.stdErr)) {
        return base::utf8Text(output.stdOut);
    }
    if (output.stdOut.startsWith(tool::outputFileMarker.latin1())) {
        return base::utf8Text(output.stdOut.mid(tool::outputFileMarker.size())).trimmed();
    }
    // Deliberate: a full path if the tool printed anything, the bare name if it printed nothing.
    return output.stdOut.isEmpty() ? QFileInfo(outputPath).fileName() : outputPath;
}

} // namespace commands
