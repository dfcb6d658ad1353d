// A route table as long as the service's: building it, as every connection does, and walking it.
#include "http/qhttpserverrouter.h"
#include "http/requestparser.h"

#include <QString>

#include <array>
#include <benchmark/benchmark.h>

namespace {

constexpr std::array<const char *, 21> paths = {
    "/",
    "/sleep90secs",
    "/sleep2secs",
    "/sleep10secs",
    "/sleep20secs",
    "/text",
    "/memtest",
    "/vondServerVersion",
    "/upload/<arg>",
    "/getLogFile",
    "/progressInf/<arg>",
    "/progressInfo/<arg>",
    "/progressTest",
    "/version",
    "/listconfigurations",
    "/configDetails/<arg>",
    "/cancelConversion/<arg>",
    "/convert",
    "/getConversionResult/<arg>",
    "/convertWithLocalData",
    "/vond",
};

void addRow(QHttpServerRouter *router, const QString &path, int *hits)
{
    const auto count = [hits](const QRegularExpressionMatch &,
                              const QHttpServerRequest &,
                              QTcpSocket *) { ++*hits; };
    auto rule = std::make_unique<QHttpServerRouterRule>(path, count);
    const auto withArgument = [](const QString &) { return ""; };
    const auto without = [] { return ""; };
    const bool added = rule->argumentCount() > 0
        ? router->addRule<decltype(withArgument)>(std::move(rule))
        : router->addRule<decltype(without)>(std::move(rule));
    if (!added) {
        qFatal("the row does not fit");
    }
}

void fill(QHttpServerRouter *router, int *hits)
{
    for (const char *const path : paths) {
        addRow(router, QString::fromLatin1(path), hits);
    }
}

QHttpServerRequest requestFor(const QByteArray &path)
{
    http::RequestParser parser;
    const QByteArray bytes = "GET " + path + " HTTP/1.1\r\nHost: a\r\n\r\n";
    qint64 consumed = 0;
    if (parser.parse(bytes.constData(), bytes.size(), &consumed)
        != http::RequestParser::Result::Complete) {
        qFatal("not a request");
    }
    return parser.takeRequest();
}

void walk(benchmark::State &state, const QByteArray &path, bool matches)
{
    int hits = 0;
    QHttpServerRouter router;
    fill(&router, &hits);
    const QHttpServerRequest request = requestFor(path);
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the library's way
        if (router.handleRequest(request, nullptr) != matches) {
            state.SkipWithError("the wrong row");
            break;
        }
    }
}

void routerFirstRow(benchmark::State &state)
{
    walk(state, "/", true);
}

void routerRowWithArgument(benchmark::State &state)
{
    walk(state, "/progressInfo/job-1", true);
}

void routerLastRow(benchmark::State &state)
{
    walk(state, "/vond", true);
}

void routerNoRow(benchmark::State &state)
{
    walk(state, "/favicon.ico", false);
}

void routerBuildTable(benchmark::State &state)
{
    int hits = 0;
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the library's way
        QHttpServerRouter router;
        fill(&router, &hits);
        benchmark::DoNotOptimize(router);
    }
}

BENCHMARK(routerFirstRow);
BENCHMARK(routerRowWithArgument);
BENCHMARK(routerLastRow);
BENCHMARK(routerNoRow);
BENCHMARK(routerBuildTable);

} // namespace
