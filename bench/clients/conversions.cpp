// Conversions by bench_speakingtool, many at once, each with its own picture. Counts the responses
// that are not the name printed by the conversion's own tool, and can poll meanwhile. Exits with 1
// if a response or a poll was wrong or missing.
#include "bench/clients/httpclient.h"
#include "bench/clients/samples.h"
#include "bench/clients/words.h"

#include <array>
#include <atomic>
#include <memory>
#include <sys/epoll.h>
#include <thread>

namespace {

constexpr int patienceMs = 120000; // without any response
constexpr auto pollPace = std::chrono::milliseconds(5);

struct Client
{
    std::unique_ptr<bench::HttpClient> connection;
    std::uint64_t job = 0;
    bench::Clock::time_point asked;
};

std::string nameOf(std::uint64_t job)
{
    return "picture-" + std::to_string(job);
}

class Load
{
public:
    explicit Load(bench::Words *words)
        : m_newConnections(words->takeFlag("--new-connections"))
        , m_polls(words->takeFlag("--polls"))
        , m_shows(words->takeFlag("--show"))
        , m_port(words->port(0))
        , m_clients(words->number(1))
        , m_count(words->number(2))
        , m_configuration(words->text(3) + '-' + words->text(4))
    {
        m_clients.resize(std::min<std::uint64_t>(m_clients.size(), m_count));
    }

    // Whether all went well.
    bool run()
    {
        std::unique_ptr<bench::HttpClient> polling;
        if (m_polls) { // is served before the crowd arrives
            polling = std::make_unique<bench::HttpClient>(m_port);
            (void)polling->ask(bench::requestHead("GET", "/"));
        }
        for (Client &client : m_clients) {
            connect(&client);
        }
        std::thread kept;
        std::thread fresh;
        if (m_polls) {
            kept = std::thread([&] { poll(std::move(polling), false, &m_polledKept); });
            fresh = std::thread([this] { poll(nullptr, true, &m_polledAfresh); });
        }
        const auto start = bench::Clock::now();
        for (Client &client : m_clients) {
            beginNext(&client);
        }
        takeAnswers();
        const std::chrono::duration<double> took = bench::Clock::now() - start;
        m_ended = true;
        if (m_polls) {
            kept.join();
            fresh.join();
        }
        m_times.print("conversions",
                      ", wrong " + std::to_string(m_wrong) + ", failed " + std::to_string(m_failed)
                          + ", seconds " + std::to_string(took.count()) + ", lost polls "
                          + std::to_string(m_lostPolls) + ", slowest poll "
                          + std::to_string(m_polledKept.longest())
                          + " us, slowest poll on a new connection "
                          + std::to_string(m_polledAfresh.longest()) + " us");
        return m_wrong == 0 && m_failed == 0 && m_lostPolls == 0;
    }

private:
    void connect(Client *client)
    {
        client->connection = std::make_unique<bench::HttpClient>(m_port);
        client->connection->reader().keepBodies();
        epoll_event event = {};
        event.events = EPOLLIN;
        event.data.ptr = client;
        ::epoll_ctl(m_poll, EPOLL_CTL_ADD, client->connection->descriptor(), &event);
    }

    void beginNext(Client *client)
    {
        while (m_begun < m_count) {
            client->job = m_begun++;
            const std::string body = bodyOf(client->job);
            const std::string request = bench::requestHead("POST", "/convert", body.size()) + body;
            client->asked = bench::Clock::now();
            ++m_open;
            if (client->connection->send(request.data(), request.size())) {
                return;
            }
            fail(client);
        }
    }

    [[nodiscard]] std::string bodyOf(std::uint64_t job) const
    {
        const std::string name = nameOf(job);
        std::string body = R"({"fileName": ")";
        body += name;
        body += R"(.tif", "reqestID": ")";
        body += name;
        body += R"(", "cancelID": "stop-)";
        body += name;
        body += R"(", "configuration": ")";
        body += m_configuration;
        return body += R"("})";
    }

    void fail(Client *client)
    {
        ++m_failed;
        --m_open;
        connect(client);
    }

    void takeAnswers()
    {
        std::array<epoll_event, 256> events = {};
        while (m_open > 0) {
            const int count = ::epoll_wait(m_poll, events.data(), events.size(), patienceMs);
            if (count == 0) {
                m_failed += m_open;
                return;
            }
            for (int i = 0; i < count; ++i) {
                auto *const client =
                    static_cast<Client *>(events.at(static_cast<std::size_t>(i)).data.ptr);
                takeAnswer(client);
            }
        }
    }

    void takeAnswer(Client *client)
    {
        bench::AnswerReader &reader = client->connection->reader();
        const auto state = reader.read(client->connection->descriptor());
        if (state == bench::AnswerReader::State::NeedsMore) {
            return;
        }
        if (state == bench::AnswerReader::State::Failed || reader.status() != 200) {
            fail(client);
        } else {
            m_times.add(bench::Clock::now() - client->asked);
            --m_open;
            check(client->job, reader.body());
            if (m_newConnections) {
                connect(client);
            }
        }
        beginNext(client);
    }

    void check(std::uint64_t job, const std::string &answer)
    {
        const std::string expected = nameOf(job) + '_' + m_configuration + "_1.tif";
        if (answer == expected) {
            return;
        }
        ++m_wrong;
        if (m_shows) {
            (void)std::fprintf(stderr, "%s instead of %s\n", answer.c_str(), expected.c_str());
        }
    }

    // Polls the progress of one conversion after the other.
    void poll(std::unique_ptr<bench::HttpClient> client, bool newConnections, bench::Samples *times)
    {
        for (std::uint64_t turn = 0; !m_ended; ++turn) {
            const std::string request =
                bench::requestHead("GET", "/progressInfo/" + nameOf(turn % m_count));
            const auto start = bench::Clock::now();
            if (newConnections || !client->isConnected()) {
                client = std::make_unique<bench::HttpClient>(m_port);
            }
            if (client->ask(request) == 200) {
                times->add(bench::Clock::now() - start);
            } else {
                ++m_lostPolls;
            }
            std::this_thread::sleep_until(start + pollPace);
        }
    }

    bool m_newConnections;
    bool m_polls;
    bool m_shows;
    std::uint16_t m_port;
    std::vector<Client> m_clients;
    std::uint64_t m_count;
    std::string m_configuration;
    int m_poll = ::epoll_create1(0);
    std::uint64_t m_begun = 0;
    std::uint64_t m_open = 0; // asked but not answered
    std::uint64_t m_wrong = 0;
    std::uint64_t m_failed = 0;
    bench::Samples m_times;
    std::atomic<bool> m_ended{false};
    std::atomic<std::uint64_t> m_lostPolls{0};
    bench::Samples m_polledKept;
    bench::Samples m_polledAfresh;
};

} // namespace

int main(int argc, char **argv)
{
    bench::Words words(argc,
                       argv,
                       5,
                       "bench_conversions PORT CLIENTS COUNT LINES GAP_US [--new-connections] "
                       "[--polls] [--show]\n"
                       "CLIENTS at once, COUNT in all, each of a tool that says LINES progress "
                       "lines, waits GAP_US\n"
                       "microseconds and names its output. --polls: two clients poll meanwhile. "
                       "--show: each wrong answer.");
    bench::raiseDescriptorLimit();
    return Load(&words).run() ? 0 : 1;
}
