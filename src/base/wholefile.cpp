#include "base/wholefile.h"

#include "base/hugepages.h"

#include <QIODevice>

#include <cstdlib>
#include <new>

namespace base {

QByteArray arrayInOwnBlock(int size)
{
    void *const block = std::malloc(sizeof(QArrayData) + static_cast<std::size_t>(size) + 1);
    if (!block) {
        throw std::bad_alloc();
    }
    auto *const header = new (block) QArrayData{
        {Q_BASIC_ATOMIC_INITIALIZER(1)}, // one reference: the array made below
        size,
        (static_cast<uint>(size) + 1U) & 0x7fffffffU, // capacity with the zero byte; 31 bits
        0, // no capacity was reserved
        sizeof(QArrayData), // offset of the bytes
    };
    static_cast<char *>(header->data())[size] = '\0';
    // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): the array owns the block from here on
    return QByteArrayDataPtr{static_cast<QByteArrayData *>(header)};
}

QByteArray uninitializedArray(int size)
{
    return size > longestPlainArray ? arrayInOwnBlock(size) : QByteArray(size, Qt::Uninitialized);
}

QByteArray readWhole(QIODevice *device, int size)
{
    QByteArray bytes = uninitializedArray(size);
    preferHugePages(bytes.constData(), size);
    int done = 0;
    while (done < size) {
        const qint64 count = device->read(bytes.data() + done, size - done);
        if (count <= 0) {
            break;
        }
        done += static_cast<int>(count);
    }
    bytes.truncate(done);
    return bytes;
}

} // namespace base
