#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// What is decided about a conversion, without files and processes.
namespace jobs {

struct ConversionRequest
{
    QString fileName;
    QString requestId;
    QString configuration;
    QString cancelId;
};

// Missing keys and a body that is no JSON read as empty.
[[nodiscard]] ConversionRequest readConversionRequest(const QByteArray &body);

struct ConversionPlan
{
    QString stopFilePath;
    QString inputPath;
    QString outputPath; // wanted; the tool may number it rather than overwrite
    QStringList arguments; // for the tool
};

[[nodiscard]] ConversionPlan planConversion(const ConversionRequest &request,
                                            const QString &folder);

// The answer after the tool has ended: what it said last when it reports an error, otherwise the
// bare name of the output. A message that names the output loses its marker.
[[nodiscard]] QString
conversionAnswer(const ConversionPlan &plan, const QByteArray &stdErr, QString &lastStdOutMsg);

} // namespace jobs
