#include "icalendar/time/VTimeZone.h"

#include "icalendar/recurrence/RecurrenceExpansion.h"
#include "icalendar/text/ContentLine.h"
#include "icalendar/time/TimeText.h"
#include "unicode/Text.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace quenbrook::icalendar {
namespace {

using std::chrono::days;
using std::chrono::seconds;
using std::chrono::sys_seconds;

constexpr std::size_t maximumChanges = 2'500;
constexpr std::size_t maximumChangesOfZone = 10'000;
// For the rules of one zone; those of the real ones need some 10,000.
constexpr std::int64_t maximumSteps = isBuiltToBeFuzzed ? 2'000 : 1'000'000;
constexpr LocalTime horizon =
    std::chrono::local_days(std::chrono::year(2200) / std::chrono::January / 1);

// One STANDARD or DAYLIGHT: when it begins, each time by the clock that it ends.
struct Observance {
    seconds from;
    seconds to;
    std::vector<LocalTime> onsets;
    // There may be further ones from here on.
    std::optional<LocalTime> lookedUntil;
};

// By the wall clock before the change; a date means the whole day.
LocalTime lastOnset(const Until& until, seconds offset) {
    switch (until.kind) {
    case Until::Kind::date:
        return until.time + days(1) - seconds(1);
    case Until::Kind::utc:
        return until.time + offset;
    case Until::Kind::local:
        break;
    }
    return until.time;
}

void addRuleOnsets(const Recur& rule, LocalTime start, Observance& observance, WorkBudget& budget) {
    RecurrenceExpansion expansion(rule, start, budget);
    expansion.endBefore(horizon);
    while (const auto onset = expansion.next()) {
        if (rule.until && *onset > lastOnset(*rule.until, observance.from)) {
            return;
        }
        if (observance.onsets.size() >= maximumChanges) {
            observance.lookedUntil = *onset;
            return;
        }
        observance.onsets.push_back(*onset);
    }
    if (budget.left() <= 0) {
        observance.lookedUntil = observance.onsets.back();
    } else if (!rule.until || rule.until->time >= horizon) {
        observance.lookedUntil = horizon;
    }
}

// A date means its midnight. Whatever follows the time (a "Z", the end of a period) does not count.
std::optional<LocalTime> parseOnset(std::string_view value) {
    value = unicode::trimmed(value);
    if (const auto date = parseDate(value)) {
        return LocalTime(date->time_since_epoch());
    }
    return parseDateTime(value.substr(0, 15));
}

void addListedOnsets(std::string_view values, Observance& observance) {
    forEachValue(values, [&](std::string_view value) {
        const bool hasRoom = observance.onsets.size() < maximumChanges;
        if (const auto onset = hasRoom ? parseOnset(value) : std::nullopt) {
            observance.onsets.push_back(*onset);
        }
    });
}

std::optional<Observance> readObservance(const Component& component, WorkBudget& budget) {
    const Property* start = component.first("DTSTART");
    const Property* from = component.first("TZOFFSETFROM");
    const Property* to = component.first("TZOFFSETTO");
    const auto onset = start ? parseOnset(start->value) : std::nullopt;
    const auto before = from ? parseUtcOffset(from->value) : std::nullopt;
    const auto after = to ? parseUtcOffset(to->value) : std::nullopt;
    if (!onset || !before || !after) {
        return std::nullopt;
    }
    Observance observance{*before, *after, {*onset}, std::nullopt};
    for (const Property& property : component.properties) {
        if (equalsIgnoringCase(property.name, "RDATE")) {
            addListedOnsets(property.value, observance);
        } else if (equalsIgnoringCase(property.name, "RRULE")) {
            if (const auto rule = parseRecur(property.value)) {
                addRuleOnsets(*rule, *onset, observance, budget);
            }
        }
    }
    return observance;
}

// How the same change looks year after year: in this month, on this weekday in these seven days, or
// on this one day.
struct YearlyPattern {
    std::chrono::month month;
    std::optional<std::chrono::weekday> weekday;
    unsigned firstDay;
    seconds timeOfDay;
    seconds from;
    seconds to;
};

LocalTime onsetOf(const OffsetChange& change) {
    return LocalTime((change.at + change.before).time_since_epoch());
}

std::chrono::weekday weekdayOf(LocalTime time) {
    return std::chrono::weekday(std::chrono::floor<days>(time));
}

// What every second change, all those of one direction, has in common, unless they differ in more
// than the day. They must span a whole cycle of 28 years, in which a fixed weekday meets all seven
// dates, and reach as far as the changes are known.
std::optional<YearlyPattern> patternOf(std::span<const OffsetChange> changes) {
    const LocalTime first = onsetOf(changes.front());
    unsigned firstDay = 31;
    unsigned lastDay = 1;
    bool sameWeekday = true;
    for (std::size_t i = 0; i < changes.size(); i += 2) {
        const LocalTime onset = onsetOf(changes[i]);
        const auto date = dateOf(onset);
        firstDay = std::min(firstDay, static_cast<unsigned>(date.day()));
        lastDay = std::max(lastDay, static_cast<unsigned>(date.day()));
        sameWeekday = sameWeekday && weekdayOf(onset) == weekdayOf(first);
        const bool same =
            date.year() == dateOf(first).year() + std::chrono::years(i / 2) &&
            date.month() == dateOf(first).month() &&
            onset - std::chrono::floor<days>(onset) == first - std::chrono::floor<days>(first) &&
            changes[i].before == changes.front().before &&
            changes[i].after == changes.front().after;
        if (!same) {
            return std::nullopt;
        }
    }
    if (lastDay != firstDay && (lastDay - firstDay != 6 || !sameWeekday)) {
        return std::nullopt;
    }
    const auto weekday = sameWeekday ? std::optional(weekdayOf(first)) : std::nullopt;
    return YearlyPattern{dateOf(first).month(), weekday, firstDay,
        first - std::chrono::floor<days>(first), changes.front().before, changes.front().after};
}

Recur ruleOf(const YearlyPattern& pattern) {
    Recur rule;
    rule.frequency = Frequency::yearly;
    rule.byMonth = {static_cast<int>(static_cast<unsigned>(pattern.month))};
    const auto lastOfMonth =
        static_cast<unsigned>((std::chrono::year(2001) / pattern.month / std::chrono::last).day());
    if (!pattern.weekday) {
        rule.byMonthDay = {static_cast<int>(pattern.firstDay)};
    } else if (pattern.firstDay % 7 == 1 && pattern.firstDay <= 22) {
        rule.byDay = {{static_cast<int>(pattern.firstDay / 7) + 1, *pattern.weekday}};
    } else if (pattern.firstDay == lastOfMonth - 6) {
        rule.byDay = {{-1, *pattern.weekday}};
    } else {
        rule.byDay = {{0, *pattern.weekday}};
        for (unsigned day = pattern.firstDay; day < pattern.firstDay + 7; ++day) {
            rule.byMonthDay.push_back(static_cast<int>(day));
        }
    }
    return rule;
}

std::string offsetText(seconds offset) {
    const auto total = std::abs(offset.count());
    std::array<char, 16> text{};
    const int length =
        std::snprintf(text.data(), text.size(), total % 60 == 0 ? "%c%02d%02d" : "%c%02d%02d%02d",
            offset.count() < 0 ? '-' : '+', static_cast<int>(total / 3600),
            static_cast<int>(total / 60 % 60), static_cast<int>(total % 60));
    return {text.data(), static_cast<std::size_t>(length)};
}

// An observance that begins at `onset`, with the further lines that repeat it.
std::string observanceText(LocalTime onset, seconds from, seconds to, bool daylight,
    const std::string& repetition, std::string_view lineEnd) {
    const std::string_view kind = daylight ? "DAYLIGHT" : "STANDARD";
    std::string text;
    for (const std::string& line : {"BEGIN:" + std::string(kind),
             "DTSTART:" + formatDateTime(onset), "TZOFFSETFROM:" + offsetText(from),
             "TZOFFSETTO:" + offsetText(to), repetition, "END:" + std::string(kind)}) {
        if (!line.empty()) {
            text += foldLine(line, lineEnd);
        }
    }
    return text;
}

constexpr std::size_t cycleYears = 28;
// Zones whose changes are listed rather than ruled (some are, until 2087) are written out so far.
constexpr std::size_t maximumListed = 200;
// The system's data tell the changes one by one for some centuries only. Yearly rules that hold
// from here on hold in all later years.
constexpr sys_seconds latestBegin =
    std::chrono::sys_days(std::chrono::year(2150) / std::chrono::January / 1);

std::vector<OffsetChange> changesFrom(const Zone& zone, sys_seconds from) {
    std::vector<OffsetChange> changes;
    from = std::min(from, latestBegin);
    if (const auto inForce = zone.changeUpTo(from)) {
        changes.push_back(*inForce);
    }
    sys_seconds at = changes.empty() ? from : changes.back().at;
    while (changes.size() < maximumListed + 2 * cycleYears) {
        const auto next = zone.changeAfter(at);
        if (!next) {
            break;
        }
        changes.push_back(*next);
        at = next->at;
    }
    return changes;
}

// Whether the first change puts the clock forward and the second puts it back. Readers take what is
// called daylight for a saving on top of a standard time: some fail when there is no such time, or
// when the "saving" is a move across the date line.
bool isDaylight(std::span<const OffsetChange> changes) {
    const OffsetChange& change = changes.front();
    return change.after > change.before && changes.size() > 1 && changes[1].after == change.before;
}

} // namespace

std::optional<Zone> readVTimeZone(const Component& component) {
    WorkBudget budget(maximumSteps);
    auto table = std::make_shared<OffsetTable>();
    for (const Component& child : component.components) {
        if (table->changes.size() >= maximumChangesOfZone) {
            table->until = sys_seconds::min();
            break;
        }
        const auto observance = readObservance(child, budget);
        if (!observance) {
            continue;
        }
        if (observance->lookedUntil) {
            table->until = std::min(table->until,
                sys_seconds(observance->lookedUntil->time_since_epoch()) - observance->from);
        }
        for (const LocalTime onset : observance->onsets) {
            table->changes.push_back({sys_seconds(onset.time_since_epoch()) - observance->from,
                observance->from, observance->to});
        }
    }
    if (table->changes.empty()) {
        return std::nullopt;
    }
    std::sort(table->changes.begin(), table->changes.end(),
        [](const auto& left, const auto& right) { return left.at < right.at; });
    table->initial = table->changes.front().before;
    table->from = table->changes.front().at;
    return Zone::fromTable(std::move(table));
}

std::map<std::string, TextRange> definedZones(
    std::string_view text, std::span<const TextRange> ranges) {
    std::map<std::string, TextRange> zones;
    for (const TextRange& range : ranges) {
        const auto component = ParsedComponent::parse(text, range);
        if (const Property* name = component ? (*component)->first("TZID") : nullptr) {
            zones.emplace(decodeText(unicode::trimmed(name->value)), range);
        }
    }
    return zones;
}

std::string writeVTimeZone(
    std::string_view name, const Zone& zone, sys_seconds from, std::string_view lineEnd) {
    std::string text =
        foldLine("BEGIN:VTIMEZONE", lineEnd) + foldLine("TZID:" + encodeText(name), lineEnd);
    const std::vector<OffsetChange> changes = changesFrom(zone, from);
    std::size_t ruled = 0;
    if (changes.empty()) {
        text += observanceText(
            LocalTime(std::chrono::local_days(std::chrono::year(1970) / std::chrono::January / 1)),
            zone.offsetAt(from), zone.offsetAt(from), false, {}, lineEnd);
    }
    for (; ruled < changes.size(); ++ruled) {
        const std::span rest = std::span(changes).subspan(ruled);
        if (rest.size() >= 2 * cycleYears) {
            const auto one = patternOf(rest);
            const auto other = patternOf(rest.subspan(1));
            if (one && other) {
                text += observanceText(onsetOf(rest[0]), one->from, one->to, isDaylight(rest),
                    "RRULE:" + formatRecur(ruleOf(*one)), lineEnd);
                text += observanceText(onsetOf(rest[1]), other->from, other->to,
                    isDaylight(rest.subspan(1)), "RRULE:" + formatRecur(ruleOf(*other)), lineEnd);
                break;
            }
        }
        text += observanceText(onsetOf(changes[ruled]), changes[ruled].before, changes[ruled].after,
            isDaylight(rest), {}, lineEnd);
    }
    return text + foldLine("END:VTIMEZONE", lineEnd);
}

} // namespace quenbrook::icalendar
