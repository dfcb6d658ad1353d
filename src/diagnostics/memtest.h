#pragma once

#include <QString>

class QJsonObject;
class QJsonValue;

namespace diagnostics {

// 302006A0 hexadecimal; its base64 text is just longer than a QString can be.
constexpr int memtestBytes = 807405216;

// Probes how much data a JSON response could hold. Heavy: takes 1.9 GB at its peak and keeps 1 GiB
// of it. Throws std::bad_alloc if memory runs out before the text is made. Tests pass a smaller
// size to see it succeed.
[[nodiscard]] QString memtest(int bytes = memtestBytes);

// The last step of the probe: inserts the text into the object and logs when that fails.
void insertImage(QJsonObject *vehicle, const QJsonValue &text);

} // namespace diagnostics
