#include "jobs/progress.h"

#include "base/debugline.h"
#include "base/utf8text.h"
#include "tool/markers.h"

#include <QUuid>

namespace jobs {

QString progressInfo(Registry *registry, const QString &id)
{
    const QString text = progressText(registry, id);
    if (text.startsWith(QLatin1String("Error"))) {
        base::debugLine("Request:", id, " : ", text);
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
    // Deliberate: a chunk is judged by its first bytes and kept whole. A progress chunk clears the
    // last message, any other replaces it, so that the last chunk decides the answer.
    if (chunk.startsWith(tool::progressMarker.latin1())) {
        setProgressText(registry, requestId, base::utf8Text(chunk));
        lastStdOutMsg.clear();
    } else {
        lastStdOutMsg = base::utf8Text(chunk);
    }
}

} // namespace jobs
