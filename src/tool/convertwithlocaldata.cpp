#include "tool/convertwithlocaldata.h"

#include "settings/folders.h"
#include "tool/claimedpaths.h"
#include "tool/debugline.h"
#include "tool/localdataplan.h"
#include "tool/pathcheck.h"
#include "tool/run.h"
#include "tool/writebase64file.h"

#include <optional>

namespace tool {

namespace {

// The option list for the tool, with the files written. Nothing when one could not be.
std::optional<QStringList>
writeOptions(const QVector<LocalOption> &options, const QString &folder, ClaimedPaths *claims)
{
    QStringList list;
    for (const LocalOption &option : options) {
        QString value = option.value;
        if (option.hasFile) {
            value = writeBase64File(
                settings::filePathIn(folder, option.fileName), option.base64, claims);
            if (value.isEmpty()) {
                return std::nullopt;
            }
        }
        list << option.option << value;
    }
    return list;
}

} // namespace

QString convertWithLocalData(const QString &vondPath, const QByteArray &body)
{
    if (const auto refusal = refuseBadPath(vondPath)) {
        return *refusal;
    }
    const LocalDataRequest request = readLocalDataRequest(body);
    const QString folder = settings::workFolder();
    ClaimedPaths claims; // until the run has ended
    const auto options = writeOptions(request.options, folder, &claims);
    if (!options) {
        return QStringLiteral("Error: saving data to file");
    }
    const QString input =
        writeBase64File(settings::filePathIn(folder, request.fileName), request.imgData, &claims);
    if (input.isEmpty()) {
        return {};
    }
    const QString wanted = localOutputPath(folder, input, request.configuration);
    const QStringList arguments = localArguments(request.configuration, *options, input, wanted);
    debugLine("arguments:");
    debugLine(arguments);
    const auto output = runToEnd(vondPath, arguments);
    if (!output) {
        reportFailedConversionWait(input);
        return {};
    }
    return localAnswer(*output, wanted);
}

} // namespace tool
