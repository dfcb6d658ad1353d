#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

// The words of a command line. Exits with the usage when there are too few.
class Words
{
public:
    Words(int argc, char **argv, std::size_t least, const char *usage);

    [[nodiscard]] const std::string &text(std::size_t index) const;
    [[nodiscard]] std::uint64_t number(std::size_t index) const;
    [[nodiscard]] std::uint16_t port(std::size_t index) const;
    [[nodiscard]] std::vector<std::string> from(std::size_t index) const;

    // Removes the word, wherever it is; returns whether it was there.
    bool takeFlag(const std::string &flag);

private:
    std::vector<std::string> m_words;
    std::size_t m_least;
    std::string m_usage;

    void checkCount() const;
};

[[noreturn]] void fail(const std::string &reason);

} // namespace bench
