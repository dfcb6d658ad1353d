// The request parser, fed as a connection feeds it.
#include "http/requestparser.h"

#include <QByteArray>

#include <benchmark/benchmark.h>
#include <cstring>

namespace {

using http::RequestParser;

constexpr int readStep = 16384; // what a connection reads at once

// As in a connection: Content-Length bodies are written into the parser's own buffer.
QHttpServerRequest parseWhole(RequestParser *parser, const QByteArray &bytes)
{
    qint64 done = 0;
    auto result = RequestParser::Result::NeedsMore;
    while (result == RequestParser::Result::NeedsMore && done < bytes.size()) {
        qint64 room = 0;
        qint64 taken = 0;
        if (char *const body = parser->bodySpace(&room)) {
            taken = qMin<qint64>(room, bytes.size() - done);
            std::memcpy(body, bytes.constData() + done, static_cast<std::size_t>(taken));
            result = parser->bodyWritten(taken);
        } else {
            const qint64 step = qMin<qint64>(readStep, bytes.size() - done);
            result = parser->parse(bytes.constData() + done, step, &taken);
        }
        done += taken;
    }
    return parser->takeRequest();
}

void parseAgainAndAgain(benchmark::State &state, const QByteArray &bytes, int bodySize)
{
    RequestParser parser;
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the library's way
        const QHttpServerRequest request = parseWhole(&parser, bytes);
        if (request.body().size() != bodySize) {
            state.SkipWithError("the request was not understood");
            break;
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * bytes.size());
}

void parserSmall(benchmark::State &state)
{
    parseAgainAndAgain(state,
                       "GET /progressInfo/job-1 HTTP/1.1\r\n"
                       "Host: 127.0.0.1:8080\r\nUser-Agent: client/1.0\r\nAccept: */*\r\n\r\n",
                       0);
}

void parserManyHeaders(benchmark::State &state)
{
    QByteArray bytes = "GET / HTTP/1.1\r\nHost: 127.0.0.1:8080\r\n";
    for (int i = 0; i < 100; ++i) {
        bytes += "X-Field-" + QByteArray::number(i) + ": a value of middling length\r\n";
    }
    parseAgainAndAgain(state, bytes + "\r\n", 0);
}

void parserLargeBody(benchmark::State &state)
{
    constexpr int size = 64 * 1024 * 1024;
    const QByteArray head = "POST /upload/a HTTP/1.1\r\nHost: 127.0.0.1:8080\r\nContent-Length: "
        + QByteArray::number(size) + "\r\n\r\n";
    parseAgainAndAgain(state, head + QByteArray(size, 'x'), size);
}

void parserChunked(benchmark::State &state)
{
    constexpr int chunks = 1024;
    constexpr int chunkSize = 4096;
    QByteArray bytes = "POST /upload/a HTTP/1.1\r\nHost: 127.0.0.1:8080\r\n"
                       "Transfer-Encoding: chunked\r\n\r\n";
    const QByteArray chunk = "1000\r\n" + QByteArray(chunkSize, 'x') + "\r\n";
    for (int i = 0; i < chunks; ++i) {
        bytes += chunk;
    }
    parseAgainAndAgain(state, bytes + "0\r\n\r\n", chunks * chunkSize);
}

BENCHMARK(parserSmall);
BENCHMARK(parserManyHeaders);
BENCHMARK(parserLargeBody)->Unit(benchmark::kMillisecond);
BENCHMARK(parserChunked)->Unit(benchmark::kMillisecond);

} // namespace
