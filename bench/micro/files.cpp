// Writing files: atomically, compared with opening and truncating them; and finding a free name
// among many. BENCH_FOLDER names the folder to write in.
#include "base/writefile.h"
#include "commands/writebase64file.h"
#include "tool/uniquefilepath.h"

#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

namespace {

QString folderTemplate()
{
    return qEnvironmentVariable("BENCH_FOLDER", QStringLiteral("/tmp"))
        + QStringLiteral("/vondbench-XXXXXX");
}

void openAndEmpty(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        qFatal("could not write %s", qPrintable(path));
    }
}

void writeWhole(const QString &path, const QByteArray &bytes)
{
    if (base::writeFile(path, bytes)) {
        qFatal("could not write %s", qPrintable(path));
    }
}

template <void (*write)(const QString &, const QByteArray &)>
void newFile(benchmark::State &state)
{
    const QTemporaryDir folder(folderTemplate());
    const QString path = folder.filePath(QStringLiteral("image.jpg"));
    const QByteArray bytes(static_cast<int>(state.range(0)), 'x');
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the library's way
        write(path, bytes);
        static_cast<void>(QFile::remove(path));
    }
}

template <void (*write)(const QString &, const QByteArray &)>
void oldFile(benchmark::State &state)
{
    const QTemporaryDir folder(folderTemplate());
    const QString path = folder.filePath(QStringLiteral("image.jpg"));
    const QByteArray bytes(static_cast<int>(state.range(0)), 'x');
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the library's way
        write(path, bytes);
    }
}

// With this many files of the name already there.
void freeName(benchmark::State &state)
{
    const QTemporaryDir folder(folderTemplate());
    const QString path = folder.filePath(QStringLiteral("image.jpg"));
    for (int number = 0; number < state.range(0); ++number) {
        openAndEmpty(
            number == 0 ? path : folder.filePath(QStringLiteral("image_%1.jpg").arg(number)), {});
    }
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the library's way
        tool::ClaimedPaths claims;
        benchmark::DoNotOptimize(tool::uniqueFilePath(path, &claims));
    }
}

constexpr int small = 1000;
constexpr int picture = 8388608;
constexpr int large = 268435456;

BENCHMARK_TEMPLATE(newFile, openAndEmpty)->Arg(small)->Arg(picture)->Arg(large);
BENCHMARK_TEMPLATE(newFile, writeWhole)->Arg(small)->Arg(picture)->Arg(large);
BENCHMARK_TEMPLATE(oldFile, openAndEmpty)->Arg(small)->Arg(picture)->Arg(large);
BENCHMARK_TEMPLATE(oldFile, writeWhole)->Arg(small)->Arg(picture)->Arg(large);
BENCHMARK(freeName)->Arg(0)->Arg(1)->Arg(20)->Arg(200)->Arg(2000)->Arg(20000);

} // namespace
