// Making a response head and deriving a body's content type.
#include "http/qhttpserverresponse.h"

#include <benchmark/benchmark.h>

namespace {

void responseHead(benchmark::State &state)
{
    const QHttpServerResponse response("vondServer: Hello world");
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the library's way
        benchmark::DoNotOptimize(http::responseHead(response, http::Persistence::KeepAlive));
    }
}

void responseOfText(benchmark::State &state)
{
    const QString text = QStringLiteral("Progress: 42%\n");
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the library's way
        benchmark::DoNotOptimize(QHttpServerResponse(text));
    }
}

void responseOfBytes(benchmark::State &state)
{
    const QByteArray bytes(static_cast<int>(state.range(0)), 'x');
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the library's way
        benchmark::DoNotOptimize(QHttpServerResponse(QByteArray(bytes)));
    }
}

BENCHMARK(responseHead);
BENCHMARK(responseOfText);
BENCHMARK(responseOfBytes)->Arg(12)->Arg(8388608);

} // namespace
