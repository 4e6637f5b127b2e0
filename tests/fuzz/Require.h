#pragma once

#include <cstdlib>

namespace quenbrook::fuzz {

// Ends the fuzzer, which then keeps the input.
inline void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

} // namespace quenbrook::fuzz
