#pragma once

#include <cstdint>
#include <string>

struct sockaddr_in;

namespace bench {

// The address of a server on this machine.
[[nodiscard]] sockaddr_in localAddress(std::uint16_t port);

// Raises this process's descriptor limit to the system's maximum.
void raiseDescriptorLimit();

// The head of a request, including the empty line.
[[nodiscard]] std::string
requestHead(const std::string &method, const std::string &path, std::uint64_t bodySize = 0);

// Reads one response with a Content-Length from a connection, piece by piece. Keeps its body only
// on request.
class AnswerReader
{
public:
    enum class State
    {
        NeedsMore,
        Complete, // and ready for the next one
        Failed, // the connection has ended, or this is not a response with a Content-Length
    };

    // Reads what there is, or waits for it if the descriptor blocks.
    State read(int descriptor);

    [[nodiscard]] int status() const
    {
        return m_status;
    }

    [[nodiscard]] std::uint64_t bodySize() const
    {
        return m_bodySize;
    }

    // From the next response on.
    void keepBodies()
    {
        m_keepsBody = true;
    }

    // Of the last response, if bodies are kept.
    [[nodiscard]] const std::string &body() const
    {
        return m_body;
    }

private:
    bool takeHead();

    std::string m_head;
    std::string m_body;
    bool m_keepsBody = false;
    bool m_inBody = false;
    int m_status = 0;
    std::uint64_t m_bodySize = 0;
    std::uint64_t m_missing = 0;
};

// One connection that waits for each response. Successive connections come from different loopback
// addresses, so that the system does not run out of ports.
class HttpClient
{
public:
    explicit HttpClient(std::uint16_t port);
    ~HttpClient();
    HttpClient(const HttpClient &) = delete;
    HttpClient &operator=(const HttpClient &) = delete;

    [[nodiscard]] bool isConnected() const;
    [[nodiscard]] int descriptor() const;

    bool send(const char *data, std::size_t size);

    // The status of the response, 0 when there was none.
    int receive();

    // Both at once.
    int ask(const std::string &request);

    [[nodiscard]] std::uint64_t bodySize() const
    {
        return m_reader.bodySize();
    }

    [[nodiscard]] AnswerReader &reader()
    {
        return m_reader;
    }

private:
    int m_descriptor = -1;
    bool m_connected = false;
    AnswerReader m_reader;
};

} // namespace bench
