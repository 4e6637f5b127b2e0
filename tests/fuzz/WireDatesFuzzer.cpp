#include "src/DTOs/WireDates.h"
#include "src/ErrorCodes.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

// What parses must be the same instant after it was written and read again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    try {
        const auto instant = quenbrook::parseISO8601(input);
        const auto text = quenbrook::isoFormatterWithFractional().stringFromDate(instant);
        if (text.size() != 24 || quenbrook::parseISO8601(text) != instant) {
            std::abort();
        }
    } catch (const quenbrook::QuenbrookError& error) {
        if (error.code() != "INVALID_DATE") {
            std::abort();
        }
    }
    return 0;
}
