// The registry of conversions when several connections use it at once.
#include "jobs/registry.h"

#include <benchmark/benchmark.h>

namespace {

jobs::Registry registry;

QString ownId(const benchmark::State &state)
{
    return QStringLiteral("job-%1").arg(state.thread_index());
}

// The most frequent use: polls.
void registryPolls(benchmark::State &state)
{
    const QString id = ownId(state);
    jobs::registerRequest(&registry, id);
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the library's way
        benchmark::DoNotOptimize(jobs::progressText(&registry, id));
    }
    jobs::removeRequest(&registry, id);
}

// The life of a job: one hundred texts, polled in between.
void registryJobs(benchmark::State &state)
{
    const QString id = ownId(state);
    const QString text = QStringLiteral("Progress: 42%\n");
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the library's way
        jobs::registerRequest(&registry, id);
        for (int i = 0; i < 100; ++i) {
            jobs::setProgressText(&registry, id, text);
            benchmark::DoNotOptimize(jobs::progressText(&registry, id));
        }
        jobs::removeRequest(&registry, id);
    }
}

BENCHMARK(registryPolls)->Threads(1)->Threads(4)->Threads(16)->UseRealTime();
BENCHMARK(registryJobs)->Threads(1)->Threads(4)->Threads(16)->UseRealTime();

} // namespace
