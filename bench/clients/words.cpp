#include "bench/clients/words.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace bench {

Words::Words(int argc, char **argv, std::size_t least, const char *usage)
    : m_words(argv + 1, argv + argc)
    , m_least(least)
    , m_usage(usage)
{
    checkCount();
}

void Words::checkCount() const
{
    if (m_words.size() < m_least) {
        fail("usage: " + m_usage);
    }
}

const std::string &Words::text(std::size_t index) const
{
    return m_words.at(index);
}

std::uint64_t Words::number(std::size_t index) const
{
    char *end = nullptr;
    const std::string &word = text(index);
    const std::uint64_t value = std::strtoull(word.c_str(), &end, 10);
    if (word.empty() || *end != '\0') {
        fail("not a number: " + word);
    }
    return value;
}

std::uint16_t Words::port(std::size_t index) const
{
    return static_cast<std::uint16_t>(number(index));
}

std::vector<std::string> Words::from(std::size_t index) const
{
    return {m_words.begin() + static_cast<std::ptrdiff_t>(index), m_words.end()};
}

bool Words::takeFlag(const std::string &flag)
{
    const auto found = std::find(m_words.begin(), m_words.end(), flag);
    if (found == m_words.end()) {
        return false;
    }
    m_words.erase(found);
    checkCount();
    return true;
}

void fail(const std::string &reason)
{
    (void)std::fprintf(stderr, "%s\n", reason.c_str());
    std::exit(EXIT_FAILURE); // NOLINT(concurrency-mt-unsafe): there is nothing to clean up
}

} // namespace bench
