#pragma once

#include "http/headerscanner.h"
#include "http/qhttpserverrequest.h"

#include <memory>

namespace http {

// Request line and fields together; a longer head is rejected.
constexpr int largestHead = 64 * 1024;

// One line of chunk framing, or all trailer lines; longer ones are rejected like a head.
constexpr int largestChunkFraming = 64 * 1024;

// The most that fits into a QByteArray, with its header and its terminator.
constexpr qint64 largestBody =
    std::numeric_limits<int>::max() - static_cast<qint64>(sizeof(QByteArrayData)) - 1;

// Parses the bytes of one connection into requests (RFC 9112), one after the other. Knows nothing
// about sockets or responses. To be used in the connection's thread.
class RequestParser
{
public:
    enum class Result
    {
        NeedsMore,
        Complete, // the request can be taken
        Malformed, // the bytes are not a request, or their framing is ambiguous
        HeadTooLarge, // see largestHead and largestChunkFraming
        BodyTooLarge, // a length, a chunk or the sum of the chunks exceeds largestBody
        MethodUnknown, // well formed, but none of QHttpServerRequest::Method
        CodingUnknown, // a transfer coding before the final "chunked"
        VersionUnknown, // an HTTP version other than 1.0 and 1.1
        ExpectationUnknown, // an expectation other than "100-continue"
    };

    RequestParser();
    ~RequestParser();
    RequestParser(const RequestParser &) = delete;
    RequestParser &operator=(const RequestParser &) = delete;

    // Consumes the next bytes and sets `*consumed` to their number. That is less than `size` only
    // for Complete (the rest belongs to the next request) and for rejections, after which nothing
    // more is consumed. Throws std::bad_alloc when there is no memory for the body.
    Result parse(const char *data, qint64 size, qint64 *consumed);

    // Space for the next bytes of a Content-Length body, so that they can be read without an extra
    // copy; null while the parser expects anything else. `*size` is at least 1.
    char *bodySpace(qint64 *size);

    // Call after writing `size` bytes to bodySpace().
    Result bodyWritten(qint64 size);

    // Whether a head has begun and is not complete.
    [[nodiscard]] bool headBegun() const;

    // Which piece of framing has begun and is not complete: a head, a line of chunk framing, or the
    // last chunk with its trailers. 0 for none; otherwise a number that is unique to this piece on
    // this connection. Body data is not framing.
    [[nodiscard]] qint64 unfinishedFraming() const;

    // True once for a request that expects "100-continue" when its head is complete and none of its
    // body has arrived (RFC 9110 section 10.1.1).
    [[nodiscard]] bool takeContinue();

    // The method of the last request that was read or rejected; Unknown before. From a rejected
    // request line only HEAD is recognised: its response has no body (RFC 9110 section 9.3.2).
    [[nodiscard]] QHttpServerRequest::Method method() const;

    // To be called after Complete. The parser is then ready for the next request.
    [[nodiscard]] QHttpServerRequest takeRequest();

private:
    class Head; // wraps Boost.Beast, which this header does not expose

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
    HeaderScanner m_scanner;
    QByteArray m_bytes; // of the head, or of incomplete chunk framing
    int m_searched = 0; // in chunk framing: no awaited end lies before this byte
    bool m_awaitsTrailers = false; // the line of the last chunk is complete
    qint64 m_framingsDone = 0; // on this connection
    int m_headFed = 0; // how many of m_bytes m_head has seen
    std::unique_ptr<Head> m_head;
    QHttpServerRequest m_request;
    qint64 m_length = 0; // the Content-Length
    qint64 m_received = 0; // bytes of the body so far; the array may be larger
    bool m_owesContinue = false;
};

} // namespace http
