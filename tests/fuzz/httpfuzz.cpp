// The HTTP layer: the same bytes in one piece, split into arbitrary pieces, and byte by byte must
// give the same requests and the same end; and the first request must match its head. No declared
// length allocates memory, and the time for a head is proportional to its size.
#include "http/qhttpserverresponse.h"
#include "http/requestparser.h"
#include "tests/fuzz/property.h"
#include "tests/fuzz/target.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <ctime>

namespace {

using http::RequestParser;

double processorSeconds()
{
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

struct Outcome
{
    QVector<QHttpServerRequest> requests;
    RequestParser::Result last = RequestParser::Result::NeedsMore;
};

// Feeds pieces with the lengths in `cuts`, in turn; without cuts everything at once.
Outcome feed(const QByteArray &bytes, const QByteArray &cuts, bool direct)
{
    RequestParser parser;
    Outcome outcome;
    int cut = 0;
    int at = 0;
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
    return outcome;
}

void mustEqual(const Outcome &one, const Outcome &other)
{
    mustHold(one.last == other.last, "the end is the same however the bytes are cut");
    mustHold(one.requests.size() == other.requests.size(), "the requests are as many");
    for (int i = 0; i < one.requests.size(); ++i) {
        const QHttpServerRequest &a = one.requests.at(i);
        const QHttpServerRequest &b = other.requests.at(i);
        mustHold(a.method() == b.method() && a.url() == b.url() && a.headers() == b.headers()
                     && a.body() == b.body() && a.keepsAlive() == b.keepsAlive(),
                 "each request is the same however the bytes are cut");
    }
}

// The value of the first field with this name, empty if there is none. Names are in lower case.
QByteArray field(const QByteArray &head, const QByteArray &name)
{
    const int at = head.toLower().indexOf("\r\n" + name + ':');
    if (at < 0) {
        return {};
    }
    const int begin = at + 3 + name.size();
    return head.mid(begin, head.indexOf("\r\n", begin) - begin).trimmed();
}

// Compares the first request with a second, much simpler parser's reading of its head.
void mustFollowItsHead(const QByteArray &bytes, const Outcome &outcome)
{
    int begin = 0;
    while (bytes.mid(begin, 2) == "\r\n") { // empty lines before a request do not count
        begin += 2;
    }
    const int end = bytes.indexOf("\r\n\r\n", begin);
    if (end < 0) {
        mustHold(outcome.requests.isEmpty(), "a request has a whole head");
        return;
    }
    const QByteArray head = bytes.mid(begin, end + 2 - begin);
    const QByteArray lengths = field(head, "content-length"); // equal ones may repeat
    const qint64 length = lengths.left((lengths + ',').indexOf(',')).toLongLong();
    const bool isChunked = !field(head, "transfer-encoding").isEmpty();
    if (outcome.requests.isEmpty()) {
        mustHold(outcome.last != RequestParser::Result::NeedsMore || isChunked || length > 0,
                 "only a body can be missing behind a whole head");
        return;
    }
    const QList<QByteArray> words = head.left(head.indexOf("\r\n")).split(' ');
    mustHold(words.size() == 3 && !words.at(0).isEmpty() && !words.at(1).isEmpty()
                 && (words.at(2) == "HTTP/1.1" || words.at(2) == "HTTP/1.0"),
             "a request line is a method, a target and a version");
    mustHold(isChunked || outcome.requests.first().body().size() == length,
             "a body is as long as its head says");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size < 1) {
        return 0;
    }
    // The first byte is the number of piece lengths that follow; the rest is what is sent.
    const auto *const text = reinterpret_cast<const char *>(data);
    const auto cutCount = static_cast<int>(std::min<std::size_t>(data[0] % 16, size - 1));
    const QByteArray cuts(text + 1, cutCount);
    const QByteArray bytes(text + 1 + cutCount, static_cast<int>(size) - 1 - cutCount);

    const double start = processorSeconds();
    const Outcome whole = feed(bytes, {}, false);
    mustFollowItsHead(bytes, whole);
    mustEqual(whole, feed(bytes, {}, true));
    mustEqual(whole, feed(bytes, cuts, false));
    mustEqual(whole, feed(bytes, cuts, true));
    mustEqual(whole, feed(bytes, QByteArray(1, '\0'), false));
    for (const QHttpServerRequest &request : whole.requests) {
        const QByteArray head = http::responseHead(request.url().path(QUrl::FullyDecoded),
                                                   http::persistenceOf(request));
        mustHold(head.count("\r\n\r\n") == 1 && head.endsWith("\r\n\r\n"), "an answer is one head");
    }
    // Parsed five times, also byte by byte, and with a sanitizer; quadratic time would be far
    // longer.
    mustHold(processorSeconds() - start < 0.1 + 1e-4 * static_cast<double>(size),
             "the time is in proportion to the input");
    return 0;
}
