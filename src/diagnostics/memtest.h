#pragma once

#include <QString>

class QJsonObject;
class QJsonValue;

namespace diagnostics {

// 302006A0 hexadecimal; its base64 text is just longer than a QString can be.
constexpr int memtestBytes = 807405216;

// Probes how much data a JSON answer could carry. Heavy: holds 1.9 GB at its height and keeps 1 GiB
// of it. Running out of memory before the text is made leaves as std::bad_alloc. A smaller size is
// for tests of the good ending.
[[nodiscard]] QString memtest(int bytes = memtestBytes);

// The last step of the probe: takes the text into the object, and logs when it does not go in.
void insertImage(QJsonObject *vehicle, const QJsonValue &text);

} // namespace diagnostics
