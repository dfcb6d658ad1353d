#include "diagnostics/sleep.h"

#include <QDebug>
#include <QThread>
#include <QUuid>

namespace diagnostics {

namespace {

QString newRequestId()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

void registerSleeper(jobs::Registry *registry, const QString &id, const QString &text)
{
    jobs::registerRequest(registry, id);
    jobs::setProgressText(registry, id, text);
}

} // namespace

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
    const QString id = newRequestId(); // only the log tells it
    qDebug() << "Sleep10-ReqID:" << id;
    registerSleeper(registry, id, QStringLiteral("going to sleep for 10 secs"));
    QThread::sleep(10);
    return "Hello world, slept 10secs";
}

const char *sleep20secs(jobs::Registry *registry)
{
    const QString id = newRequestId(); // only the log tells it
    qDebug() << "Sleep20-ReqID:" << id;
    registerSleeper(registry, id, QStringLiteral("going to sleep for 20 secs"));
    QThread::sleep(20);
    return "Hello world, slept 20secs";
}

} // namespace diagnostics
