#include "src/DTOs/WireDates.h"
#include "src/ErrorCodes.h"
#include "tests/fuzz/Require.h"

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

// What parses must be the same instant after it was written and read again, and so must its text
// with the zone in RFC 3339's own form. Nothing may stand before the year or after the zone.

namespace {

using quenbrook::fuzz::require;

std::optional<quenbrook::model::Instant> parsed(std::string_view text) {
    try {
        return quenbrook::parseISO8601(text);
    } catch (const quenbrook::QuenbrookError& error) {
        if (error.code() != "INVALID_DATE") {
            std::abort();
        }
        return std::nullopt;
    }
}

// `z` as Z, ±HH and ±HHMM as ±HH:MM. The zone begins at the last character that is none of its
// digits and colon.
std::string inOwnForm(std::string_view text) {
    const std::size_t zone = text.find_last_not_of("0123456789:");
    std::string strict(text.substr(0, zone));
    std::string offset(text.substr(zone));
    if (offset == "z" || offset == "Z") {
        return strict + "Z";
    }
    std::erase(offset, ':');
    offset.resize(5, '0');
    return strict + offset.insert(3, ":");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    if (const auto instant = parsed(input)) {
        const auto text = quenbrook::isoFormatterWithFractional().stringFromDate(*instant);
        require(text.size() == 24 && parsed(text) == instant);
        require(parsed(inOwnForm(input)) == instant);
        require(!parsed(std::string(input) + "0") && !parsed("0" + std::string(input)));
    }
    return 0;
}
