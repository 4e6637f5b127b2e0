#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// Unicode text as the program needs it. Every text is UTF-8; offsets are bytes. But for the first
// two functions a text is taken to be valid UTF-8, and one that is not is never read past its end.
namespace quenbrook::unicode {

bool isValidUTF8(std::string_view text);

// Each maximal subpart of an ill-formed sequence becomes one U+FFFD (Unicode Standard, 3.9).
std::string repairedUTF8(std::string_view text);

// Without the White_Space characters at both ends.
std::string_view trimmed(std::string_view text);

// Without the characters at both ends that the platform's set of white space and line breaks has:
// White_Space and ZERO WIDTH SPACE.
std::string_view trimmedAtPlatformSpaces(std::string_view text);

// Full lower-casing of the root locale.
std::string lowercased(std::string_view text);

// At most the first `limit` user-perceived characters: the extended grapheme clusters of UAX #29,
// each a part of `text`.
std::vector<std::string_view> graphemeClusters(std::string_view text, std::size_t limit);

// A regular expression with ICU's meaning of the pattern, case-sensitive, without flags. A match
// that would exceed the engine's memory for backtracking counts as none.
class RegularExpression {
  public:
    // Throws std::invalid_argument when the pattern is none.
    explicit RegularExpression(std::string_view pattern);
    RegularExpression(RegularExpression&&) noexcept;
    RegularExpression& operator=(RegularExpression&&) noexcept;
    ~RegularExpression();

    // Whether a match begins exactly at `offset`; assertions such as \b see the whole text.
    bool matchesAt(std::string_view text, std::size_t offset);

    // Whether the whole text is a match, a line feed at its end included (which `$` alone would let
    // pass).
    bool matchesWhole(std::string_view text);

  private:
    struct Engine;
    std::unique_ptr<Engine> engine_;
};

} // namespace quenbrook::unicode
