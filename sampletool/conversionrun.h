#pragma once

#include "sampletool/commandline.h"
#include "sampletool/console.h"
#include "sampletool/failure.h"
#include "sampletool/outputfile.h"
#include "sampletool/plan.h"
#include "sampletool/stopfilewatcher.h"

#include <atomic>
#include <optional>
#include <string>
#include <vector>

namespace sample {

// One conversion run of the tool. All outputs are first written under temporary names and get their
// final names together, so that a failure leaves none of them. Must be created before any other
// thread.
class ConversionRun
{
public:
    explicit ConversionRun(Convert convert);

    // Returns whether it worked. Prints everything on the console.
    [[nodiscard]] bool run();

private:
    using Problem = std::optional<Failure>;

    [[nodiscard]] Problem convertAll();
    [[nodiscard]] Problem convertOne(const Plan &plan, std::size_t index);
    [[nodiscard]] bool goOn(std::size_t index, std::size_t count, int percent);
    [[nodiscard]] Problem publishAll();
    void fail(const Failure &failure);
    void endAtOnce();
    [[nodiscard]] bool mayEnd();

    struct Finished
    {
        std::string temporary;
        std::string output;
    };

    const Convert m_convert;
    Console m_console;
    TemporaryFiles m_temporaries;
    std::vector<Finished> m_finished;
    std::vector<std::string> m_published;
    std::atomic<bool> m_ends{false};
    StopFileWatcher m_stop; // last, because its thread uses the others
};

} // namespace sample
