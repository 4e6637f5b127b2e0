#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

// The text level of RFC 5545: content lines, parameters, TEXT values and folding. Nothing here
// knows what a property means.
namespace quenbrook::icalendar {

// One content line (RFC 5545 section 3.1) after unfolding, as views of that text, which must
// outlive it.
struct ContentLine {
    // As written; compare with equalsIgnoringCase.
    std::string_view name;
    // Everything between the name and the value, without the first ";" and the ":".
    std::string_view parameters;
    std::string_view value;
};

// Splits one unfolded line. Returns nullopt when it is no content line (no name, no ":").
std::optional<ContentLine> parseContentLine(std::string_view line);

// A line with this one's name and parameters and another value, not folded.
std::string withValue(const ContentLine& line, std::string_view value);

// The value of a parameter by name: quotes dropped, RFC 6868 escapes decoded. Returns nullopt when
// it is absent.
std::optional<std::string> parameterValue(const ContentLine& line, std::string_view name);

// Writes a parameter's value so that parameterValue reads it back: in quotes when it needs them,
// with the escapes of RFC 6868.
std::string encodeParameter(std::string_view value);

// Equality without regard to the case of ASCII letters, as RFC 5545 section 2 has it for names.
inline bool equalsIgnoringCase(std::string_view left, std::string_view right) {
    const auto lower = [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    };
    if (left.size() != right.size()) {
        return false;
    }
    // Nearly all files write names as the standard does.
    if (left == right) {
        return true;
    }
    for (std::size_t i = 0; i < left.size(); ++i) {
        if (left[i] != right[i] && lower(left[i]) != lower(right[i])) {
            return false;
        }
    }
    return true;
}

// Calls `take` with each of the values that commas separate (section 3.1.1). None of them can hold
// a comma: for dates, not for TEXT.
template <class Take>
void forEachValue(std::string_view values, Take take) {
    while (!values.empty()) {
        const std::size_t end = std::min(values.find(','), values.size());
        take(values.substr(0, end));
        values.remove_prefix(std::min(end + 1, values.size()));
    }
}

// Reads a TEXT value (section 3.3.11): escapes decoded, invalid UTF-8 replaced by U+FFFD. A
// backslash before any other character stays as it is.
std::string decodeText(std::string_view value);

// Whether TEXT can hold this: of the control characters, tab and line breaks only.
bool canHoldText(std::string_view text);

// Writes a TEXT value; the text must be one that canHoldText. Its line breaks, CRLF, CR or LF,
// all become the one that TEXT knows.
std::string encodeText(std::string_view text);

// What ends a line (section 3.1), unless a file keeps to another way.
inline constexpr std::string_view crlf = "\r\n";

// The length of the byte order mark at the beginning of a text, in bytes; 0 when there is none.
// iCalendar has no such mark, but some programs write one into every UTF-8 file.
std::size_t lengthOfMark(std::string_view text);

// How much stands before the first line of a stream: blanks, line breaks and byte order marks,
// which mean nothing there.
std::size_t lengthOfPreamble(std::string_view text);

// One content line folded at 75 octets without splitting a UTF-8 character (section 3.1), each
// physical line ended by `lineEnd`.
std::string foldLine(std::string_view line, std::string_view lineEnd);

// A line without its ending, and where the next one begins.
struct Line {
    std::string_view text;
    std::size_t next;
};

// The physical line at `position`; it ends with LF or CRLF. Returns nullopt at the end of the text.
std::optional<Line> physicalLineAt(std::string_view text, std::size_t position);

// Whether the physical line at `position` continues the one before it (section 3.1).
inline bool isContinuation(std::string_view text, std::size_t position) {
    return position < text.size() && (text[position] == ' ' || text[position] == '\t');
}

// Unfolds the content line at `position`: calls `take` with its pieces in their order. Returns
// where the next line begins, or nullopt at the end of the text.
template <class Take>
std::optional<std::size_t> unfoldAt(std::string_view text, std::size_t position, Take take) {
    std::optional<Line> piece = physicalLineAt(text, position);
    if (!piece) {
        return std::nullopt;
    }
    take(piece->text);
    while (isContinuation(text, piece->next)) {
        piece = physicalLineAt(text, piece->next);
        take(piece->text.substr(1));
    }
    return piece->next;
}

// The content line at `position`, unfolded: a view of the text, or of `unfolded`, which a folded
// line is written into. Returns nullopt at the end of the text.
std::optional<Line> contentLineAt(
    std::string_view text, std::size_t position, std::string& unfolded);

} // namespace quenbrook::icalendar
