#include "icalendar/recurrence/RecurrenceExpansion.h"
#include "icalendar/recurrence/RecurrenceRuleText.h"
#include "tests/fuzz/RecurrencePredicates.h"
#include "tests/fuzz/Require.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

// A rule that parses must be equal after it was written and read again, and have the occurrences
// that a filter finds which asks every day, hour, minute and second. The bytes themselves decide
// where the rule starts and which window is asked for: white space at the end draws others.

namespace {

namespace icalendar = quenbrook::icalendar;
using icalendar::LocalTime;
using quenbrook::fuzz::require;
using std::chrono::days;

// SplitMix64 over the FNV-1a hash of the input.
class Draw {
  public:
    explicit Draw(std::string_view text) {
        for (const char c : text) {
            state_ = (state_ ^ static_cast<unsigned char>(c)) * 0x100'0000'01B3U;
        }
    }

    std::int64_t below(std::int64_t limit) {
        state_ += 0x9E37'79B9'7F4A'7C15U;
        std::uint64_t mixed = (state_ ^ (state_ >> 30U)) * 0xBF58'476D'1CE4'E5B9U;
        mixed = (mixed ^ (mixed >> 27U)) * 0x94D0'49BB'1331'11EBU;
        mixed ^= mixed >> 31U;
        return static_cast<std::int64_t>(mixed % static_cast<std::uint64_t>(limit));
    }

  private:
    std::uint64_t state_ = 0xCBF2'9CE4'8422'2325U;
};

LocalTime drawStart(Draw& draw) {
    // Where years, leap years and weeks turn, or anywhere.
    constexpr std::array<unsigned, 6> monthsAndDays{101, 229, 228, 1231, 131, 430};
    const auto year = std::chrono::year(1996 + static_cast<int>(draw.below(110)));
    std::chrono::local_days day{year / 1 / 1};
    if (draw.below(2) == 0) {
        const unsigned chosen = monthsAndDays[static_cast<std::size_t>(draw.below(6))];
        const std::chrono::year_month_day date{
            year, std::chrono::month(chosen / 100), std::chrono::day(chosen % 100)};
        day = date.ok() ? std::chrono::local_days{date} : day;
    } else {
        day += days(draw.below(366));
    }
    constexpr std::array<int, 4> times{0, 9 * 3600, 86399, 45296};
    return day + std::chrono::seconds(times[static_cast<std::size_t>(draw.below(4))]);
}

// How far from the start is looked at, by frequency: what can be asked second by second.
constexpr std::array<std::chrono::seconds, 7> farthest{std::chrono::hours{1},
    std::chrono::hours{20}, days{20}, days{300}, days{700}, days{1500}, days{4500}};

void compare(const icalendar::Recur& rule, Draw& draw) {
    const LocalTime start = drawStart(draw);
    const auto length = 1 + draw.below(farthest[static_cast<std::size_t>(rule.frequency)].count());
    const LocalTime until = start + std::chrono::seconds(length);
    const LocalTime from =
        start + std::chrono::seconds(draw.below(2) == 0 ? 0 : draw.below(length));
    auto expected = quenbrook::test::occurrencesByPredicates(rule, start, until);
    if (!expected) {
        return;
    }
    std::erase_if(*expected, [&](LocalTime time) { return time < from; });

    icalendar::WorkBudget plenty(std::int64_t{1} << 60);
    icalendar::RecurrenceExpansion expansion(rule, start, plenty);
    expansion.skipTo(from);
    expansion.endBefore(until);
    for (const LocalTime time : *expected) {
        const auto next = expansion.next();
        if (!next && expansion.work() >= icalendar::RecurrenceExpansion::workLimit) {
            return;
        }
        require(next == time);
    }
    require(!expansion.next());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto rule = icalendar::parseRecur(text);
    if (!rule) {
        return 0;
    }
    require(icalendar::parseRecur(icalendar::formatRecur(*rule)) == rule);
    Draw draw(text);
    compare(*rule, draw);
    return 0;
}
