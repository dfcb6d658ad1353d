#include "tool/vondanswer.h"

#include "tool/debugline.h"
#include "tool/utf8text.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QVector>

namespace tool {

QStringList survivingReturnKeys(const QStringList &keys, const QByteArray &stdErr)
{
    QVector<bool> mentioned(keys.size());
    const QStringList lines = utf8Text(stdErr).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (!line.startsWith(QLatin1String("Error:"))) {
            continue;
        }
        // Deliberate: a key counts wherever it occurs in the line, inside a longer name as well,
        // and it is logged again for each line, also when an earlier one has removed it.
        for (int i = 0; i < keys.size(); ++i) {
            if (line.contains(keys.at(i))) {
                mentioned[i] = true;
                debugLine("removed return filekey on error:", keys.at(i));
            }
        }
    }
    QStringList surviving;
    for (int i = 0; i < keys.size(); ++i) {
        if (!mentioned.at(i)) {
            surviving.append(keys.at(i));
        }
    }
    return surviving;
}

QJsonObject returnFilesDict(const QStringList &keys)
{
    QJsonObject dict;
    for (const QString &key : keys) {
        dict.insert(QFileInfo(key).baseName(), key);
    }
    return dict;
}

QJsonObject vondAnswer(const Output &output, const QStringList &returnKeys)
{
    QJsonObject answer{
        {QStringLiteral("stdOut"), utf8Text(output.stdOut)},
        {QStringLiteral("stdErr"), utf8Text(output.stdErr)},
    };
    const QStringList surviving = survivingReturnKeys(returnKeys, output.stdErr);
    if (!surviving.isEmpty()) {
        debugLine(surviving);
        answer.insert(QLatin1String("returnFilesDict"), returnFilesDict(surviving));
    }
    // The stream's own words for an object. Its operator allocates in a destructor, where refused
    // memory ends the process.
    const QByteArray json = QJsonDocument(answer).toJson(QJsonDocument::Compact);
    debugLine(("QJsonObject(" + json + ')').constData());
    return answer;
}

} // namespace tool
