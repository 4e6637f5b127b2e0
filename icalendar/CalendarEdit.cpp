#include "icalendar/CalendarEdit.h"

#include "icalendar/event/EventWriting.h"
#include "icalendar/stream/EditCheck.h"
#include "icalendar/stream/ParsedStream.h"
#include "icalendar/text/ContentLine.h"
#include "icalendar/time/VTimeZone.h"
#include "unicode/Text.h"

#include <algorithm>
#include <array>
#include <span>

namespace quenbrook::icalendar {
namespace {

std::optional<Instance> instanceOf(const Series& series, const EventKey& key) {
    return key.originalStart && series.recurs() ? series.standingAt(*key.originalStart)
                                                : series.firstStanding();
}

bool names(const EventComponent& event, std::string_view zone) {
    const auto* end = std::get_if<DateTime>(&event.extent);
    return event.start.zoneIdentifier == zone || (end && end->zoneIdentifier == zone);
}

// One change of one stream: what it is made from, and the edit that collects it.
class StreamChange {
  public:
    StreamChange(std::string_view text, std::string_view uid)
        : text_(text)
        , lineEnd_(lineEndOf(text))
        , stream_(text)
        , series_(stream_.holdsInCalendar(uid) ? stream_.series(uid) : nullptr)
        , edit_(text) {}

    // Null when there is none that may be changed.
    const Series* series() const { return series_.get(); }
    bool isExhausted() const { return stream_.isExhausted(); }
    std::string result() const { return edit_.result(); }

    void changeInPlace(const EventComponent& event, const PlannedDates& dates,
        const model::EventChanges& changes, model::Instant now) {
        write(event, dates, changes, now);
        const bool leavesItsStart =
            dates.start && (dates.start->instant() != event.start.instant() ||
                               dates.start->isDate() != event.start.isDate());
        if (leavesItsStart || event.recurrenceId) {
            removeSupersededBy(event);
        }
    }

    // A copy, for one instance, of what describes it stands after the last component of the
    // series.
    void addOverride(const Instance& instance, const PlannedDates& dates,
        model::EventChanges changes, model::Instant now) {
        const EventComponent& model = *instance.component;
        changes.recurrenceRules.emplace();
        TextEdit copy(text_);
        EventWriter writer(text_, model, copy);
        writer.becomeOverrideFor(instance.originalStart);
        writer.update(dates, changes, now);
        edit_.insert(lastOfSeries(), onLinesOfItsOwn(copy.result((*model.component).range)));
        addZoneOf(dates, model);
    }

    // The component of the instance becomes the whole series of its master.
    void rewriteSeries(const Instance& instance, const PlannedDates& dates,
        const model::EventChanges& changes, model::Instant now) {
        const EventComponent& base = *instance.component;
        if (instance.master) {
            removeSeriesBut(&base, *instance.master);
        } else {
            removeSupersededBy(base);
        }
        EventWriter(text_, base, edit_).becomeMaster();
        write(base, dates, changes, now);
    }

    void exclude(const EventComponent& master, const DateTime& originalStart, model::Instant now) {
        EventWriter(text_, master, edit_).exclude(originalStart, now);
    }

    void remove(const EventComponent& component) {
        edit_.replace((*component.component).range, {});
    }

    // Earlier revisions, which would stand again without the one that stands in their place.
    void removeSupersededBy(const EventComponent& standing) {
        for (const EventComponent& each : series_->superseded()) {
            if (&series_->successorOf(each) == &standing) {
                remove(each);
            }
        }
    }

    void removeAll() {
        for (const auto& components : allOfSeries()) {
            for (const EventComponent& each : components) {
                remove(each);
            }
        }
    }

  private:
    void write(const EventComponent& event, const PlannedDates& dates,
        const model::EventChanges& changes, model::Instant now) {
        EventWriter(text_, event, edit_).update(dates, changes, now);
        addZoneOf(dates, event);
    }

    std::array<std::span<const EventComponent>, 3> allOfSeries() const {
        return {series_->masters(), series_->overrides(), series_->superseded()};
    }

    void removeSeriesBut(const EventComponent* kept, const EventComponent& master) {
        if (&master != kept) {
            remove(master);
        }
        for (const EventComponent& each : series_->overrides()) {
            if (series_->masterOf(each) != &master) {
                continue;
            }
            removeSupersededBy(each);
            if (&each != kept) {
                remove(each);
            }
        }
        removeSupersededBy(master);
    }

    // A zone that the event did not name before needs its definition (RFC 5545 section 3.2.19).
    void addZoneOf(const PlannedDates& dates, const EventComponent& event) {
        const DateTime* zoned = dates.zoned();
        if (!zoned || names(event, zoned->zoneIdentifier) ||
            definedZones(text_, stream_.scan().timeZones).contains(zoned->zoneIdentifier)) {
            return;
        }
        edit_.insert((*event.component).range.begin,
            writeVTimeZone(zoned->zoneIdentifier, zoned->zone, zoned->instant(), lineEnd_));
    }

    std::size_t lastOfSeries() const {
        std::size_t last = 0;
        for (const auto& components : allOfSeries()) {
            for (const EventComponent& each : components) {
                last = std::max(last, (*each.component).range.end);
            }
        }
        return last;
    }

    // A text that ends without a line feed would have the next line glued to its last.
    std::string onLinesOfItsOwn(std::string component) const {
        const bool unended = text_[lastOfSeries() - 1] != '\n';
        if (!component.ends_with('\n')) {
            component += lineEnd_;
        }
        return (unended ? std::string(lineEnd_) : std::string()) + component;
    }

    std::string_view text_;
    std::string_view lineEnd_;
    ParsedStream stream_;
    std::unique_ptr<const Series> series_;
    TextEdit edit_;
};

// Whether the changes bring rules other than those that the series of the instance has.
bool bringsOtherRules(const Instance& instance, const model::EventChanges& changes) {
    if (!changes.recurrenceRules) {
        return false;
    }
    const EventComponent* master = instance.master;
    if (!master) {
        return !changes.recurrenceRules->empty();
    }
    if (changes.recurrenceRules->empty() && master->recurs()) {
        return true;
    }
    return !hasRules(*master, *changes.recurrenceRules);
}

// Without its events a stream is nothing but the wrapping; what could not be read counts as
// something.
std::string orNothingIfEmpty(const std::string& text) {
    const StreamScan left = scanStream(text);
    const bool empty = left.events.empty() && left.others == 0 && left.broken == 0;
    return empty ? std::string() : text;
}

} // namespace

std::optional<std::string> newStream(
    std::string_view uid, const model::EventChanges& changes, model::Instant now) {
    const auto dates = canHold(changes) ? planDates(changes) : std::nullopt;
    if (!dates) {
        return std::nullopt;
    }
    std::string text;
    for (const std::string_view line :
        {"BEGIN:VCALENDAR", "VERSION:2.0", "PRODID:-//Quenbrook//Quenbrook//EN"}) {
        text += foldLine(line, crlf);
    }
    const DateTime* zoned = dates->zoned();
    if (zoned && dates->start) {
        text += writeVTimeZone(zoned->zoneIdentifier, zoned->zone, dates->start->instant(), crlf);
    }
    const auto event = newEventComponent(uid, *dates, changes, now, crlf);
    return event ? std::optional(text + *event + foldLine("END:VCALENDAR", crlf)) : std::nullopt;
}

std::optional<std::string> updatedStream(std::string_view text, const EventKey& key,
    const model::EventChanges& changes, model::Instant now) {
    StreamChange change(text, key.uid);
    const Series* series = change.series();
    const auto instance = series ? instanceOf(*series, key) : std::nullopt;
    if (!instance || !canHold(changes)) {
        return std::nullopt;
    }
    const bool otherRules = series->recurs() && bringsOtherRules(*instance, changes);
    const bool needsOverride =
        series->recurs() && !otherRules && !instance->isOverride() &&
        (instance->component->recurs() || instance->component->isThisAndFuture);
    const bool getsRules = changes.recurrenceRules && !changes.recurrenceRules->empty() &&
                           (otherRules || !series->recurs());
    const auto dates = planDates(*instance, changes, otherRules || needsOverride, getsRules);
    if (!dates) {
        return std::nullopt;
    }
    const auto newStart = dates->start ? dates->start->instant() : instance->span.start;
    const bool becomesSeries = !series->recurs() && changes.recurrenceRules;
    const EditCheck check(*series, *instance, newStart, otherRules || becomesSeries);

    if (otherRules) {
        change.rewriteSeries(*instance, *dates, changes, now);
    } else if (needsOverride) {
        change.addOverride(*instance, *dates, changes, now);
    } else {
        model::EventChanges inPlace = changes;
        if (series->recurs()) {
            inPlace.recurrenceRules.reset();
        }
        change.changeInPlace(*instance->component, *dates, inPlace, now);
    }
    // An event that grew past what is read (by alarms without end, say) would be as good as lost,
    // and so would one that moved to where it is excluded.
    std::string updated = change.result();
    const StreamChange result(updated, key.uid);
    const bool isGood = result.series() && (check.isKeptWithTheChanged(*result.series()) ||
                                               change.isExhausted() || result.isExhausted());
    return isGood ? std::optional(std::move(updated)) : std::nullopt;
}

std::optional<std::string> streamWithout(
    std::string_view text, const EventKey& key, model::Instant now) {
    StreamChange change(text, key.uid);
    const Series* series = change.series();
    const auto instance = series ? instanceOf(*series, key) : std::nullopt;
    if (!instance) {
        return std::nullopt;
    }
    const EditCheck check(*series, *instance, instance->span.start, false);
    const EventComponent* owner = instance->master;
    const bool isWhole = instance->component == owner && !owner->recurs();
    if (isWhole) {
        change.remove(*owner);
        change.removeSupersededBy(*owner);
    } else if (instance->isOverride()) {
        change.remove(*instance->component);
        change.removeSupersededBy(*instance->component);
    }
    // Without its override even an event that does not recur would be there again.
    if (owner && !isWhole) {
        change.exclude(*owner, instance->originalStart, now);
    }
    std::string without = change.result();

    // With its last instance excluded, the series goes as a whole.
    StreamChange rest(without, key.uid);
    const bool isKept = !rest.series() || check.isKeptAlone(*rest.series()) ||
                        change.isExhausted() || rest.isExhausted();
    if (!isKept) {
        return std::nullopt;
    }
    if (rest.series() && !rest.series()->firstStanding()) {
        // What was not found may be there all the same.
        if (rest.isExhausted()) {
            return std::nullopt;
        }
        rest.removeAll();
        without = rest.result();
    }
    return orNothingIfEmpty(without);
}

} // namespace quenbrook::icalendar
