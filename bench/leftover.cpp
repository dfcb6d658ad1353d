// What finished connections leave behind: the service's own server in this process, and clients
// that connect, send one request (with the content of a file as body, if one is named) and
// disconnect. Prints the growth of heap and resident memory.
#include "app/backlog.h"
#include "app/freedmemory.h"
#include "bench/clients/httpclient.h"
#include "bench/clients/words.h"
#include "server/vondserver.h"

#include <QCoreApplication>
#include <QHostAddress>
#include <QThread>
#include <QTimer>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <malloc.h>
#include <unistd.h>

namespace {

void dropMessage(QtMsgType /*type*/,
                 const QMessageLogContext & /*context*/,
                 const QString & /*text*/)
{
}

std::string bodyFrom(const std::vector<std::string> &file)
{
    if (file.empty()) {
        return {};
    }
    std::ifstream content(file.front(), std::ios::binary);
    return {std::istreambuf_iterator<char>(content), std::istreambuf_iterator<char>()};
}

struct Use
{
    double heap = 0;
    double resident = 0;
};

Use useNow()
{
    const struct mallinfo2 heap = ::mallinfo2(); // of all threads' heaps together
    std::ifstream file("/proc/self/statm");
    double whole = 0;
    double resident = 0;
    file >> whole >> resident;
    return {static_cast<double>(heap.uordblks + heap.hblkhd),
            resident * static_cast<double>(::sysconf(_SC_PAGESIZE))};
}

void connectOneByOne(std::uint16_t port, const std::string &request, std::uint64_t count)
{
    for (std::uint64_t i = 0; i < count; ++i) {
        if (bench::HttpClient(port).ask(request) != 200) {
            bench::fail("a client was not answered");
        }
    }
}

// The threads of connections that have just ended may not have finished yet.
void waitUntilThreadsEnded(const QObject &server)
{
    while (!server.findChildren<QThread *>().isEmpty()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
}

void runClients(VondServer *server, const std::string &request, std::uint64_t count)
{
    const std::uint16_t port = server->serverPort();
    QThread *const clients = QThread::create(connectOneByOne, port, request, count);
    QObject::connect(
        clients, &QThread::finished, QCoreApplication::instance(), &QCoreApplication::quit);
    clients->start();
    (void)QCoreApplication::exec();
    clients->wait();
    delete clients;
    waitUntilThreadsEnded(*server);
}

} // namespace

int main(int argc, char **argv)
{
    ::setenv("QT_NO_GLIB", "1", 1); // as the service runs; NOLINT(concurrency-mt-unsafe): first
    QCoreApplication application(argc, argv);
    const bench::Words words(argc, argv, 3, "bench_leftover COUNT PATH TOOL [BODYFILE]");
    qInstallMessageHandler(dropMessage);
    app::returnFreedMemory();
    VondServer server(QString::fromStdString(words.text(2)));
    if (app::listenWithLongBacklog(&server, QHostAddress::LocalHost, 0)) {
        bench::fail("cannot listen");
    }

    constexpr std::uint64_t toWarmUp = 1000;
    const std::string body = bodyFrom(words.from(3));
    const std::string request =
        bench::requestHead(body.empty() ? "GET" : "POST", words.text(1), body.size()) + body;
    const std::uint64_t count = words.number(0);
    runClients(&server, request, toWarmUp);
    const Use before = useNow();
    runClients(&server, request, count);
    const Use after = useNow();
    const auto each = [count](double more) { return more / static_cast<double>(count); };
    (void)std::printf("left by each of %llu connections: heap %.0f bytes, resident %.0f bytes\n",
                      static_cast<unsigned long long>(count),
                      each(after.heap - before.heap),
                      each(after.resident - before.resident));
    return 0;
}
