#pragma once

#include <QByteArray>
#include <QString>

#include <limits>

namespace jobs {

// From this size on, a file is too big to be fetched.
constexpr quint64 tooBigSize = std::numeric_limits<qint32>::max();

// The bytes of a file in the work folder. Empty on every failure, with a line for the operator that
// says why; an empty file is treated like a missing one.
[[nodiscard]] QByteArray getConversionResult(const QString &name);

} // namespace jobs
