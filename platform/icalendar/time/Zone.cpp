#include "platform/icalendar/time/Zone.h"

#include "platform/LocalTimeZone.h"
#include "platform/Text.h"
#include "platform/WindowsZones.h"
#include "platform/icalendar/text/Component.h"
#include "platform/icalendar/time/PosixZone.h"
#include "platform/icalendar/time/VTimeZone.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>

namespace quenbrook::platform::icalendar {
namespace {

using std::chrono::seconds;
using std::chrono::sys_seconds;

absl::CivilSecond civil(LocalTime time) {
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date{day};
    const std::chrono::hh_mm_ss clock{time - day};
    return absl::CivilSecond(static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
        static_cast<unsigned>(date.day()), clock.hours().count(), clock.minutes().count(),
        clock.seconds().count());
}

absl::Time absolute(sys_seconds instant) {
    return absl::FromUnixSeconds(instant.time_since_epoch().count());
}

LocalTime wallClock(absl::CivilSecond civilTime) {
    const std::chrono::year_month_day date{std::chrono::year(static_cast<int>(civilTime.year())),
        std::chrono::month(static_cast<unsigned>(civilTime.month())),
        std::chrono::day(static_cast<unsigned>(civilTime.day()))};
    return LocalTime(std::chrono::local_days(date)) + std::chrono::hours(civilTime.hour()) +
           std::chrono::minutes(civilTime.minute()) + seconds(civilTime.second());
}

// The wall clock before a change: up to it a time belongs to the offset before. In a gap that is
// the end of the gap, in a repeated stretch the end of its first pass.
LocalTime lastWallClockBefore(const OffsetTable::Change& change) {
    return LocalTime((change.at + std::max(change.before, change.after)).time_since_epoch());
}

// More zones of their own than there are on earth, files have none.
constexpr std::size_t maximumDefinitions = 1'000;

bool isPlainZoneName(std::string_view name) {
    constexpr std::string_view allowed =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_+-/";
    // No name comes near this; a long one must not be searched for and remembered.
    constexpr std::size_t maximumLength = 100;
    return !name.empty() && name.size() <= maximumLength && name.front() != '/' &&
           name.find_first_not_of(allowed) == std::string_view::npos;
}

// What Abseil takes for more than the name of a file.
bool meansNoFile(std::string_view value) {
    return value.starts_with("Fixed/") || value.starts_with("file:");
}

} // namespace

Zone Zone::utc() {
    return Zone(absl::UTCTimeZone());
}

std::optional<Zone> Zone::system(std::string_view name) {
    absl::TimeZone zone;
    if (!isPlainZoneName(name) || !absl::LoadTimeZone(std::string(name), &zone)) {
        return std::nullopt;
    }
    return Zone(zone);
}

Zone Zone::local() {
    const char* const variable = std::getenv("TZ");
    // Without a value the C library looks at this file. A leading colon means nothing to it.
    std::string value = variable ? variable : "/etc/localtime";
    value.erase(0, value.starts_with(':') ? 1 : 0);

    // Asked for with every file that is read, by several threads.
    static std::mutex mutex;
    static std::map<std::string, Zone> known;
    const std::lock_guard lock(mutex);
    const auto found = known.find(value);
    if (found != known.end()) {
        return found->second;
    }
    absl::TimeZone zone;
    const bool isFile = !meansNoFile(value) && absl::LoadTimeZone(value, &zone);
    return known.emplace(value, isFile ? Zone(zone) : readPosixZone(value).value_or(Zone::utc()))
        .first->second;
}

Zone Zone::fromTable(std::shared_ptr<const OffsetTable> table) {
    return Zone(std::move(table));
}

sys_seconds Zone::instantOf(LocalTime time) const {
    if (const auto* zone = std::get_if<absl::TimeZone>(&rules_)) {
        return sys_seconds(seconds(absl::ToUnixSeconds(zone->At(civil(time)).pre)));
    }
    const OffsetTable& table = *std::get<std::shared_ptr<const OffsetTable>>(rules_);
    const auto next = std::partition_point(table.changes.begin(), table.changes.end(),
        [&](const OffsetTable::Change& change) { return lastWallClockBefore(change) <= time; });
    const seconds offset = next == table.changes.begin() ? table.initial : std::prev(next)->after;
    return sys_seconds(time.time_since_epoch()) - offset;
}

LocalTime Zone::wallClockAt(sys_seconds instant) const {
    if (const auto* zone = std::get_if<absl::TimeZone>(&rules_)) {
        return wallClock(zone->At(absolute(instant)).cs);
    }
    return LocalTime((instant + offsetAt(instant)).time_since_epoch());
}

seconds Zone::offsetAt(sys_seconds instant) const {
    if (const auto* zone = std::get_if<absl::TimeZone>(&rules_)) {
        return seconds(zone->At(absolute(instant)).offset);
    }
    const OffsetTable& table = *std::get<std::shared_ptr<const OffsetTable>>(rules_);
    const auto next = std::partition_point(table.changes.begin(), table.changes.end(),
        [&](const OffsetTable::Change& change) { return change.at <= instant; });
    return next == table.changes.begin() ? table.initial : std::prev(next)->after;
}

std::optional<OffsetTable::Change> Zone::changeAfter(sys_seconds instant) const {
    if (const auto* table = std::get_if<std::shared_ptr<const OffsetTable>>(&rules_)) {
        const auto next = std::partition_point((*table)->changes.begin(), (*table)->changes.end(),
            [&](const OffsetTable::Change& change) { return change.at <= instant; });
        return next == (*table)->changes.end() ? std::nullopt : std::optional(*next);
    }
    return firstChange(instant, &absl::TimeZone::NextTransition);
}

std::optional<OffsetTable::Change> Zone::changeUpTo(sys_seconds instant) const {
    if (const auto* table = std::get_if<std::shared_ptr<const OffsetTable>>(&rules_)) {
        const auto next = std::partition_point((*table)->changes.begin(), (*table)->changes.end(),
            [&](const OffsetTable::Change& change) { return change.at <= instant; });
        return next == (*table)->changes.begin() ? std::nullopt : std::optional(*std::prev(next));
    }
    // PrevTransition looks strictly before its argument.
    return firstChange(instant + seconds(1), &absl::TimeZone::PrevTransition);
}

bool Zone::isCertainAt(sys_seconds instant) const {
    const auto* table = std::get_if<std::shared_ptr<const OffsetTable>>(&rules_);
    return !table || (instant >= (*table)->from && instant < (*table)->until);
}

std::optional<OffsetTable::Change> Zone::firstChange(sys_seconds instant, Step step) const {
    const auto* zone = std::get_if<absl::TimeZone>(&rules_);
    absl::TimeZone::CivilTransition transition;
    // Transitions that only rename the zone are passed over.
    while (zone && (zone->*step)(absolute(instant), &transition)) {
        const sys_seconds at(seconds(absl::ToUnixSeconds(zone->At(transition.to).trans)));
        const OffsetTable::Change change{at, offsetAt(at - seconds(1)), offsetAt(at)};
        if (change.before != change.after) {
            return change;
        }
        instant = at;
    }
    return std::nullopt;
}

std::optional<std::string> localZoneName() {
    std::string name = localTimeZoneName();
    const std::optional<Zone> zone = Zone::system(name);
    if (!zone || name == "UTC" || name == "UTC0" || name == "Etc/UTC") {
        return std::nullopt;
    }
    return name;
}

TimeZones::TimeZones(Zone local, std::string_view text, std::span<const TextRange> definitions)
    : local_(std::move(local))
    , text_(text)
    , definitions_(definitions) {}

std::optional<Zone> TimeZones::named(const std::string& identifier) {
    const auto found = known_.find(identifier);
    if (found != known_.end()) {
        return found->second;
    }
    return known_.emplace(identifier, resolve(std::string(trimmed(identifier)))).first->second;
}

std::optional<Zone> TimeZones::resolve(const std::string& identifier) {
    if (auto zone = Zone::system(identifier)) {
        return zone;
    }
    if (auto zone = defined(identifier)) {
        return zone;
    }
    if (const auto name = zoneNameOfWindowsZone(identifier)) {
        if (auto zone = Zone::system(*name)) {
            return zone;
        }
    }
    std::size_t at = identifier.find('/');
    while (at != std::string::npos) {
        if (auto zone = Zone::system(std::string_view(identifier).substr(at + 1))) {
            return zone;
        }
        at = identifier.find('/', at + 1);
    }
    return std::nullopt;
}

std::optional<Zone> TimeZones::defined(const std::string& identifier) {
    if (!definitionsAreNamed_) {
        nameDefinitions();
    }
    const auto found = definitionsByName_.find(identifier);
    if (found == definitionsByName_.end() || definitionsRead_ == maximumDefinitions) {
        return std::nullopt;
    }
    ++definitionsRead_;
    const auto component = ParsedComponent::parse(text_, *found->second);
    return component ? readVTimeZone(**component) : std::nullopt;
}

void TimeZones::nameDefinitions() {
    definitionsAreNamed_ = true;
    for (const TextRange& range : definitions_) {
        const auto component = ParsedComponent::parse(text_, range);
        const Property* name = component ? (*component)->first("TZID") : nullptr;
        if (name) {
            definitionsByName_.emplace(decodeText(trimmed(name->value)), &range);
        }
    }
}

} // namespace quenbrook::platform::icalendar
