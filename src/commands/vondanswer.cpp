#include "commands/vondanswer.h"

#include "base/debugline.h"
#include "base/utf8text.h"
#include "tool/markers.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QMap>
#include <QVector>

namespace commands {

QStringList survivingReturnKeys(const QStringList &keys, const QByteArray &stdErr)
{
    QVector<bool> mentioned(keys.size());
    const QStringList lines = base::utf8Text(stdErr).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (!line.startsWith(tool::errorMarker)) {
            continue;
        }
        // Deliberate: a key counts wherever it occurs in the line, even inside a longer name, and
        // is logged again for each line, even if an earlier one has already removed it.
        for (int i = 0; i < keys.size(); ++i) {
            if (line.contains(keys.at(i))) {
                mentioned[i] = true;
                base::debugLine("removed return filekey on error:", keys.at(i));
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
    // Sorted first: the object moves everything after a new member, so each is appended.
    QMap<QString, QString> members;
    for (const QString &key : keys) {
        members.insert(QFileInfo(key).baseName(), key);
    }
    QJsonObject dict;
    for (auto member = members.cbegin(); member != members.cend(); ++member) {
        dict.insert(member.key(), member.value());
    }
    return dict;
}

QJsonObject vondAnswer(const tool::Output &output, const QStringList &returnKeys)
{
    QJsonObject answer{
        {QStringLiteral("stdOut"), base::utf8Text(output.stdOut)},
        {QStringLiteral("stdErr"), base::utf8Text(output.stdErr)},
    };
    const QStringList surviving = survivingReturnKeys(returnKeys, output.stdErr);
    if (!surviving.isEmpty()) {
        base::debugLine(surviving);
        answer.insert(QLatin1String("returnFilesDict"), returnFilesDict(surviving));
    }
    // What the stream prints for an object. Its operator allocates in a destructor, where running
    // out of memory ends the process.
    const QByteArray json = QJsonDocument(answer).toJson(QJsonDocument::Compact);
    base::debugLine(("QJsonObject(" + json + ')').constData());
    return answer;
}

} // namespace commands
