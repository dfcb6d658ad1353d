// The request of "/convert": reading, planning, and choosing the response.
#include "jobs/conversionplan.h"
#include "tests/fuzz/property.h"
#include "tests/fuzz/target.h"

#include <cstdint>

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray body(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const QString folder = QStringLiteral("/T");
    const jobs::ConversionRequest request = jobs::readConversionRequest(body);
    mustHold(request.fileName.size() + request.requestId.size() + request.configuration.size()
                     + request.cancelId.size()
                 <= body.size(),
             "what is read is no longer than the body");
    const jobs::ConversionPlan plan = jobs::planConversion(request, folder);
    mustHold(plan.arguments.size() == 9, "the tool gets its nine arguments");
    mustHold(plan.arguments.at(5) == request.configuration, "the configuration is one of them");
    mustHold(plan.inputPath.startsWith(QStringLiteral("/T/")), "the input lies in the folder");
    mustHold(plan.outputPath.startsWith(QStringLiteral("/T/")), "the output lies in the folder");

    // The same bytes, as the tool's last message.
    QString last = QString::fromUtf8(body);
    const QString said = last;
    const QString answer = jobs::conversionAnswer(plan, {}, last);
    mustHold(!answer.contains(QLatin1Char('/')), "a success is a bare name");
    mustHold(jobs::conversionAnswer(plan, "Error:", last = said) == said,
             "an error is what the tool said");
    return 0;
}
