#pragma once

#include <cstddef>

// Debian's Abseil is made for libstdc++. Of what the program uses of it, one function alone takes a
// text of the C++ library: for libc++ it is made here, out of that of libstdc++. `zone` is Abseil's
// own time_zone, which is the same in both.
extern "C" bool quenbrookLoadTimeZone(const char* name, std::size_t length, void* zone);
