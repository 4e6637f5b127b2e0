#include "stores/evolution/LibicalValues.h"

namespace quenbrook::stores::evolution {

std::optional<std::string_view> valueForLibical(std::string_view value) {
    constexpr std::string_view blanks = " \t";
    const std::size_t first = value.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return std::nullopt;
    }
    return value.substr(first, value.find_last_not_of(blanks) + 1 - first);
}

} // namespace quenbrook::stores::evolution
