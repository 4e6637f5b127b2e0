#include "platform/JsonInteger.h"

#include <algorithm>
#include <charconv>
#include <string>

namespace quenbrook::platform {
namespace {

constexpr std::string_view allDigits = "0123456789";
// As many as the largest integers have.
constexpr std::int64_t mostDigits = 19;

// An exponent too large to be read is as good as this one: no text has as many digits.
constexpr std::int64_t hugeExponent = std::int64_t{1} << 62;

std::int64_t exponentOf(std::string_view text) {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    std::int64_t exponent = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), exponent);
    exponent =
        error == std::errc::result_out_of_range ? hugeExponent : std::min(exponent, hugeExponent);
    return negative ? -exponent : exponent;
}

} // namespace

std::optional<std::int64_t> integerValueOf(std::string_view literal) {
    const std::string_view mantissa = literal.substr(0, literal.find_first_of("eE"));
    std::int64_t exponent =
        mantissa.size() == literal.size() ? 0 : exponentOf(literal.substr(mantissa.size() + 1));

    const bool negative = mantissa.starts_with('-');
    std::string digits(mantissa.substr(negative ? 1 : 0));
    // The point may be another character where a locale has it so.
    if (const std::size_t point = digits.find_first_not_of(allDigits); point != std::string::npos) {
        exponent -= static_cast<std::int64_t>(digits.size() - point - 1);
        digits.erase(point, 1);
    }
    digits.erase(0, digits.find_first_not_of('0'));
    if (digits.empty()) {
        return 0;
    }
    const std::size_t significant = digits.find_last_not_of('0') + 1;
    exponent += static_cast<std::int64_t>(digits.size() - significant);
    digits.resize(significant);
    if (exponent < 0 || exponent > mostDigits - static_cast<std::int64_t>(significant)) {
        return std::nullopt;
    }
    std::string whole(negative ? 1 : 0, '-');
    whole += digits;
    whole.append(static_cast<std::size_t>(exponent), '0');
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(whole.data(), whole.data() + whole.size(), value);
    return error == std::errc{} ? std::optional(value) : std::nullopt;
}

} // namespace quenbrook::platform
