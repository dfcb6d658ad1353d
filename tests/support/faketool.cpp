#include "tests/support/faketool.h"

#include "tests/support/ownfolders.h"

#include <QFile>
#include <QTest>

#ifdef Q_OS_WIN
#include <windows.h>
#else
#include <cerrno>
#include <csignal>
#include <sys/wait.h>
#endif

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
#ifdef Q_OS_WIN
    const HANDLE process = OpenProcess(SYNCHRONIZE, FALSE, static_cast<DWORD>(processId));
    const bool isThere = process != nullptr && WaitForSingleObject(process, 0) == WAIT_TIMEOUT;
    if (process != nullptr) {
        CloseHandle(process);
    }
    return isThere;
#else
    return ::kill(static_cast<pid_t>(processId), 0) == 0 || errno != ESRCH;
#endif
}

void waitForTheEnd()
{
#ifdef Q_OS_WIN
    while (!ran() || isAlive(processId())) {
        QTest::qSleep(1);
    }
#else
    siginfo_t info = {};
    while (::waitid(P_ALL, 0, &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) { }
#endif
}

} // namespace faketool
