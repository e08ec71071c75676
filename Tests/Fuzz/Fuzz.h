// What a fuzzer of this project is: one function, called with any bytes. It returns when the bytes were handled as they
// should be, with a result or with the error of the interface; anything else ends the program.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace Orvexa::Fuzz {

/// Ends the program when a promise is broken.
inline void Require(bool holds, const char* promise) {
    if (holds) return;
    std::fprintf(stderr, "broken: %s\n", promise);
    std::abort();
}

}  // namespace Orvexa::Fuzz
