#include "platform/icalendar/recurrence/RecurrenceExpansion.h"
#include "platform/icalendar/recurrence/RecurrenceRuleText.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

// A rule that parses must be the same after it was written and read again, and its occurrences must
// ascend.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    namespace icalendar = quenbrook::platform::icalendar;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto rule = icalendar::parseRecur(text);
    if (!rule) {
        return 0;
    }
    if (icalendar::parseRecur(icalendar::formatRecur(*rule)) != rule) {
        std::abort();
    }
    const icalendar::LocalTime start =
        std::chrono::local_days(std::chrono::year(2024) / 2 / 29) + std::chrono::hours(9);
    icalendar::RecurrenceExpansion expansion(*rule, start);
    icalendar::LocalTime last = start - std::chrono::seconds(1);
    for (int i = 0; i < 50; ++i) {
        const auto next = expansion.next();
        if (!next) {
            break;
        }
        if (*next <= last) {
            std::abort();
        }
        last = *next;
    }
    return 0;
}
