#include "tests/support/faketool.h"

#include "tests/support/ownfolders.h"

#include <QFile>

#include <cerrno>
#include <csignal>

namespace faketool {

namespace {

QString notesPath()
{
    return qEnvironmentVariable("VOND_FAKETOOL_NOTES");
}

// The process id, then the arguments, each terminated by a zero byte.
QList<QByteArray> notes()
{
    QList<QByteArray> fields = contentOf(notesPath()).split('\0');
    fields.removeLast();
    return fields;
}

} // namespace

QString path()
{
    return QStringLiteral(FAKETOOL_PATH);
}

void behave(const char *behaviour, const QString &notesFolder)
{
    qputenv("VOND_FAKETOOL", behaviour);
    qputenv("VOND_FAKETOOL_NOTES",
            QFile::encodeName(notesFolder + QStringLiteral("/faketool.notes")));
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

} // namespace faketool
