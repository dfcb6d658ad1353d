#pragma once

#include <QByteArray>

class QIODevice;

namespace base {

// The longest byte array that Qt's own functions can make: its block, with the header in front and
// the zero byte at the end, must not exceed 2147483647 bytes.
constexpr int longestPlainArray = 2147483647 - static_cast<int>(sizeof(QByteArrayData)) - 1;

// Files of up to 2147483646 bytes are served, but for the largest sizes QIODevice::readAll()
// returns nothing and QByteArray's own allocation fails. The limit is only on the block, not on the
// array, so this makes the block by hand as Qt does: with malloc, header first. Qt releases it with
// free() when the last copy goes. Mapping the file would be shorter, but then a client that
// truncates the file would end the whole service. The bytes are uninitialised except for the
// terminating zero. Throws std::bad_alloc.
[[nodiscard]] QByteArray arrayInOwnBlock(int size);

// A byte array of this size, uninitialised; made by arrayInOwnBlock() only when Qt's own would
// fail.
[[nodiscard]] QByteArray uninitializedArray(int size);

// Reads up to `size` bytes, or as many as there are.
[[nodiscard]] QByteArray readWhole(QIODevice *device, int size);

} // namespace base
