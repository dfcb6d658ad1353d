#pragma once

#include <QByteArray>

class QIODevice;

namespace base {

// The longest byte array that Qt's own functions make: the block that holds it, with the header in
// front and the zero byte at the end, has to stay within 2147483647 bytes.
constexpr int longestPlainArray = 2147483647 - static_cast<int>(sizeof(QByteArrayData)) - 1;

// A file of up to 2147483646 bytes is to be served, but QIODevice::readAll() answers nothing, and
// QByteArray's own allocation fails, for the last sizes below that. What stands in the way is only
// the limit on the block, not the array, so here the block is made by hand the way Qt makes it:
// from malloc, header first. Qt releases it with free() when the last copy goes. Mapping the file
// instead would be shorter, but then a client that shortens the file ends the whole service.
// The bytes are not set, but for the zero behind them. Throws std::bad_alloc.
[[nodiscard]] QByteArray arrayInOwnBlock(int size);

// A byte array of this size, its bytes not set: in a block of its own only where Qt's would not do.
[[nodiscard]] QByteArray uninitializedArray(int size);

// Reads this many bytes, or as many as there are.
[[nodiscard]] QByteArray readWhole(QIODevice *device, int size);

} // namespace base
