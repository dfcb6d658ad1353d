#include "jobs/progress.h"

#include "tool/debugline.h"
#include "tool/utf8text.h"

#include <QUuid>

namespace jobs {

QString progressInfo(Registry *registry, const QString &id)
{
    const QString text = progressText(registry, id);
    if (text.startsWith(QLatin1String("Error"))) {
        tool::debugLine("Request:", id, " : ", text);
    }
    return text;
}

QString progressInf(const QString &argument)
{
    return QStringLiteral("/progressInf: ") + argument;
}

QString progressTest(Registry *registry)
{
    const QString id = QUuid::createUuid().toString();
    registerRequest(registry, id);
    return id;
}

void takeOutputChunk(Registry *registry,
                     const QString &requestId,
                     const QByteArray &chunk,
                     QString &lastStdOutMsg)
{
    // Deliberate: a chunk is judged by its first bytes and kept whole. Progress forgets what was
    // said before it, and what is said replaces it, so that the last chunk decides the answer.
    if (chunk.startsWith("Progress:")) {
        setProgressText(registry, requestId, tool::utf8Text(chunk));
        lastStdOutMsg.clear();
    } else {
        lastStdOutMsg = tool::utf8Text(chunk);
    }
}

} // namespace jobs
