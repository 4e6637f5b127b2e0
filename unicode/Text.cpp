#include "unicode/Text.h"

#include <cstdint>
#include <cstring>
#include <stdexcept>

#include <unicode/brkiter.h>
#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/locid.h>
#include <unicode/regex.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

namespace quenbrook::unicode {
namespace {

void check(UErrorCode status) {
    if (status == U_MEMORY_ALLOCATION_ERROR) {
        throw std::bad_alloc();
    }
    if (U_FAILURE(status)) {
        throw std::runtime_error(u_errorName(status));
    }
}

// ICU's view of a UTF-8 text. The text must outlive it.
class UTF8Text {
  public:
    explicit UTF8Text(std::string_view text) {
        UErrorCode status = U_ZERO_ERROR;
        utext_openUTF8(&text_, text.data(), static_cast<std::int64_t>(text.size()), &status);
        check(status);
    }
    UTF8Text(const UTF8Text&) = delete;
    UTF8Text& operator=(const UTF8Text&) = delete;
    ~UTF8Text() { utext_close(&text_); }

    UText* get() { return &text_; }

  private:
    UText text_ = UTEXT_INITIALIZER;
};

// ICU counts the bytes of a text in 32 bits in places.
constexpr std::size_t longestText = INT32_MAX;

std::size_t asciiUntil(std::string_view text, std::size_t from) {
    std::size_t at = from;
    for (std::uint64_t word = 0; at + sizeof word <= text.size(); at += sizeof word) {
        std::memcpy(&word, text.data() + at, sizeof word);
        if ((word & 0x8080808080808080ULL) != 0) {
            break;
        }
    }
    while (at < text.size() && static_cast<unsigned char>(text[at]) < 0x80) {
        ++at;
    }
    return at;
}

struct CodePoint {
    // Negative for a maximal subpart of an ill-formed sequence.
    UChar32 value;
    std::size_t length;
};

CodePoint firstCodePoint(std::string_view text) {
    // Four bytes always suffice, whatever the length of the text.
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    const int available = text.size() < 4 ? static_cast<int>(text.size()) : 4;
    int length = 0;
    UChar32 value = 0;
    // NOLINTNEXTLINE(bugprone-inc-dec-in-conditions): so ICU has written its macro.
    U8_NEXT(bytes, length, available, value);
    return {value, static_cast<std::size_t>(length)};
}

CodePoint lastCodePoint(std::string_view text) {
    const std::size_t window = text.size() < 4 ? text.size() : 4;
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data() + text.size() - window);
    int start = static_cast<int>(window);
    UChar32 value = 0;
    U8_PREV(bytes, 0, start, value);
    return {value, window - static_cast<std::size_t>(start)};
}

bool isWhiteSpace(CodePoint codePoint) {
    return codePoint.value >= 0 && u_isUWhiteSpace(codePoint.value);
}

template <class IsSpace>
std::string_view trimmedAt(std::string_view text, const IsSpace& isSpace) {
    const auto isPlain = [](char c) { return c > ' ' && c < '\x7F'; };
    if (!text.empty() && isPlain(text.front()) && isPlain(text.back())) {
        return text;
    }
    while (!text.empty()) {
        const CodePoint first = firstCodePoint(text);
        if (!isSpace(first)) {
            break;
        }
        text.remove_prefix(first.length);
    }
    while (!text.empty()) {
        const CodePoint last = lastCodePoint(text);
        if (!isSpace(last)) {
            break;
        }
        text.remove_suffix(last.length);
    }
    return text;
}

} // namespace

bool isValidUTF8(std::string_view text) {
    for (std::size_t at = asciiUntil(text, 0); at < text.size(); at = asciiUntil(text, at)) {
        const CodePoint codePoint = firstCodePoint(text.substr(at));
        if (codePoint.value < 0) {
            return false;
        }
        at += codePoint.length;
    }
    return true;
}

std::string repairedUTF8(std::string_view text) {
    std::string repaired;
    repaired.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = asciiUntil(text, at);
        repaired.append(text, at, end - at);
        at = end;
        if (at < text.size()) {
            const CodePoint codePoint = firstCodePoint(text.substr(at));
            repaired.append(codePoint.value < 0 ? std::string_view("\uFFFD")
                                                : text.substr(at, codePoint.length));
            at += codePoint.length;
        }
    }
    return repaired;
}

std::string_view trimmed(std::string_view text) {
    return trimmedAt(text, isWhiteSpace);
}

std::string_view trimmedAtPlatformSpaces(std::string_view text) {
    constexpr UChar32 zeroWidthSpace = 0x200B;
    return trimmedAt(text, [](CodePoint codePoint) {
        return isWhiteSpace(codePoint) || codePoint.value == zeroWidthSpace;
    });
}

std::string lowercased(std::string_view text) {
    if (text.size() > longestText) {
        throw std::length_error("text too long");
    }
    UErrorCode status = U_ZERO_ERROR;
    std::string lower;
    icu::StringByteSink<std::string> sink(&lower);
    icu::CaseMap::utf8ToLower("", 0,
        icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())), sink, nullptr,
        status);
    check(status);
    return lower;
}

std::vector<std::string_view> graphemeClusters(std::string_view text, std::size_t limit) {
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::BreakIterator> breaks(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    check(status);
    UTF8Text view(text);
    breaks->setText(view.get(), status);
    check(status);

    std::vector<std::string_view> clusters;
    std::int32_t start = breaks->first();
    while (clusters.size() < limit) {
        const std::int32_t end = breaks->next();
        if (end == icu::BreakIterator::DONE) {
            break;
        }
        clusters.push_back(
            text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(end - start)));
        start = end;
    }
    return clusters;
}

struct RegularExpression::Engine {
    std::unique_ptr<icu::RegexPattern> pattern;
    std::unique_ptr<icu::RegexMatcher> matcher;
};

RegularExpression::RegularExpression(std::string_view pattern)
    : engine_(std::make_unique<Engine>()) {
    UErrorCode status = U_ZERO_ERROR;
    UParseError where{};
    const auto text = icu::UnicodeString::fromUTF8(
        icu::StringPiece(pattern.data(), static_cast<std::int32_t>(pattern.size())));
    engine_->pattern.reset(icu::RegexPattern::compile(text, where, status));
    if (U_SUCCESS(status)) {
        engine_->matcher.reset(engine_->pattern->matcher(status));
    }
    if (U_FAILURE(status)) {
        throw std::invalid_argument("no regular expression: " + std::string(pattern));
    }
    engine_->matcher->useTransparentBounds(true);
    engine_->matcher->useAnchoringBounds(false);
}

RegularExpression::RegularExpression(RegularExpression&&) noexcept = default;
RegularExpression& RegularExpression::operator=(RegularExpression&&) noexcept = default;
RegularExpression::~RegularExpression() = default;

bool RegularExpression::matchesAt(std::string_view text, std::size_t offset) {
    UErrorCode status = U_ZERO_ERROR;
    UTF8Text view(text);
    engine_->matcher->reset(view.get());
    return engine_->matcher->lookingAt(static_cast<std::int64_t>(offset), status) &&
           U_SUCCESS(status);
}

bool RegularExpression::matchesWhole(std::string_view text) {
    UErrorCode status = U_ZERO_ERROR;
    UTF8Text view(text);
    engine_->matcher->reset(view.get());
    return engine_->matcher->matches(status) && U_SUCCESS(status);
}

} // namespace quenbrook::unicode
