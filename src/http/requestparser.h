#pragma once

#include "http/headerscanner.h"
#include "http/qhttpserverrequest.h"

#include <memory>

namespace http {

// Request line and fields together; a longer head is refused.
constexpr int largestHead = 64 * 1024;

// One line of chunk framing, or all trailer lines; longer ones are refused like a head.
constexpr int largestChunkFraming = 64 * 1024;

// The most that a QByteArray takes, with its header and its terminator.
constexpr qint64 largestBody =
    std::numeric_limits<int>::max() - static_cast<qint64>(sizeof(QByteArrayData)) - 1;

// Makes requests of the bytes of one connection (RFC 9112), one after the other. Knows nothing of
// sockets or answers. Belongs to the connection's thread.
class RequestParser
{
public:
    enum class Result
    {
        NeedsMore,
        Complete, // the request can be taken
        Malformed, // the bytes are no request, or their framing could be read in two ways
        HeadTooLarge, // see largestHead and largestChunkFraming
        BodyTooLarge, // a length, a chunk or all chunks together are beyond largestBody
        MethodUnknown, // well formed, but none of QHttpServerRequest::Method
        CodingUnknown, // a transfer coding before the final "chunked"
        VersionUnknown, // an HTTP version other than 1.0 and 1.1
        ExpectationUnknown, // an expectation other than "100-continue"
    };

    RequestParser();
    ~RequestParser();
    RequestParser(const RequestParser &) = delete;
    RequestParser &operator=(const RequestParser &) = delete;

    // Takes the next bytes; `*consumed` says how many. Fewer than `size` only with Complete (the
    // rest belongs to the next request) and with rejections, after which nothing more is taken.
    // Throws std::bad_alloc when there is no memory for the body.
    Result parse(const char *data, qint64 size, qint64 *consumed);

    // Room for the next bytes of a Content-Length body, to be read into without a copy in
    // between; null while the parser awaits anything else. `*size` is at least 1.
    char *bodySpace(qint64 *size);

    // So many bytes were written to bodySpace().
    Result bodyWritten(qint64 size);

    // Whether a head has begun and is not whole yet.
    [[nodiscard]] bool headBegun() const;

    // Which piece of framing has begun and is not whole yet: a head, a line of chunk framing, or
    // the last chunk with its trailers. 0 for none; otherwise a number that no other piece on this
    // connection has. The data of a body is not framing.
    [[nodiscard]] qint64 unfinishedFraming() const;

    // Once true for a request that expects "100-continue", has its head whole and of its body
    // nothing yet (RFC 9110 section 10.1.1).
    [[nodiscard]] bool takeContinue();

    // Of the request that was read or rejected last; Unknown before. From a rejected request line
    // only HEAD is recognised: its response has no body (RFC 9110 section 9.3.2).
    [[nodiscard]] QHttpServerRequest::Method method() const;

    // After Complete. The parser is then ready for the next request.
    [[nodiscard]] QHttpServerRequest takeRequest();

private:
    class Head; // the audited parser, which this header does not show

    enum class State
    {
        Head,
        LengthBody,
        ChunkedBody,
        Done,
    };

    Result takeHead(const char *data, qint64 size, qint64 *consumed);
    Result requestLineDone();
    Result headDone();
    Result takeLengthBody(const char *data, qint64 size, qint64 *consumed);
    Result takeChunks(const char *data, qint64 size, qint64 *consumed);
    [[nodiscard]] bool chunkFramingBegun() const;
    [[nodiscard]] bool leavesQuoteOpen();
    [[nodiscard]] bool trailersMayBeWhole();
    void startRequest();
    void growBody();

    State m_state = State::Head;
    HeaderScanner m_guard;
    QByteArray m_bytes; // of the head, or of chunk framing that is not whole yet
    int m_searched = 0; // of chunk framing: before this byte ends nothing that is awaited
    bool m_awaitsTrailers = false; // the line of the last chunk is whole
    qint64 m_framingsDone = 0; // on this connection
    int m_headFed = 0; // how many of them m_head has seen
    std::unique_ptr<Head> m_head;
    QHttpServerRequest m_request;
    qint64 m_length = 0; // of the whole body, where it was told
    qint64 m_received = 0; // of it so far; the body may be larger by room for more
    bool m_owesContinue = false;
};

} // namespace http
