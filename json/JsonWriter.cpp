#include "json/JsonWriter.h"

#include <charconv>
#include <cstring>

namespace quenbrook::json {
namespace {

// The letter after the reverse solidus; 'u' where there is no short form, 0 for what needs none.
constexpr auto escapes = [] {
    std::array<char, 256> table{};
    for (std::size_t c = 0; c < 0x20; ++c) {
        table[c] = 'u';
    }
    table['\b'] = 'b';
    table['\f'] = 'f';
    table['\n'] = 'n';
    table['\r'] = 'r';
    table['\t'] = 't';
    table['"'] = '"';
    table['\\'] = '\\';
    table['/'] = '/';
    return table;
}();

char escapeOf(char c) {
    return escapes[static_cast<unsigned char>(c)];
}

void appendEscaped(std::string& out, char c) {
    constexpr std::string_view digits = "0123456789abcdef";
    const char escape = escapeOf(c);
    out.push_back('\\');
    out.push_back(escape);
    if (escape == 'u') {
        const auto value = static_cast<unsigned char>(c);
        out.append("00");
        out.push_back(digits[value >> 4]);
        out.push_back(digits[value & 0xF]);
    }
}

constexpr std::uint64_t eachByte(unsigned char value) {
    return 0x0101010101010101ULL * value;
}

// A high bit in every zero byte of `word` (and perhaps in others, when there is one).
constexpr std::uint64_t zeroBytes(std::uint64_t word) {
    return (word - eachByte(0x01)) & ~word & eachByte(0x80);
}

// Never false when one of the eight bytes needs an escape. Most texts are long runs that need
// none, and answers run to tens of megabytes.
bool mayNeedEscape(std::uint64_t word) {
    const std::uint64_t control = (word - eachByte(0x20)) & ~word & eachByte(0x80);
    return (control | zeroBytes(word ^ eachByte('"')) | zeroBytes(word ^ eachByte('\\')) |
               zeroBytes(word ^ eachByte('/'))) != 0;
}

// Where the first character that needs an escape stands, at or after `from`.
std::size_t plainUntil(std::string_view text, std::size_t from) {
    std::size_t at = from;
    for (std::uint64_t word = 0; at + sizeof word <= text.size(); at += sizeof word) {
        std::memcpy(&word, text.data() + at, sizeof word);
        if (mayNeedEscape(word)) {
            break;
        }
    }
    while (at < text.size() && escapeOf(text[at]) == 0) {
        ++at;
    }
    return at;
}

} // namespace

void appendJsonString(std::string& out, std::string_view text) {
    out.push_back('"');
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = plainUntil(text, at);
        out.append(text, at, end - at);
        at = end;
        while (at < text.size() && escapeOf(text[at]) != 0) {
            appendEscaped(out, text[at++]);
        }
    }
    out.push_back('"');
}

void appendJsonInteger(std::string& out, std::int64_t value) {
    std::array<char, 20> digits{};
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    out.append(digits.data(), result.ptr);
}

} // namespace quenbrook::json
