#pragma once

#include <cstddef>
#include <cstdint>

// Defined by every target; libFuzzer prescribes the name.
// NOLINTNEXTLINE(readability-identifier-naming)
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);
