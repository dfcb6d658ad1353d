#include "http/requestparser.h"

#include "base/hugepages.h"
#include "http/fieldrules.h"

#include <boost/asio/buffer.hpp>
#include <boost/beast/http/basic_parser.hpp>

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace http {

namespace beast = boost::beast;

namespace {

// A Content-Length body gets its memory in steps, so that a large length alone allocates little.
constexpr qint64 firstBodyStep = 1048576;

// The first chunk is held back from Beast until it is as long as the shortest last chunk ("0", CR
// LF, CR LF), because Beast assumes that many bytes.
constexpr int shortestChunkedBody = 5;

QByteArray bytesOf(beast::string_view text)
{
    return {text.data(), static_cast<int>(text.size())};
}

bool holdsControl(beast::string_view text)
{
    return std::any_of(text.begin(), text.end(), [](char c) {
        const auto value = static_cast<unsigned char>(c);
        return (value < 0x20 && c != '\t') || value == 0x7f;
    });
}

QHttpServerRequest::Method methodOf(beast::http::verb verb)
{
    using Method = QHttpServerRequest::Method;
    switch (verb) {
    case beast::http::verb::get:
        return Method::Get;
    case beast::http::verb::put:
        return Method::Put;
    case beast::http::verb::delete_:
        return Method::Delete;
    case beast::http::verb::post:
        return Method::Post;
    case beast::http::verb::head:
        return Method::Head;
    case beast::http::verb::options:
        return Method::Options;
    case beast::http::verb::patch:
        return Method::Patch;
    default:
        return Method::Unknown;
    }
}

// Whether a request line, without CR LF, ends in a valid version other than 1.0 and 1.1.
bool namesOtherVersion(const QByteArray &requestLine)
{
    const QByteArray version = requestLine.mid(requestLine.lastIndexOf(' ') + 1);
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    return version.size() == 8 && version.startsWith("HTTP/") && isDigit(version.at(5))
        && version.at(6) == '.' && isDigit(version.at(7)) && version != "HTTP/1.0"
        && version != "HTTP/1.1";
}

// Whether a chunk size, which is followed by something else, is zero (RFC 9112 section 7.1).
bool isZero(const char *size)
{
    const char *const end = size + std::strspn(size, "0");
    return end != size && std::strchr("123456789abcdefABCDEF", *end) == nullptr;
}

} // namespace

// Beast handles the grammar of request line and fields, lengths, and chunked coding. The callbacks
// add the rules that it leaves open.
class RequestParser::Head final : public beast::http::basic_parser<true>
{
public:
    explicit Head(QHttpServerRequest *request)
        : m_request(request)
    {
        header_limit(static_cast<std::uint32_t>(2 * largestHead)); // the real limits are ours
        body_limit(std::numeric_limits<std::uint64_t>::max());
        eager(true);
    }

    // Feeds it bytes and returns how many it consumed. Sets `*result` when they broke a rule.
    std::size_t show(const char *data, std::size_t size, Result *result)
    {
        beast::error_code error;
        m_shown = data;
        m_trailerBegin = 0;
        const std::size_t used = put(boost::asio::const_buffer(data, size), error);
        if (error && error != beast::http::error::need_more) {
            *result = m_rejection;
        } else if (m_sawLastChunk && used > m_trailerBegin) {
            m_trailer.append(data + m_trailerBegin, static_cast<int>(used - m_trailerBegin));
        }
        return used;
    }

    [[nodiscard]] bool expectsContinue() const
    {
        return m_expectsContinue;
    }

    // What followed the size and the extensions of the last chunk: the end of its line, and the
    // trailers as sent.
    [[nodiscard]] const QByteArray &trailer() const
    {
        return m_trailer;
    }

    [[nodiscard]] bool sawChunk() const
    {
        return m_sawChunk;
    }

private:
    using Text = beast::string_view;
    using Error = beast::error_code;

    void reject(Result reason, Error &error)
    {
        m_rejection = reason;
        error = beast::http::error::bad_value; // any error: the result is what counts
    }

    void
    on_request_impl(beast::http::verb verb, Text, Text target, int version, Error &error) override
    {
        m_request->m_method = methodOf(verb);
        m_request->m_target = bytesOf(target);
        m_request->m_minorVersion = version - 10;
        const bool known = m_request->m_method != QHttpServerRequest::Method::Unknown;
        const bool options = m_request->m_method == QHttpServerRequest::Method::Options;
        if (known && !isTarget(m_request->m_target, options)) {
            reject(Result::Malformed, error);
        }
    }

    void on_response_impl(int, Text, int, Error &) override { }

    void on_field_impl(beast::http::field field, Text name, Text value, Error &error) override
    {
        if (is_header_done()) {
            return; // trailer fields are ignored (RFC 9112 section 7.1.2)
        }
        m_request->m_headers.append({bytesOf(name), bytesOf(value)});
        const QByteArray &text = m_request->m_headers.last().second;
        switch (field) {
        case beast::http::field::host:
            if (m_hasHost || !isHostValue(text)) {
                reject(Result::Malformed, error);
            }
            m_hasHost = true;
            break;
        case beast::http::field::transfer_encoding:
            m_codings += listMembers(text);
            break;
        case beast::http::field::expect:
            m_expectations += listMembers(text);
            break;
        case beast::http::field::connection:
            m_connectionOptions += listMembers(text.toLower());
            break;
        default:
            break;
        }
    }

    void on_header_impl(Error &error) override
    {
        const bool current = m_request->m_minorVersion == 1;
        const Coding coding = transferCoding(m_codings);
        const Expectation expected = current ? expectation(m_expectations) : Expectation::None;
        if ((current && !m_hasHost) || coding == Coding::Malformed
            || (coding != Coding::None && !current)) {
            return reject(Result::Malformed, error);
        }
        if (coding == Coding::Unknown) {
            return reject(Result::CodingUnknown, error);
        }
        if (m_request->m_method == QHttpServerRequest::Method::Unknown) {
            return reject(Result::MethodUnknown, error);
        }
        if (expected == Expectation::Unknown) {
            return reject(Result::ExpectationUnknown, error);
        }
        m_expectsContinue = expected == Expectation::Continue;
        m_request->m_keepsAlive = !m_connectionOptions.contains("close")
            && (current || m_connectionOptions.contains("keep-alive"));
    }

    void on_body_init_impl(const boost::optional<std::uint64_t> &, Error &) override { }

    // Content-Length bodies never get here.
    std::size_t on_body_impl(Text, Error &) override
    {
        return 0;
    }

    void on_chunk_header_impl(std::uint64_t size, Text extensions, Error &error) override
    {
        m_sawChunk = true;
        if (holdsControl(extensions)) { // some read a bare line feed as the end of a line
            return reject(Result::Malformed, error);
        }
        if (size > static_cast<std::uint64_t>(largestBody - m_request->m_body.size())) {
            return reject(Result::BodyTooLarge, error);
        }
        if (size == 0) {
            m_sawLastChunk = true;
            m_trailerBegin =
                static_cast<std::size_t>(extensions.data() + extensions.size() - m_shown);
        }
    }

    std::size_t on_chunk_body_impl(std::uint64_t, Text body, Error &) override
    {
        m_request->m_body.append(body.data(), static_cast<int>(body.size()));
        return body.size();
    }

    void on_finish_impl(Error &) override { }

    QHttpServerRequest *m_request;
    Result m_rejection = Result::Malformed;
    bool m_hasHost = false;
    bool m_expectsContinue = false;
    bool m_sawChunk = false;
    bool m_sawLastChunk = false;
    const char *m_shown = nullptr; // the bytes that show() is feeding, while it runs
    std::size_t m_trailerBegin = 0; // offset in m_shown
    QByteArray m_trailer;
    QList<QByteArray> m_codings;
    QList<QByteArray> m_expectations;
    QList<QByteArray> m_connectionOptions;
};

RequestParser::RequestParser() = default;
RequestParser::~RequestParser() = default;

RequestParser::Result RequestParser::parse(const char *data, qint64 size, qint64 *consumed)
{
    *consumed = 0;
    Result result = Result::NeedsMore;
    if (m_state == State::Head) {
        result = takeHead(data, size, consumed);
    }
    if (result == Result::NeedsMore && m_state != State::Head && *consumed < size) {
        qint64 more = 0;
        result = m_state == State::LengthBody
            ? takeLengthBody(data + *consumed, size - *consumed, &more)
            : takeChunks(data + *consumed, size - *consumed, &more);
        *consumed += more;
    }
    return result;
}

RequestParser::Result RequestParser::takeHead(const char *data, qint64 size, qint64 *consumed)
{
    qint64 kept = 0; // bytes before this one are in m_bytes
    for (qint64 i = 0; i < size; ++i) {
        const HeaderScanner::Step step = m_scanner.take(data[i]);
        if (step == HeaderScanner::Step::Inside) {
            continue;
        }
        m_bytes.append(data + kept, static_cast<int>(i + 1 - kept));
        if (step == HeaderScanner::Step::Malformed) {
            return Result::Malformed;
        }
        kept = i + 1;
        *consumed = kept;
        Result result = Result::NeedsMore;
        if (m_bytes.size() > largestHead) {
            result = Result::HeadTooLarge;
        } else if (step == HeaderScanner::Step::EmptyLine) {
            m_bytes.clear();
        } else if (step == HeaderScanner::Step::RequestLineEnd) {
            result = requestLineDone();
        } else if (step == HeaderScanner::Step::HeadEnd) {
            return headDone();
        }
        if (result != Result::NeedsMore) {
            return result;
        }
    }
    m_bytes.append(data + kept, static_cast<int>(size - kept));
    *consumed = size;
    return m_bytes.size() > largestHead ? Result::HeadTooLarge : Result::NeedsMore;
}

RequestParser::Result RequestParser::requestLineDone()
{
    if (namesOtherVersion(m_bytes.left(m_bytes.size() - 2))) {
        return Result::VersionUnknown;
    }
    startRequest();
    Result result = Result::NeedsMore;
    m_headFed = static_cast<int>(
        m_head->show(m_bytes.constData(), static_cast<std::size_t>(m_bytes.size()), &result));
    return result;
}

RequestParser::Result RequestParser::headDone()
{
    Result result = Result::NeedsMore;
    (void)m_head->show(m_bytes.constData() + m_headFed,
                       static_cast<std::size_t>(m_bytes.size() - m_headFed),
                       &result);
    if (result == Result::NeedsMore && !m_head->is_header_done()) {
        // The scanner has seen the end of the head, so nothing that is missing will follow. Beast
        // does not reject a request line that ends within its version until it has enough bytes for
        // one.
        return Result::Malformed;
    }
    m_bytes.clear();
    ++m_framingsDone;
    if (result != Result::NeedsMore) {
        return result;
    }
    if (m_head->is_done()) { // no body
        m_state = State::Done;
        return Result::Complete;
    }
    m_owesContinue = m_head->expectsContinue();
    m_state = m_head->chunked() ? State::ChunkedBody : State::LengthBody;
    if (m_state == State::LengthBody) {
        const std::uint64_t length = *m_head->content_length();
        if (length > static_cast<std::uint64_t>(largestBody)) {
            return Result::BodyTooLarge;
        }
        m_length = static_cast<qint64>(length);
    }
    return Result::NeedsMore;
}

RequestParser::Result RequestParser::takeLengthBody(const char *data, qint64 size, qint64 *consumed)
{
    Result result = Result::NeedsMore;
    while (result == Result::NeedsMore && *consumed < size) {
        qint64 room = 0;
        char *const space = bodySpace(&room);
        const qint64 step = std::min(room, size - *consumed);
        std::copy_n(data + *consumed, step, space);
        *consumed += step;
        result = bodyWritten(step);
    }
    return result;
}

RequestParser::Result RequestParser::takeChunks(const char *data, qint64 size, qint64 *consumed)
{
    const int waiting = m_bytes.size();
    m_bytes.append(data, static_cast<int>(size));
    *consumed = size;
    const Result tooLong =
        m_bytes.size() > largestChunkFraming ? Result::HeadTooLarge : Result::NeedsMore;
    if ((!m_head->sawChunk() && m_bytes.size() < shortestChunkedBody) || !trailersMayBeWhole()) {
        return tooLong;
    }
    Result result = Result::NeedsMore;
    const auto used = static_cast<int>(
        m_head->show(m_bytes.constData(), static_cast<std::size_t>(m_bytes.size()), &result));
    if (result != Result::NeedsMore) {
        return result;
    }
    if (m_head->is_done()) {
        *consumed = used - waiting;
        m_bytes.clear();
        const QByteArray &trailer = m_head->trailer();
        if (trailer.contains("\r\n ") || trailer.contains("\r\n\t")) { // a folded line
            return Result::Malformed;
        }
        m_state = State::Done;
        return Result::Complete;
    }
    if (used > 0) {
        m_bytes.remove(0, used);
        m_searched = 0;
        ++m_framingsDone;
    }
    if (leavesQuoteOpen()) {
        return Result::Malformed;
    }
    return m_bytes.size() > largestChunkFraming ? Result::HeadTooLarge : Result::NeedsMore;
}

// Whether the first line of chunk framing is complete and ends inside quotes. Beast would go on
// looking for the closing quote in the lines after it.
bool RequestParser::leavesQuoteOpen()
{
    const int begin = m_bytes.startsWith("\r\n") ? 2 : 0; // the end of the chunk before
    const int end = m_bytes.indexOf("\r\n", std::max(begin, m_searched));
    if (end < 0) {
        m_searched = std::max(0, m_bytes.size() - 1); // the last byte may be half a line end
        return false;
    }
    bool inside = false;
    for (int i = begin; i < end; ++i) {
        if (m_bytes.at(i) == '"') {
            inside = !inside;
        } else if (inside && m_bytes.at(i) == '\\') {
            ++i; // the next byte is escaped
        }
    }
    // Beast accepts or rejects the line of any other chunk a few bytes later.
    const bool behindChunk = m_head->sawChunk();
    if (behindChunk == (begin > 0) && isZero(m_bytes.constData() + begin)) {
        m_awaitsTrailers = true;
        m_searched = end;
    }
    return inside;
}

// False while the end of the trailers has not arrived. Beast would parse the line before them again
// with every byte.
bool RequestParser::trailersMayBeWhole()
{
    if (!m_awaitsTrailers || m_bytes.indexOf("\r\n\r\n", m_searched) >= 0) {
        return true;
    }
    m_searched = std::max(m_searched, m_bytes.size() - 3); // which may be part of the end
    return false;
}

char *RequestParser::bodySpace(qint64 *size)
{
    if (m_state != State::LengthBody) {
        return nullptr;
    }
    if (m_received == m_request.m_body.size()) {
        growBody();
    }
    *size = m_request.m_body.size() - m_received;
    return m_request.m_body.data() + m_received;
}

void RequestParser::growBody()
{
    const auto next = static_cast<int>(std::min(m_length, std::max(firstBodyStep, 2 * m_received)));
    m_request.m_body.reserve(next); // first, because resize() alone would allocate more than needed
    base::preferHugePages(m_request.m_body.constData(), next);
    m_request.m_body.resize(next);
}

RequestParser::Result RequestParser::bodyWritten(qint64 size)
{
    m_received += size;
    if (m_received < m_length) {
        return Result::NeedsMore;
    }
    m_state = State::Done;
    return Result::Complete;
}

bool RequestParser::headBegun() const
{
    return m_state == State::Head && !m_bytes.isEmpty();
}

qint64 RequestParser::unfinishedFraming() const
{
    return headBegun() || chunkFramingBegun() ? m_framingsDone + 1 : 0;
}

bool RequestParser::chunkFramingBegun() const
{
    if (m_state != State::ChunkedBody || m_bytes.isEmpty()) {
        return false;
    }
    if (m_head->sawChunk()) {
        return m_bytes != "\r\n"; // that ends the previous chunk
    }
    if (m_bytes.size() >= shortestChunkedBody) {
        return true;
    }
    // The first line may be complete before Beast sees it.
    const int lineEnd = m_bytes.indexOf("\r\n");
    return lineEnd < 0 || m_bytes.left(lineEnd).toInt(nullptr, 16) == 0;
}

bool RequestParser::takeContinue()
{
    const bool awaitsLength = m_state == State::LengthBody && m_received == 0;
    const bool awaitsChunks =
        m_state == State::ChunkedBody && m_bytes.isEmpty() && !m_head->sawChunk();
    const bool due = m_owesContinue && (awaitsLength || awaitsChunks);
    m_owesContinue = false;
    return due;
}

QHttpServerRequest::Method RequestParser::method() const
{
    // A request line that was rejected, or is incomplete, has not been parsed.
    if (m_state == State::Head && m_bytes.startsWith("HEAD ")) {
        return QHttpServerRequest::Method::Head;
    }
    return m_request.m_method;
}

void RequestParser::startRequest()
{
    m_request = QHttpServerRequest();
    m_head = std::make_unique<Head>(&m_request);
}

QHttpServerRequest RequestParser::takeRequest()
{
    QHttpServerRequest request = std::move(m_request);
    m_request = QHttpServerRequest();
    m_head.reset();
    m_scanner = HeaderScanner();
    m_headFed = 0;
    m_searched = 0;
    m_awaitsTrailers = false;
    ++m_framingsDone;
    m_length = 0;
    m_received = 0;
    m_owesContinue = false;
    m_state = State::Head;
    return request;
}

} // namespace http
