// Reading JSON: the same result as Qt's own parser.
#include "tests/fuzz/property.h"
#include "tests/fuzz/target.h"
#include "tests/support/jsonpeer.h"

#include <cstdint>

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const QString difference = jsonDifference(bytes, false);
    mustHold(difference.isEmpty(), difference.toUtf8().constData());
    return 0;
}
