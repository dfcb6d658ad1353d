#include "jobs/conversionplan.h"

#include "base/jsontext.h"
#include "jobs/stopfile.h"
#include "settings/folders.h"
#include "tool/markers.h"
#include "tool/run.h"

#include <QFileInfo>

namespace jobs {

namespace {

QString plannedOutput(const QString &folder, const QString &inputPath, const QString &configuration)
{
    // Deliberate: in a name with several dots, the middle part is dropped.
    const QFileInfo input(inputPath);
    const QString stem =
        folder + QLatin1Char('/') + input.baseName() + QLatin1Char('_') + configuration;
    return input.suffix().isEmpty() ? stem : stem + QLatin1Char('.') + input.suffix();
}

} // namespace

ConversionRequest readConversionRequest(const QByteArray &body)
{
    constexpr std::array keys{
        QLatin1String("fileName", 8),
        QLatin1String("reqestID", 8), // spelt so by clients
        QLatin1String("configuration", 13),
        QLatin1String("cancelID", 8),
    };
    const auto values = base::JsonText::document(body).values(keys);
    return {values[0].text(), values[1].text(), values[2].text(), values[3].text()};
}

ConversionPlan planConversion(const ConversionRequest &request, const QString &folder)
{
    ConversionPlan plan;
    plan.stopFilePath = folder + QLatin1Char('/') + stopFileName(request.cancelId);
    plan.inputPath = settings::filePathIn(folder, request.fileName);
    plan.outputPath = plannedOutput(folder, plan.inputPath, request.configuration);
    plan.arguments = QStringList{
        QStringLiteral("--progress"),
        QStringLiteral("--stopfile=") + plan.stopFilePath,
        QStringLiteral("--translateerror"),
        QStringLiteral("--overwriteoutput=increment"),
        QStringLiteral("-c"),
        request.configuration,
        plan.inputPath,
        QStringLiteral("-o"),
        plan.outputPath,
    };
    return plan;
}

bool namesFiles(const ConversionRequest &request,
                const ConversionPlan &plan,
                const QString &folder,
                base::NameRules rules)
{
    return base::isFileName(request.fileName, rules)
        && base::isFileName(stopFileName(request.cancelId), rules)
        && base::isFileName(plan.outputPath.mid(folder.size() + 1), rules);
}

QString
conversionAnswer(const ConversionPlan &plan, const QByteArray &stdErr, QString &lastStdOutMsg)
{
    if (tool::reportsError(stdErr)) {
        return lastStdOutMsg;
    }
    QString output = plan.outputPath;
    if (lastStdOutMsg.startsWith(tool::outputFileMarker)) {
        lastStdOutMsg.remove(0, tool::outputFileMarker.size());
        output = lastStdOutMsg.trimmed();
    }
    return QFileInfo(output).fileName();
}

} // namespace jobs
