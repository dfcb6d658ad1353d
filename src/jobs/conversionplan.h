#pragma once

#include "base/filename.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

// The decisions about a conversion, without files and processes.
namespace jobs {

struct ConversionRequest
{
    QString fileName;
    QString requestId;
    QString configuration;
    QString cancelId;
};

// Missing keys, and a body that is not JSON, give empty texts.
[[nodiscard]] ConversionRequest readConversionRequest(const QByteArray &body);

struct ConversionPlan
{
    QString stopFilePath;
    QString inputPath;
    QString outputPath; // requested; the tool may number it rather than overwrite
    QStringList arguments; // for the tool
};

[[nodiscard]] ConversionPlan planConversion(const ConversionRequest &request,
                                            const QString &folder);

// Whether files can have the names that the conversion gives to input, stop file and output.
[[nodiscard]] bool namesFiles(const ConversionRequest &request,
                              const ConversionPlan &plan,
                              const QString &folder,
                              base::NameRules rules = base::ownNameRules);

// The response after the tool has ended: its last message if it reports an error, otherwise the
// bare name of the output. Removes the marker from a last message that names the output.
[[nodiscard]] QString
conversionAnswer(const ConversionPlan &plan, const QByteArray &stdErr, QString &lastStdOutMsg);

} // namespace jobs
