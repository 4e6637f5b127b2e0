#include "icalendar/text/ContentLine.h"

#include "unicode/Text.h"

#include <algorithm>

namespace quenbrook::icalendar {
namespace {

constexpr std::size_t foldWidth = 75;

// The position of the first of `wanted` that stands outside quotation marks.
std::size_t findOutsideQuotes(std::string_view text, std::string_view wanted, std::size_t from) {
    bool quoted = false;
    for (std::size_t i = from; i < text.size(); ++i) {
        if (text[i] == '"') {
            quoted = !quoted;
        } else if (!quoted && wanted.find(text[i]) != std::string_view::npos) {
            return i;
        }
    }
    return std::string_view::npos;
}

std::string_view withoutQuotes(std::string_view value) {
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
        return value.substr(1, value.size() - 2);
    }
    return value;
}

// RFC 6868: ^n is a line feed, ^' a quotation mark, ^^ a circumflex.
std::string decodeParameter(std::string_view value) {
    std::string decoded;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const char next = value[i] == '^' && i + 1 < value.size() ? value[i + 1] : '\0';
        const bool escape = next == 'n' || next == '\'' || next == '^';
        decoded += !escape ? value[i] : next == 'n' ? '\n' : next == '\'' ? '"' : '^';
        i += escape ? 1 : 0;
    }
    return decoded;
}

// The longest prefix of at most `limit` bytes that ends at a character's end.
std::size_t prefixAtCharacterEnd(std::string_view text, std::size_t limit) {
    if (text.size() <= limit) {
        return text.size();
    }
    std::size_t end = limit;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
        --end;
    }
    return end == 0 ? limit : end;
}

} // namespace

std::optional<ContentLine> parseContentLine(std::string_view line) {
    std::size_t nameEnd = 0;
    while (nameEnd < line.size() && line[nameEnd] != ';' && line[nameEnd] != ':') {
        ++nameEnd;
    }
    if (nameEnd == line.size() || nameEnd == 0) {
        return std::nullopt;
    }
    const std::string_view name = line.substr(0, nameEnd);
    if (line[nameEnd] == ':') {
        return ContentLine{name, {}, line.substr(nameEnd + 1)};
    }
    std::size_t colon = findOutsideQuotes(line, ":", nameEnd);
    // A quotation mark that is never closed must not swallow the value.
    if (colon == std::string_view::npos) {
        colon = line.find(':', nameEnd);
    }
    if (colon == std::string_view::npos) {
        return std::nullopt;
    }
    return ContentLine{name, line.substr(nameEnd + 1, colon - nameEnd - 1), line.substr(colon + 1)};
}

std::string withValue(const ContentLine& line, std::string_view value) {
    std::string changed(line.name);
    if (!line.parameters.empty()) {
        changed.append(";").append(line.parameters);
    }
    return changed.append(":").append(value);
}

std::optional<std::string> parameterValue(const ContentLine& line, std::string_view name) {
    std::string_view rest = line.parameters;
    while (!rest.empty()) {
        const std::size_t end = std::min(findOutsideQuotes(rest, ";", 0), rest.size());
        const std::string_view parameter = rest.substr(0, end);
        const std::size_t equals = parameter.find('=');
        if (equals != std::string_view::npos &&
            equalsIgnoringCase(parameter.substr(0, equals), name)) {
            return unicode::repairedUTF8(
                decodeParameter(withoutQuotes(parameter.substr(equals + 1))));
        }
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return std::nullopt;
}

std::string encodeParameter(std::string_view value) {
    const bool quoted = value.find_first_of(":;,") != std::string_view::npos;
    std::string encoded(quoted ? "\"" : "");
    for (const char c : value) {
        if (c == '\n') {
            encoded += "^n";
        } else if (c == '"') {
            encoded += "^'";
        } else {
            encoded.append(c == '^' ? 2 : 1, c);
        }
    }
    return quoted ? encoded + '"' : encoded;
}

std::string decodeText(std::string_view value) {
    if (value.find('\\') == std::string_view::npos) {
        return unicode::repairedUTF8(value);
    }
    std::string decoded;
    decoded.reserve(value.size());
    for (std::size_t i = 0; i < value.size(); ++i) {
        const char next = value[i] == '\\' && i + 1 < value.size() ? value[i + 1] : '\0';
        const bool lineFeed = next == 'n' || next == 'N';
        const bool escape = lineFeed || next == '\\' || next == ',' || next == ';';
        decoded += !escape ? value[i] : lineFeed ? '\n' : next;
        i += escape ? 1 : 0;
    }
    return unicode::repairedUTF8(decoded);
}

bool canHoldText(std::string_view text) {
    return std::none_of(text.begin(), text.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return (byte < 0x20 && c != '\t' && c != '\n' && c != '\r') || byte == 0x7F;
    });
}

std::string encodeText(std::string_view text) {
    std::string encoded;
    encoded.reserve(text.size());
    char last = '\0';
    for (const char c : text) {
        if (c == '\\' || c == ',' || c == ';') {
            encoded += '\\';
        }
        if (c == '\r' || (c == '\n' && last != '\r')) {
            encoded += "\\n";
        } else if (c != '\n') {
            encoded += c;
        }
        last = c;
    }
    return encoded;
}

std::size_t lengthOfMark(std::string_view text) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    return text.starts_with(byteOrderMark) ? byteOrderMark.size() : 0;
}

std::size_t lengthOfPreamble(std::string_view text) {
    std::string_view rest = text;
    for (std::size_t length = 1; length > 0;) {
        length = lengthOfMark(rest);
        length +=
            std::min(rest.substr(length).find_first_not_of(" \t\r\n\v\f"), rest.size() - length);
        rest.remove_prefix(length);
    }
    return text.size() - rest.size();
}

std::string foldLine(std::string_view line, std::string_view lineEnd) {
    std::string folded;
    std::size_t width = foldWidth;
    while (true) {
        const std::size_t taken = prefixAtCharacterEnd(line, width);
        folded += line.substr(0, taken);
        folded += lineEnd;
        line.remove_prefix(taken);
        if (line.empty()) {
            return folded;
        }
        folded += ' ';
        width = foldWidth - 1;
    }
}

std::optional<Line> physicalLineAt(std::string_view text, std::size_t position) {
    if (position >= text.size()) {
        return std::nullopt;
    }
    const std::size_t feed = text.find('\n', position);
    if (feed == std::string_view::npos) {
        return Line{text.substr(position), text.size()};
    }
    std::string_view line = text.substr(position, feed - position);
    if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return Line{line, feed + 1};
}

std::optional<Line> contentLineAt(
    std::string_view text, std::size_t position, std::string& unfolded) {
    const std::optional<Line> line = physicalLineAt(text, position);
    if (!line || !isContinuation(text, line->next)) {
        return line;
    }
    unfolded.clear();
    const auto next = unfoldAt(text, position, [&](std::string_view piece) { unfolded += piece; });
    return Line{unfolded, *next};
}

} // namespace quenbrook::icalendar
