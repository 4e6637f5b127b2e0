#include "stores/evolution/Queries.h"

#include <array>
#include <cstdio>

namespace quenbrook::stores::evolution {
namespace {

using std::chrono::days;
using std::chrono::sys_days;

constexpr days around{2};

// The service counts time in ways that were tried for these years. Who asks for others asks
// for nearly everything anyhow.
constexpr sys_days firstDay{std::chrono::year(1971) / 1 / 1};
constexpr sys_days lastDay{std::chrono::year(2037) / 12 / 31};

std::string timeText(sys_days day) {
    const std::chrono::year_month_day date{day};
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%04d%02u%02uT000000Z", static_cast<int>(date.year()),
        static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
    return text.data();
}

} // namespace

std::vector<std::string> rangeQueries(model::Instant start, model::Instant end) {
    const sys_days first = std::chrono::floor<days>(start) - around;
    const sys_days last = std::chrono::ceil<days>(end) + around;
    if (first < firstDay || last > lastDay) {
        return {};
    }
    return {
        "(has-recurrences?)", "(and (not (has-recurrences?)) (occur-in-time-range? (make-time \"" +
                                  timeText(first) + "\") (make-time \"" + timeText(last) + "\")))"};
}

} // namespace quenbrook::stores::evolution
