// The HTTP layer: the same bytes whole, cut into arbitrary pieces, and byte by byte must make the
// same requests and end the same way.
#include "http/qhttpserverresponse.h"
#include "http/requestparser.h"
#include "tests/fuzz/property.h"
#include "tests/fuzz/target.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

namespace {

using http::RequestParser;

struct Outcome
{
    QVector<QHttpServerRequest> requests;
    RequestParser::Result last = RequestParser::Result::NeedsMore;
    bool noMemory = false;
};

// Feeds pieces of the lengths that `cuts` gives, in turn; without cuts all at once.
Outcome feed(const QByteArray &bytes, const QByteArray &cuts, bool direct)
{
    RequestParser parser;
    Outcome outcome;
    int cut = 0;
    int at = 0;
    try {
        while (at < bytes.size()) {
            const int length = cuts.isEmpty()
                ? bytes.size()
                : 1 + static_cast<unsigned char>(cuts.at(cut++ % cuts.size()));
            const int end = std::min(bytes.size(), at + length);
            while (at < end) {
                qint64 room = 0;
                char *const space = direct ? parser.bodySpace(&room) : nullptr;
                qint64 consumed = 0;
                if (space != nullptr) {
                    mustHold(room > 0, "there is room where a body is awaited");
                    consumed = std::min<qint64>(room, end - at);
                    std::memcpy(space, bytes.constData() + at, static_cast<std::size_t>(consumed));
                    outcome.last = parser.bodyWritten(consumed);
                } else {
                    outcome.last = parser.parse(bytes.constData() + at, end - at, &consumed);
                }
                mustHold(consumed >= 0 && consumed <= end - at, "no more is taken than was given");
                at += static_cast<int>(consumed);
                if (outcome.last == RequestParser::Result::Complete) {
                    outcome.requests.append(parser.takeRequest());
                } else if (outcome.last != RequestParser::Result::NeedsMore) {
                    return outcome;
                } else {
                    mustHold(at == end, "all is taken where more is needed");
                }
            }
        }
    } catch (const std::bad_alloc &) { // a length that no byte array holds
        outcome.noMemory = true;
    }
    return outcome;
}

void mustEqual(const Outcome &one, const Outcome &other)
{
    mustHold(one.noMemory == other.noMemory, "memory is refused however the bytes are cut");
    mustHold(one.noMemory || one.last == other.last, "the end is the same however they are cut");
    mustHold(one.requests.size() == other.requests.size(), "the requests are as many");
    for (int i = 0; i < one.requests.size(); ++i) {
        const QHttpServerRequest &a = one.requests.at(i);
        const QHttpServerRequest &b = other.requests.at(i);
        mustHold(a.method() == b.method() && a.url() == b.url() && a.headers() == b.headers()
                     && a.body() == b.body() && a.keepsAlive() == b.keepsAlive(),
                 "each request is the same however the bytes are cut");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size < 1) {
        return 0;
    }
    // The first byte says how many of the next are lengths of pieces; the rest is what is sent.
    const auto *const text = reinterpret_cast<const char *>(data);
    const auto cutCount = static_cast<int>(std::min<std::size_t>(data[0] % 16, size - 1));
    const QByteArray cuts(text + 1, cutCount);
    const QByteArray bytes(text + 1 + cutCount, static_cast<int>(size) - 1 - cutCount);

    const Outcome whole = feed(bytes, {}, false);
    mustEqual(whole, feed(bytes, {}, true));
    mustEqual(whole, feed(bytes, cuts, false));
    mustEqual(whole, feed(bytes, cuts, true));
    mustEqual(whole, feed(bytes, QByteArray(1, '\0'), false));
    for (const QHttpServerRequest &request : whole.requests) {
        const QByteArray head = http::responseHead(request.url().path(QUrl::FullyDecoded),
                                                   http::persistenceOf(request));
        mustHold(head.count("\r\n\r\n") == 1 && head.endsWith("\r\n\r\n"), "an answer is one head");
    }
    return 0;
}
