#include "commands/convertwithlocaldata.h"

#include "base/debugline.h"
#include "commands/localdataplan.h"
#include "commands/writebase64file.h"
#include "settings/folders.h"
#include "tool/claimedpaths.h"
#include "tool/pathcheck.h"
#include "tool/run.h"

#include <optional>

namespace commands {

namespace {

// Writes the files and returns the option list for the tool; nothing when one could not be written.
std::optional<QStringList>
writeOptions(const QVector<LocalOption> &options, const QString &folder, tool::ClaimedPaths *claims)
{
    QStringList list;
    for (const LocalOption &option : options) {
        QString value = option.value;
        if (option.hasFile) {
            value = writeBase64File(folder, option.fileName, option.base64, claims);
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
    if (const auto rejection = tool::rejectBadPath(vondPath)) {
        return *rejection;
    }
    const LocalDataRequest request = readLocalDataRequest(body);
    const QString folder = settings::workFolder();
    tool::ClaimedPaths claims; // until the run has ended
    const auto options = writeOptions(request.options, folder, &claims);
    if (!options) {
        return QStringLiteral("Error: saving data to file");
    }
    const QString input = writeBase64File(folder, request.fileName, request.imgData, &claims);
    if (input.isEmpty()) {
        return {};
    }
    const QString wanted = localOutputPath(folder, input, request.configuration);
    if (!namesFile(wanted, folder)) {
        base::debugLine("convertWithLocalData refused, no name for a file:", wanted);
        return {};
    }
    const QStringList arguments = localArguments(request.configuration, *options, input, wanted);
    base::debugLine("arguments:");
    base::debugLine(arguments);
    const auto output = tool::runToEnd(vondPath, arguments);
    if (!output) {
        tool::reportFailedConversionWait(input);
        return {};
    }
    return localAnswer(*output, wanted);
}

} // namespace commands
