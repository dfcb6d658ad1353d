#pragma once

#include <cstddef>
#include <cstdint>

// What every target defines; the name is libFuzzer's.
// NOLINTNEXTLINE(readability-identifier-naming)
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);
