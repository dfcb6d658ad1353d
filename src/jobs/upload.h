#pragma once

#include <QByteArray>
#include <QLatin1String>
#include <QString>

namespace jobs {

#ifdef Q_OS_WIN
inline constexpr QLatin1String folderMarks("/\\:", 3); // the colon after a drive, too
#else
inline constexpr QLatin1String folderMarks("/", 1);
#endif

// Whether a name leads out of its folder.
[[nodiscard]] bool hasFolderPart(const QString &name, QLatin1String marks = folderMarks);

// Stores the bytes under this name in the work folder, replacing what is there. The response is
// always the same, whatever happened to the file. A name with a folder part writes nothing, nor
// does one that no file can have here (base::isFileName()).
[[nodiscard]] QByteArray upload(const QString &name, const QByteArray &body);

} // namespace jobs
