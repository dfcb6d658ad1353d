// Reading the body of each JSON route, compared with Qt's own parser and the same texts from it.
#include "base/jsontext.h"
#include "commands/localdataplan.h"
#include "commands/vondelement.h"
#include "jobs/conversionplan.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <benchmark/benchmark.h>

namespace {

QByteArray conversion()
{
    return R"({"fileName": "photo.tif", "reqestID": "8a6e0804-2bd0-4672-b79d-d97027f9071a", )"
           R"("configuration": "Coated", "cancelID": "8a6e0804-2bd0-4672-b79d-d97027f9071a"})";
}

QByteArray image(qint64 size)
{
    return R"({"fileName": "photo.tif", "configuration": "Web", "imgData": ")"
        + QByteArray(static_cast<int>(size), 'Q') + R"("})";
}

QByteArray arguments()
{
    return R"(["--overwriteoutput=increment", "-c", "Web", {"filename": "a.tif", "data": "QUJD"}, )"
           R"("-o", "return:b.tif"])";
}

void readConversion(benchmark::State &state)
{
    const QByteArray body = conversion();
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the library's way
        benchmark::DoNotOptimize(jobs::readConversionRequest(body));
    }
}

void readConversionWithQt(benchmark::State &state)
{
    const QByteArray body = conversion();
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores)
        const QJsonObject request = QJsonDocument::fromJson(body).object();
        benchmark::DoNotOptimize(request.value(QLatin1String("fileName")).toString());
        benchmark::DoNotOptimize(request.value(QLatin1String("reqestID")).toString());
        benchmark::DoNotOptimize(request.value(QLatin1String("configuration")).toString());
        benchmark::DoNotOptimize(request.value(QLatin1String("cancelID")).toString());
    }
}

void readImage(benchmark::State &state)
{
    const QByteArray body = image(state.range(0));
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores)
        benchmark::DoNotOptimize(commands::readLocalDataRequest(body));
    }
    state.SetBytesProcessed(state.iterations() * body.size());
}

void readImageWithQt(benchmark::State &state)
{
    const QByteArray body = image(state.range(0));
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores)
        const QJsonObject request = QJsonDocument::fromJson(body).object();
        benchmark::DoNotOptimize(request.value(QLatin1String("fileName")).toString());
        benchmark::DoNotOptimize(request.value(QLatin1String("imgData")).toString());
        benchmark::DoNotOptimize(request.value(QLatin1String("configuration")).toString());
        benchmark::DoNotOptimize(request.value(QLatin1String("setOptions")).toObject());
    }
    state.SetBytesProcessed(state.iterations() * body.size());
}

void readArguments(benchmark::State &state)
{
    const QByteArray body = arguments();
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores)
        for (base::JsonWalk walk(base::JsonText::document(body)); walk.next();) {
            benchmark::DoNotOptimize(commands::readVondElement(walk.value()));
        }
    }
}

void readArgumentsWithQt(benchmark::State &state)
{
    const QByteArray body = arguments();
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores)
        const QJsonArray elements = QJsonDocument::fromJson(body).array();
        for (const QJsonValue &element : elements) {
            benchmark::DoNotOptimize(element.toString());
            const QJsonObject file = element.toObject();
            benchmark::DoNotOptimize(file.value(QLatin1String("filename")).toString());
            benchmark::DoNotOptimize(file.value(QLatin1String("data")).toString());
        }
    }
}

} // namespace

BENCHMARK(readConversion);
BENCHMARK(readConversionWithQt);
BENCHMARK(readArguments);
BENCHMARK(readArgumentsWithQt);
BENCHMARK(readImage)->Arg(64 << 10)->Arg(64 << 20)->Unit(benchmark::kMicrosecond);
BENCHMARK(readImageWithQt)->Arg(64 << 10)->Arg(64 << 20)->Unit(benchmark::kMicrosecond);
