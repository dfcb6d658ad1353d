#include "diagnostics/sleep.h"

#include <QDebug>
#include <QThread>
#include <QUuid>

namespace diagnostics {

void announceSleeper(jobs::Registry *registry, const char *label, const QString &text)
{
    const QString id = QUuid::createUuid().toString(QUuid::WithoutBraces);
    qDebug() << label << id;
    jobs::registerRequest(registry, id);
    jobs::setProgressText(registry, id, text);
}

const char *sleep2secs()
{
    QThread::sleep(2);
    return "Hello world, slept 2secs";
}

const char *sleep90secs()
{
    QThread::sleep(90);
    return "Hello world, slept 90secs";
}

const char *sleep10secs(jobs::Registry *registry)
{
    announceSleeper(registry, "Sleep10-ReqID:", QStringLiteral("going to sleep for 10 secs"));
    QThread::sleep(10);
    return "Hello world, slept 10secs";
}

const char *sleep20secs(jobs::Registry *registry)
{
    announceSleeper(registry, "Sleep20-ReqID:", QStringLiteral("going to sleep for 20 secs"));
    QThread::sleep(20);
    return "Hello world, slept 20secs";
}

} // namespace diagnostics
