#include "tests/support/standin.h"

#include "tests/support/ownfolders.h"

#include <QFile>

#include <cerrno>
#include <csignal>

namespace standin {

namespace {

QString notesPath()
{
    return qEnvironmentVariable("VOND_STANDIN_NOTES");
}

// The process id, then the arguments, each ended by a zero byte.
QList<QByteArray> notes()
{
    QList<QByteArray> fields = contentOf(notesPath()).split('\0');
    fields.removeLast();
    return fields;
}

} // namespace

QString path()
{
    return QStringLiteral(STANDIN_TOOL_PATH);
}

void behave(const char *behaviour, const QString &notesFolder)
{
    qputenv("VOND_STANDIN", behaviour);
    qputenv("VOND_STANDIN_NOTES",
            QFile::encodeName(notesFolder + QStringLiteral("/standin.notes")));
    QFile::remove(notesPath());
}

bool ran()
{
    return QFile::exists(notesPath());
}

QStringList arguments()
{
    QStringList texts;
    const QList<QByteArray> fields = notes().mid(1);
    for (const QByteArray &field : fields) {
        texts.append(QFile::decodeName(field));
    }
    return texts;
}

qint64 processId()
{
    return notes().value(0).toLongLong();
}

bool isAlive(qint64 processId)
{
    return ::kill(static_cast<pid_t>(processId), 0) == 0 || errno != ESRCH;
}

} // namespace standin
