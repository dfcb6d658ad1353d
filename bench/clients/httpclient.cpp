#include "bench/clients/httpclient.h"

#include <arpa/inet.h>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string_view>
#include <strings.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace bench {

namespace {

constexpr std::size_t readStep = 262144;
constexpr std::size_t longestHead = 65536;

// 127.0.1.1, 127.0.2.1 and so on, in turn.
sockaddr_in nextSourceAddress()
{
    constexpr std::uint32_t addresses = 200;
    static std::atomic<std::uint32_t> count{0};
    sockaddr_in address = localAddress(0);
    const std::uint32_t turn = 1 + (count.fetch_add(1) % addresses);
    address.sin_addr.s_addr = htonl(0x7f000001U + (turn << 8U));
    return address;
}

// The value of a field; also 0 when there is none.
std::uint64_t numberOf(const std::string &head, const char *field, std::size_t length)
{
    for (std::size_t line = head.find("\r\n"); line + 2 < head.size();
         line = head.find("\r\n", line + 2)) {
        if (::strncasecmp(head.c_str() + line + 2, field, length) == 0) {
            return std::strtoull(head.c_str() + line + 2 + length, nullptr, 10);
        }
    }
    return 0;
}

const sockaddr *generic(const sockaddr_in *address)
{
    return reinterpret_cast<const sockaddr *>(address); // as the system's interface requires
}

} // namespace

sockaddr_in localAddress(std::uint16_t port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

void raiseDescriptorLimit()
{
    rlimit limit = {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        (void)::setrlimit(RLIMIT_NOFILE, &limit); // if it fails, connecting shows that
    }
}

std::string requestHead(const std::string &method, const std::string &path, std::uint64_t bodySize)
{
    std::string head = method + ' ' + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\n";
    if (bodySize > 0) {
        head += "Content-Length: " + std::to_string(bodySize) + "\r\n";
    }
    return head + "\r\n";
}

AnswerReader::State AnswerReader::read(int descriptor)
{
    static thread_local std::array<char, readStep> buffer;
    const ssize_t count = ::recv(descriptor, buffer.data(), buffer.size(), 0);
    if (count < 0) {
        return errno == EAGAIN || errno == EINTR ? State::NeedsMore : State::Failed;
    }
    if (count == 0) {
        return State::Failed;
    }
    const char *body = buffer.data();
    auto bytes = static_cast<std::uint64_t>(count);
    if (!m_inBody) {
        m_head.append(buffer.data(), static_cast<std::size_t>(count));
        const std::size_t end = m_head.find("\r\n\r\n");
        if (end == std::string::npos) {
            return m_head.size() > longestHead ? State::Failed : State::NeedsMore;
        }
        bytes = m_head.size() - end - 4;
        body += static_cast<std::uint64_t>(count) - bytes;
        m_head.resize(end + 2);
        m_body.clear();
        if (!takeHead()) {
            return State::Failed;
        }
    }
    if (bytes > m_missing) {
        return State::Failed; // more than was requested
    }
    m_missing -= bytes;
    if (m_keepsBody) {
        m_body.append(body, bytes);
    }
    if (m_missing > 0) {
        return State::NeedsMore;
    }
    m_head.clear();
    m_inBody = false;
    return State::Complete;
}

bool AnswerReader::takeHead()
{
    constexpr std::size_t statusAt = 9; // "HTTP/1.1 "
    if (m_head.size() < statusAt || m_head.compare(0, 5, "HTTP/") != 0) {
        return false;
    }
    static constexpr std::string_view length = "Content-Length:";
    m_status = std::atoi(m_head.c_str() + statusAt); // NOLINT(cert-err34-c): 0 is no status
    m_bodySize = numberOf(m_head, length.data(), length.size());
    m_missing = m_bodySize;
    m_inBody = true;
    return true;
}

HttpClient::HttpClient(std::uint16_t port)
    : m_descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    if (m_descriptor < 0) {
        return;
    }
    const int on = 1;
    (void)::setsockopt(m_descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    (void)::setsockopt(m_descriptor, IPPROTO_IP, IP_BIND_ADDRESS_NO_PORT, &on, sizeof on);
    const sockaddr_in source = nextSourceAddress();
    const sockaddr_in server = localAddress(port);
    m_connected = ::bind(m_descriptor, generic(&source), sizeof source) == 0
        && ::connect(m_descriptor, generic(&server), sizeof server) == 0;
}

HttpClient::~HttpClient()
{
    if (m_descriptor >= 0) {
        ::close(m_descriptor);
    }
}

bool HttpClient::isConnected() const
{
    return m_connected;
}

int HttpClient::descriptor() const
{
    return m_descriptor;
}

bool HttpClient::send(const char *data, std::size_t size)
{
    std::size_t done = 0;
    while (m_connected && done < size) {
        const ssize_t count = ::send(m_descriptor, data + done, size - done, MSG_NOSIGNAL);
        if (count < 0 && errno != EINTR) {
            m_connected = false;
        }
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return m_connected;
}

int HttpClient::receive()
{
    AnswerReader::State state = AnswerReader::State::NeedsMore;
    while (m_connected && state == AnswerReader::State::NeedsMore) {
        state = m_reader.read(m_descriptor);
    }
    m_connected = m_connected && state == AnswerReader::State::Complete;
    return m_connected ? m_reader.status() : 0;
}

int HttpClient::ask(const std::string &request)
{
    return send(request.data(), request.size()) ? receive() : 0;
}

} // namespace bench
