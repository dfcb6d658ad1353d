#pragma once

#include "base/filename.h"
#include "tool/run.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

// The decisions about converting an image in the request, without files and processes.
namespace commands {

// One option for the tool. Its value is a text or an attached file.
struct LocalOption
{
    QString option;
    QString value; // unused with an attached file
    bool hasFile = false;
    QString fileName;
    QString base64;
};

struct LocalDataRequest
{
    QString fileName;
    QString imgData; // base64
    QString configuration;
    QVector<LocalOption> options; // in the request's order
};

// Missing keys, and a body that is not JSON, give empty texts. Elements of the option list that are
// not objects, or have no key, are skipped and logged.
[[nodiscard]] LocalDataRequest readLocalDataRequest(const QByteArray &body);

[[nodiscard]] QString
localOutputPath(const QString &folder, const QString &inputPath, const QString &configuration);

// Whether a file can have the name of this output. Ignores the dot at the end of one without a
// suffix, as Windows does.
[[nodiscard]] bool namesFile(const QString &outputPath,
                             const QString &folder,
                             base::NameRules rules = base::ownNameRules);

[[nodiscard]] QStringList localArguments(const QString &configuration,
                                         const QStringList &options,
                                         const QString &inputPath,
                                         const QString &outputPath);

[[nodiscard]] QString localAnswer(const tool::Output &output, const QString &outputPath);

} // namespace commands
