// Clients that request the same path at a steady pace, each on its own connection. A client whose
// response comes later than its next turn skips that turn.
#include "bench/clients/httpclient.h"
#include "bench/clients/samples.h"
#include "bench/clients/words.h"

#include <algorithm>
#include <array>
#include <memory>
#include <sys/epoll.h>
#include <unistd.h>

namespace {

constexpr auto patience = std::chrono::seconds(30);

struct Poller
{
    explicit Poller(std::uint16_t port)
        : client(port)
    {
    }

    bench::HttpClient client;
    bench::AnswerReader reader;
    bench::Clock::time_point due;
    bench::Clock::time_point asked;
    bool waits = false;
};

struct Outcome
{
    bench::Samples times;
    int lost = 0;
};

class Round
{
public:
    Round(const bench::Words &words, Outcome *outcome)
        : m_request(bench::requestHead("GET", words.text(1)))
        , m_pace(std::chrono::milliseconds(words.number(3)))
        , m_end(bench::Clock::now() + std::chrono::milliseconds(words.number(4)))
        , m_outcome(outcome)
    {
        const std::uint64_t count = words.number(2);
        for (std::uint64_t i = 0; i < count; ++i) {
            m_pollers.push_back(std::make_unique<Poller>(words.port(0)));
            Poller *const poller = m_pollers.back().get();
            // Spread over one turn.
            poller->due = bench::Clock::now() + m_pace * i / count;
            epoll_event event = {};
            event.events = EPOLLIN;
            event.data.ptr = poller;
            ::epoll_ctl(m_poll, EPOLL_CTL_ADD, poller->client.descriptor(), &event);
        }
    }

    void run()
    {
        while (bench::Clock::now() < m_end) {
            askAllThatAreDue();
            takeAnswers();
        }
        const auto deadline = bench::Clock::now() + patience;
        while (anyWaits() && bench::Clock::now() < deadline) {
            takeAnswers();
        }
        for (const auto &poller : m_pollers) {
            m_outcome->lost += poller->waits ? 1 : 0;
        }
    }

private:
    void askAllThatAreDue()
    {
        const auto now = bench::Clock::now();
        for (const auto &poller : m_pollers) {
            if (poller->waits || poller->due > now) {
                continue;
            }
            poller->asked = now;
            poller->waits = true;
            if (!poller->client.send(m_request.data(), m_request.size())) {
                bench::fail("a poller's connection has ended");
            }
            while (poller->due <= now) {
                poller->due += m_pace;
            }
        }
    }

    void takeAnswers()
    {
        std::array<epoll_event, 64> events = {};
        const int count = ::epoll_wait(m_poll, events.data(), events.size(), 1);
        for (int i = 0; i < count; ++i) {
            auto *const poller =
                static_cast<Poller *>(events.at(static_cast<std::size_t>(i)).data.ptr);
            const auto state = poller->reader.read(poller->client.descriptor());
            if (state == bench::AnswerReader::State::NeedsMore) {
                continue;
            }
            if (state == bench::AnswerReader::State::Failed || poller->reader.status() != 200) {
                bench::fail("a poll was not answered");
            }
            m_outcome->times.add(bench::Clock::now() - poller->asked);
            poller->waits = false;
        }
    }

    [[nodiscard]] bool anyWaits() const
    {
        return std::any_of(
            m_pollers.begin(), m_pollers.end(), [](const auto &poller) { return poller->waits; });
    }

    int m_poll = ::epoll_create1(0);
    std::string m_request;
    bench::Clock::duration m_pace;
    bench::Clock::time_point m_end;
    Outcome *m_outcome;
    std::vector<std::unique_ptr<Poller>> m_pollers;
};

} // namespace

int main(int argc, char **argv)
{
    const bench::Words words(argc, argv, 5, "bench_polling PORT PATH CLIENTS PACE_MS LENGTH_MS");
    bench::raiseDescriptorLimit();
    Outcome outcome;
    Round(words, &outcome).run();
    outcome.times.print(words.text(2) + " pollers", ", lost " + std::to_string(outcome.lost));
    return 0;
}
