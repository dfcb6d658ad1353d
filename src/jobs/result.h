#pragma once

#include <QByteArray>
#include <QString>

#include <limits>

namespace jobs {

// From this size on a file is too big to be fetched.
constexpr quint64 tooBigSize = std::numeric_limits<qint32>::max();

// The bytes of a file of the work folder. Empty on every failure, and then the operator is told
// why; an empty file and a missing one are the same.
[[nodiscard]] QByteArray getConversionResult(const QString &name);

} // namespace jobs
