#include "icalendar/time/Zone.h"

#include "icalendar/text/Component.h"
#include "icalendar/time/LibraryZone.h"
#include "icalendar/time/LocalTimeZone.h"
#include "icalendar/time/VTimeZone.h"
#include "icalendar/time/ZoneNames.h"
#include "unicode/Text.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <mutex>

namespace quenbrook::icalendar {
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
LocalTime lastWallClockBefore(const OffsetChange& change) {
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

// Null when the rules are none.
template <class Rules>
const OffsetTable* tableOf(const Rules& rules) {
    const auto* table = std::get_if<std::shared_ptr<const OffsetTable>>(&rules);
    return table ? table->get() : nullptr;
}

std::vector<OffsetChange>::const_iterator firstAfter(
    const OffsetTable& table, sys_seconds instant) {
    return std::partition_point(table.changes.begin(), table.changes.end(),
        [&](const OffsetChange& change) { return change.at <= instant; });
}

// What Abseil takes for more than the name of a file.
bool meansNoFile(std::string_view value) {
    return value.starts_with("Fixed/") || value.starts_with("file:");
}

// Whether a value of TZ names a FIFO, a device or a directory: to open one may take for ever.
bool leadsToNoRegularFile(const std::string& value) {
    std::error_code error;
    const auto status =
        std::filesystem::status(std::filesystem::path("/usr/share/zoneinfo") / value, error);
    return std::filesystem::exists(status) && !std::filesystem::is_regular_file(status);
}

} // namespace

Zone Zone::utc() {
    return Zone(absl::UTCTimeZone());
}

Zone Zone::fixed(seconds offset) {
    return fromTable(std::make_shared<const OffsetTable>(OffsetTable{offset, {}}));
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
    auto found = known.find(value);
    if (found == known.end() && leadsToNoRegularFile(value)) {
        found = known.emplace(value, Zone::utc()).first;
    } else if (found == known.end()) {
        absl::TimeZone zone;
        const bool isFile = !meansNoFile(value) && absl::LoadTimeZone(value, &zone);
        const bool isRule = !isFile && value.find_first_of("0123456789") != std::string::npos;
        found = known.emplace(value, isRule ? Zone(LibraryRules{}) : Zone(zone)).first;
    }
    if (std::holds_alternative<LibraryRules>(found->second.rules_)) {
        useLibraryZone();
    }
    return found->second;
}

Zone Zone::fromTable(std::shared_ptr<const OffsetTable> table) {
    return Zone(std::move(table));
}

sys_seconds Zone::instantOf(LocalTime time) const {
    if (const auto* zone = std::get_if<absl::TimeZone>(&rules_)) {
        return sys_seconds(seconds(absl::ToUnixSeconds(zone->At(civil(time)).pre)));
    }
    const OffsetTable* table = tableOf(rules_);
    if (!table) {
        return libraryInstantOf(time);
    }
    const auto next = std::partition_point(table->changes.begin(), table->changes.end(),
        [&](const OffsetChange& change) { return lastWallClockBefore(change) <= time; });
    const seconds offset = next == table->changes.begin() ? table->initial : std::prev(next)->after;
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
    const OffsetTable* table = tableOf(rules_);
    if (!table) {
        return libraryOffsetAt(instant);
    }
    const auto next = firstAfter(*table, instant);
    return next == table->changes.begin() ? table->initial : std::prev(next)->after;
}

std::optional<OffsetChange> Zone::changeAfter(sys_seconds instant) const {
    if (std::holds_alternative<absl::TimeZone>(rules_)) {
        return firstChange(instant, &absl::TimeZone::NextTransition);
    }
    const OffsetTable* table = tableOf(rules_);
    if (!table) {
        return libraryChangeAfter(instant);
    }
    const auto next = firstAfter(*table, instant);
    return next == table->changes.end() ? std::nullopt : std::optional(*next);
}

std::optional<OffsetChange> Zone::changeUpTo(sys_seconds instant) const {
    if (std::holds_alternative<absl::TimeZone>(rules_)) {
        // PrevTransition looks strictly before its argument.
        return firstChange(instant + seconds(1), &absl::TimeZone::PrevTransition);
    }
    const OffsetTable* table = tableOf(rules_);
    if (!table) {
        return libraryChangeUpTo(instant);
    }
    const auto next = firstAfter(*table, instant);
    return next == table->changes.begin() ? std::nullopt : std::optional(*std::prev(next));
}

bool Zone::isCertainAt(sys_seconds instant) const {
    const OffsetTable* table = tableOf(rules_);
    return !table || (instant >= table->from && instant < table->until);
}

std::optional<OffsetChange> Zone::firstChange(
    sys_seconds instant, Transition transitionFrom) const {
    const auto* zone = std::get_if<absl::TimeZone>(&rules_);
    absl::TimeZone::CivilTransition transition;
    // Transitions that only rename the zone are passed over.
    while (zone && (zone->*transitionFrom)(absolute(instant), &transition)) {
        const sys_seconds at(seconds(absl::ToUnixSeconds(zone->At(transition.to).trans)));
        const OffsetChange change{at, offsetAt(at - seconds(1)), offsetAt(at)};
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
    return known_.emplace(identifier, resolve(std::string(unicode::trimmed(identifier))))
        .first->second;
}

std::optional<Zone> TimeZones::resolve(const std::string& identifier) {
    if (auto zone = Zone::system(identifier)) {
        return zone;
    }
    if (auto zone = defined(identifier)) {
        return zone;
    }
    return zoneOfForeignName(identifier);
}

std::optional<Zone> TimeZones::defined(const std::string& identifier) {
    if (!definitionsByName_) {
        definitionsByName_ = definedZones(text_, definitions_);
    }
    const auto found = definitionsByName_->find(identifier);
    if (found == definitionsByName_->end() || definitionsRead_ == maximumDefinitions) {
        return std::nullopt;
    }
    ++definitionsRead_;
    const auto component = ParsedComponent::parse(text_, found->second);
    return component ? readVTimeZone(**component) : std::nullopt;
}

} // namespace quenbrook::icalendar
