#include "server/lingeringclients.h"

#include "http/connection.h"

#include <QMutexLocker>
#include <QSocketNotifier>
#include <QTcpSocket>

#include <algorithm>
#include <array>
#include <new>

#ifdef Q_OS_LINUX
#include <cerrno>
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace {

// Whether the client has closed its side, or the connection is broken. Discards input without
// copying it (tcp(7), MSG_TRUNC).
bool hasEnded(int descriptor)
{
    constexpr std::size_t most = 16777216; // for one turn of the event loop
    const ssize_t count = ::recv(descriptor, nullptr, most, MSG_TRUNC | MSG_DONTWAIT);
    return count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR);
}

} // namespace

LingeringClients::LingeringClients(QObject *server)
    : QObject(server)
{
    m_poll = ::epoll_create1(EPOLL_CLOEXEC);
    m_timer = ::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    if (m_poll < 0 || m_timer < 0 || !listenTo(m_timer)) {
        return; // take() will always fail
    }
    auto *const notifier = new QSocketNotifier(m_poll, QSocketNotifier::Read, this);
    connect(notifier, SIGNAL(activated(int)), this, SLOT(handleActivity()), Qt::DirectConnection);
}

LingeringClients::~LingeringClients()
{
    for (const auto &client : m_clients) {
        (void)::close(client.first);
    }
    (void)::close(m_timer);
    (void)::close(m_poll);
}

bool LingeringClients::take(const QTcpSocket &socket)
{
    const int descriptor = ::fcntl(static_cast<int>(socket.socketDescriptor()), F_DUPFD_CLOEXEC, 0);
    if (descriptor < 0) {
        return false;
    }
    try {
        if (add(descriptor)) {
            return true;
        }
    } catch (const std::bad_alloc &) { // NOLINT(bugprone-empty-catch): the caller waits instead
    }
    (void)::close(descriptor);
    return false;
}

bool LingeringClients::add(int descriptor)
{
    const QMutexLocker lock(&m_mutex);
    const auto [client, isNew] = m_clients.try_emplace(descriptor);
    client->second.deadline.setRemainingTime(http::lingerMs);
    if (!listenTo(descriptor)) {
        m_clients.erase(client);
        return false;
    }
    if (!m_timerRuns) {
        wakeAt(client->second.deadline);
    }
    return true;
}

bool LingeringClients::listenTo(int descriptor) const
{
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    return ::epoll_ctl(m_poll, EPOLL_CTL_ADD, descriptor, &event) == 0;
}

void LingeringClients::wakeAt(const QDeadlineTimer &deadline)
{
    constexpr qint64 inASecond = 1000000000;
    const qint64 at = std::max(deadline.deadlineNSecs(), qint64(1)); // 0 would stop the timer
    itimerspec when = {};
    when.it_value.tv_sec = at / inASecond;
    when.it_value.tv_nsec = at % inASecond;
    m_timerRuns = ::timerfd_settime(m_timer, TFD_TIMER_ABSTIME, &when, nullptr) == 0;
}

void LingeringClients::handleActivity()
{
    std::array<epoll_event, 64> events = {};
    const int count = ::epoll_wait(m_poll, events.data(), events.size(), 0);
    const QMutexLocker lock(&m_mutex);
    for (int i = 0; i < count; ++i) {
        const int descriptor = events.at(static_cast<std::size_t>(i)).data.fd;
        if (descriptor == m_timer) {
            closeLate();
        } else if (m_clients.count(descriptor) > 0 && hasEnded(descriptor)) {
            m_clients.erase(descriptor);
            (void)::close(descriptor);
        }
    }
}

// Closes those whose time is over and sets the timer for the next one.
void LingeringClients::closeLate()
{
    quint64 times = 0;
    static_cast<void>(::read(m_timer, &times, sizeof times) < 0); // it is quiet then
    m_timerRuns = false;
    QDeadlineTimer next(QDeadlineTimer::Forever);
    for (auto client = m_clients.begin(); client != m_clients.end();) {
        if (client->second.deadline.hasExpired()) {
            (void)::close(client->first);
            client = m_clients.erase(client);
        } else {
            next = std::min(next, client->second.deadline);
            ++client;
        }
    }
    if (!next.isForever()) {
        wakeAt(next);
    }
}

#else

LingeringClients::LingeringClients(QObject *server)
    : QObject(server)
{
}

LingeringClients::~LingeringClients() = default;

bool LingeringClients::take(const QTcpSocket & /*socket*/)
{
    return false;
}

void LingeringClients::handleActivity() { }

#endif
