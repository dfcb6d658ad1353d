#include "commands/vondcommand.h"

#include "base/debugline.h"
#include "base/errorline.h"
#include "base/filename.h"
#include "base/jsontext.h"
#include "commands/vondanswer.h"
#include "commands/vondelement.h"
#include "commands/writebase64file.h"
#include "settings/folders.h"
#include "tool/claimedpaths.h"
#include "tool/pathcheck.h"
#include "tool/run.h"

#include <optional>

namespace commands {

namespace {

struct VondPlan
{
    QStringList arguments;
    QStringList returnKeys;
};

// The array in the body, of an acceptable length.
std::optional<base::JsonText> readArguments(const QByteArray &body)
{
    const base::JsonText document = base::JsonText::document(body);
    if (!document.isArray()) {
        base::writeErrorLine("error: no json array with arguments" + body);
        return std::nullopt;
    }
    if (base::boundedCount(document) == 0) {
        base::writeErrorLine("error: empty json array with arguments" + body);
        return std::nullopt;
    }
    return document;
}

// Elements are processed in order, because an attached file takes a name that a later element may
// ask for. Files written before a rejected element stay.
std::optional<VondPlan>
planRun(const base::JsonText &elements, const QString &folder, tool::ClaimedPaths *claims)
{
    VondPlan plan;
    for (base::JsonWalk walk(elements); walk.next();) {
        const VondElement element = readVondElement(walk.value());
        switch (element.kind) {
        case VondElement::Kind::Literal:
            plan.arguments.append(element.text);
            break;
        case VondElement::Kind::ReturnFile: {
            if (!base::isFileName(element.name)) {
                base::debugLine("vond refused, no name for a file:", element.name);
                return std::nullopt;
            }
            const ReturnFile file = reserveReturnFile(element, folder, claims);
            plan.returnKeys.append(file.key);
            plan.arguments.append(file.argument);
            break;
        }
        case VondElement::Kind::InputFile: {
            const QString path = writeBase64File(folder, element.name, element.base64, claims);
            if (path.isEmpty()) {
                base::writeErrorLine("Error: saving data to file" + element.name.toUtf8());
                return std::nullopt;
            }
            plan.arguments.append(path);
            break;
        }
        case VondElement::Kind::Neither:
            base::writeErrorLine(
                "error: json arguments array element is neither fileObj nor String:"
                + walk.value().text().toUtf8());
            return std::nullopt;
        }
    }
    return plan;
}

} // namespace

QJsonObject vond(const QString &vondPath, const QByteArray &body)
{
    if (tool::rejectBadPath(vondPath)) {
        return {}; // Deliberate: only the operator sees the reason
    }
    const auto elements = readArguments(body);
    if (!elements) {
        return {};
    }
    tool::ClaimedPaths claims; // until the run has ended
    const auto plan = planRun(*elements, settings::workFolder(), &claims);
    if (!plan) {
        return {};
    }
    base::debugLine("vond arguments:", plan->arguments);
    const auto output = tool::runToEnd(vondPath, plan->arguments);
    if (!output) {
        base::writeErrorLine("vond process timeout");
        return {};
    }
    return vondAnswer(*output, plan->returnKeys);
}

} // namespace commands
