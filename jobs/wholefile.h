#pragma once

#include <QByteArray>

class QIODevice;

namespace jobs {

// The longest byte array that Qt's own functions make: the block that holds it, with the header in
// front and the zero byte at the end, has to stay within 2147483647 bytes.
constexpr int longestPlainArray = 2147483647 - static_cast<int>(sizeof(QByteArrayData)) - 1;

// A byte array of this size, its bytes not set, that may be longer than longestPlainArray. Throws
// std::bad_alloc when there is no memory for it.
[[nodiscard]] QByteArray uninitializedArray(int size);

// Reads this many bytes, or as many as there are.
[[nodiscard]] QByteArray readWhole(QIODevice *device, int size);

} // namespace jobs
