#include "sampletool/conversionrun.h"

#include "sampletool/conversion.h"

#include <algorithm>
#include <unistd.h>
#include <utility>

namespace sample {
namespace {

constexpr int allDone = 100; // percent
constexpr int almostDone = 99; // the last step gives the files their names

} // namespace

ConversionRun::ConversionRun(Convert convert)
    : m_convert(std::move(convert))
    , m_stop(m_convert.stopFile, [this] { endAtOnce(); })
{
}

bool ConversionRun::run()
{
    const Imaging imaging;
    Problem problem = convertAll();
    if (!mayEnd()) {
        for (;;) {
            (void)::pause(); // the watching thread is ending the process
        }
    }
    if (m_stop.stopped()) {
        problem = Failure{m_stop.reason(), {}}; // whatever an interrupted library reports
    }
    if (!problem) {
        problem = publishAll();
    }
    if (problem) {
        fail(*problem);
        return false;
    }
    if (m_convert.progress) {
        m_console.progress(allDone);
    }
    for (const std::string &path : m_published) {
        m_console.print("Output file: " + path);
    }
    return true;
}

ConversionRun::Problem ConversionRun::convertAll()
{
    const auto plan = planFor(m_convert);
    if (const auto *const failure = std::get_if<Failure>(&plan)) {
        return *failure;
    }
    const Plan &good = std::get<Plan>(plan);
    for (std::size_t index = 0; index < good.outputs.size(); ++index) {
        if (!goOn(index, good.outputs.size(), 0)) {
            break; // run() knows why
        }
        if (Problem problem = convertOne(good, index)) {
            return problem;
        }
    }
    return std::nullopt;
}

ConversionRun::Problem ConversionRun::convertOne(const Plan &plan, std::size_t index)
{
    const PlannedOutput &output = plan.outputs[index];
    const auto temporary = m_temporaries.create(output.path);
    if (const auto *const failure = std::get_if<Failure>(&temporary)) {
        return *failure;
    }
    m_finished.push_back({std::get<std::string>(temporary), output.path});
    return convertPicture(
        output.input,
        m_finished.back().temporary,
        output.format,
        plan.recipe,
        [this, &plan, index](int percent) { return goOn(index, plan.outputs.size(), percent); });
}

// Each output counts as an equal share of the whole.
bool ConversionRun::goOn(std::size_t index, std::size_t count, int percent)
{
    if (m_stop.stopped()) {
        return false;
    }
    if (m_convert.progress) {
        const std::size_t shares = index * allDone + static_cast<std::size_t>(percent);
        m_console.progress(std::min(static_cast<int>(shares / count), almostDone));
    }
    return true;
}

ConversionRun::Problem ConversionRun::publishAll()
{
    for (const Finished &finished : m_finished) {
        const auto path = publish(finished.temporary, finished.output, m_convert.increment);
        if (const auto *const failure = std::get_if<Failure>(&path)) {
            return *failure;
        }
        m_published.push_back(std::get<std::string>(path));
    }
    return std::nullopt;
}

void ConversionRun::fail(const Failure &failure)
{
    for (const std::string &path : m_published) {
        (void)::unlink(path.c_str()); // a single output is not a result if the run failed
    }
    m_temporaries.removeAll();
    if (m_convert.translateError) {
        m_console.print(failure.text);
    }
    m_console.error(errorText(failure, m_convert));
}

// In the watching thread, when the working one is in a library call that does not return.
void ConversionRun::endAtOnce()
{
    if (!mayEnd()) {
        return;
    }
    fail({m_stop.reason(), {}});
    ::_exit(EXIT_FAILURE);
}

// Only the first of the working and the watching thread ends the run.
bool ConversionRun::mayEnd()
{
    return !m_ends.exchange(true);
}

} // namespace sample
