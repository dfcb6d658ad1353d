#include "tool/vondcommand.h"

#include "settings/folders.h"
#include "tool/claimedpaths.h"
#include "tool/debugline.h"
#include "tool/errorline.h"
#include "tool/jsontext.h"
#include "tool/pathcheck.h"
#include "tool/run.h"
#include "tool/vondanswer.h"
#include "tool/vondelement.h"
#include "tool/writebase64file.h"

#include <cstdio>
#include <optional>

namespace tool {

namespace {

struct VondPlan
{
    QStringList arguments;
    QStringList returnKeys;
};

// The array that the body is, of a bearable length.
std::optional<JsonText> readArguments(const QByteArray &body)
{
    const JsonText document = JsonText::document(body);
    if (!document.isArray()) {
        writeErrorLine("error: no json array with arguments" + body);
        return std::nullopt;
    }
    if (boundedCount(document) == 0) {
        writeErrorLine("error: empty json array with arguments" + body);
        return std::nullopt;
    }
    return document;
}

// Elements are worked off one after the other, because a file that comes along takes a name that a
// later element may ask for. Files written before a refused element stay.
std::optional<VondPlan>
planRun(const JsonText &elements, const QString &folder, ClaimedPaths *claims)
{
    VondPlan plan;
    for (JsonWalk walk(elements); walk.next();) {
        const VondElement element = readVondElement(walk.value());
        switch (element.kind) {
        case VondElement::Kind::Literal:
            plan.arguments.append(element.text);
            break;
        case VondElement::Kind::ReturnFile: {
            const ReturnFile file = reserveReturnFile(element, folder, claims);
            plan.returnKeys.append(file.key);
            plan.arguments.append(file.argument);
            break;
        }
        case VondElement::Kind::InputFile: {
            const QString path =
                writeBase64File(settings::filePathIn(folder, element.name), element.base64, claims);
            if (path.isEmpty()) {
                writeErrorLine("Error: saving data to file" + element.name.toUtf8());
                return std::nullopt;
            }
            plan.arguments.append(path);
            break;
        }
        case VondElement::Kind::Neither:
            writeErrorLine("error: json arguments array element is neither fileObj nor String:"
                           + walk.value().text().toUtf8());
            return std::nullopt;
        }
    }
    return plan;
}

} // namespace

QJsonObject vond(const QString &vondPath, const QByteArray &body)
{
    if (refuseBadPath(vondPath)) {
        return {}; // Deliberate: the words go to the operator alone
    }
    const auto elements = readArguments(body);
    if (!elements) {
        return {};
    }
    ClaimedPaths claims; // until the run has ended
    const auto plan = planRun(*elements, settings::workFolder(), &claims);
    if (!plan) {
        return {};
    }
    debugLine("vond arguments:", plan->arguments);
    const auto output = runToEnd(vondPath, plan->arguments);
    if (!output) {
        static_cast<void>(std::fprintf(stderr, "vond process timeout\n"));
        return {};
    }
    return vondAnswer(*output, plan->returnKeys);
}

} // namespace tool
