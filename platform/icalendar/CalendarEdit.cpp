#include "platform/icalendar/CalendarEdit.h"

#include "platform/icalendar/CalendarStream.h"
#include "platform/icalendar/event/EventWriting.h"
#include "platform/icalendar/time/VTimeZone.h"

#include <algorithm>

namespace quenbrook::platform::icalendar {
namespace {

constexpr std::string_view crlf = "\r\n";

std::optional<Occurrence> occurrenceOf(const Series& series, const EventKey& key) {
    return key.originalStart && series.recurs() ? series.standingAt(*key.originalStart)
                                                : series.firstStanding();
}

bool definesZone(std::string_view text, const Outline& outline, std::string_view name) {
    return std::any_of(
        outline.timeZones.begin(), outline.timeZones.end(), [&](const TextRange& range) {
            const auto zone = ParsedComponent::parse(text, range);
            const Property* identifier = zone ? (*zone)->first("TZID") : nullptr;
            return identifier && decodeText(identifier->value) == name;
        });
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
        , series_(stream_.series(uid))
        , edit_(text) {}

    const Series* series() const { return series_.get(); }
    // For certain: not because the search was given up.
    bool nothingStands() const {
        return series_ && !series_->firstStanding() && !stream_.isExhausted();
    }
    std::string result() const { return edit_.result(); }

    void changeInPlace(const EventComponent& event, const PlannedDates& dates,
        const EventChanges& changes, Instant now) {
        apply(edit_, event, dates, changes, now);
    }

    // A copy of the master for one occurrence stands after the last component of the series.
    void addException(const Occurrence& occurrence, const PlannedDates& dates, EventChanges changes,
        Instant now) {
        const EventComponent& master = *occurrence.component;
        changes.recurrenceRules.emplace();
        TextEdit copy(text_);
        ComponentEdit(text_, *master.component, copy)
            .set("RECURRENCE-ID", lineFor("RECURRENCE-ID", occurrence.originalStart, master));
        apply(copy, master, dates, changes, now);
        const TextRange& range = (*master.component).range;
        edit_.insert(lastOfSeries(), onLinesOfItsOwn(copy.result(range)));
    }

    // The component of the occurrence becomes the whole series.
    void rewriteSeries(const Occurrence& occurrence, const PlannedDates& dates,
        const EventChanges& changes, Instant now) {
        const EventComponent& base = *occurrence.component;
        removeAllBut(&base);
        ComponentEdit(text_, *base.component, edit_).remove("RECURRENCE-ID");
        apply(edit_, base, dates, changes, now);
    }

    void exclude(const EventComponent& master, const DateTime& originalStart, Instant now) {
        ComponentEdit edit(text_, *master.component, edit_);
        edit.add(lineFor("EXDATE", originalStart, master));
        writeStamps(edit, *master.component, now);
    }

    void remove(const EventComponent& component) {
        edit_.replace((*component.component).range, {});
    }

    void removeAllBut(const EventComponent* kept) {
        for (const auto& components : {series_->masters(), series_->exceptions()}) {
            for (const EventComponent& each : components) {
                if (&each != kept) {
                    remove(each);
                }
            }
        }
    }

  private:
    void apply(TextEdit& edit, const EventComponent& event, const PlannedDates& dates,
        const EventChanges& changes, Instant now) {
        const Component& component = *event.component;
        ComponentEdit properties(text_, component, edit);
        writeDates(properties, event, dates);
        writeTexts(properties, component, changes);
        writeRules(properties, dates.start.value_or(event.start), changes);
        writeStamps(properties, component, now);
        // Components come after all properties (RFC 5545 section 3.6.1).
        writeAlarms(properties, changes, lineEnd_);
        addZoneOf(dates, event);
    }

    // A zone that the event did not name before needs its definition (RFC 5545 section 3.2.19).
    void addZoneOf(const PlannedDates& dates, const EventComponent& event) {
        // Start and end name the same new zone, unless only one of them needs UTC.
        const auto& named =
            dates.start && dates.start->form == DateTime::Form::zoned ? dates.start : dates.end;
        if (!named || named->form != DateTime::Form::zoned || names(event, named->zoneIdentifier) ||
            definesZone(text_, stream_.outline(), named->zoneIdentifier)) {
            return;
        }
        edit_.insert((*event.component).range.begin,
            writeVTimeZone(named->zoneIdentifier, named->zone, named->instant(), lineEnd_));
    }

    // A date of the series under another name, with the parameters of DTSTART when it is alike.
    static std::string lineFor(
        std::string_view name, const DateTime& value, const EventComponent& master) {
        const Property* start = (*master.component).first("DTSTART");
        if (value.form != master.start.form ||
            value.zoneIdentifier != master.start.zoneIdentifier) {
            return dateTimeProperty(name, value);
        }
        return withValue({name, start->parameters, {}}, formatDateTime(value));
    }

    std::size_t lastOfSeries() const {
        std::size_t last = 0;
        for (const auto& components : {series_->masters(), series_->exceptions()}) {
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
    CalendarStream stream_;
    std::unique_ptr<const Series> series_;
    TextEdit edit_;
};

// Whether the changes bring rules other than those that the series has.
bool bringsOtherRules(const Series& series, const EventChanges& changes) {
    if (!changes.recurrenceRules) {
        return false;
    }
    const EventComponent* master = series.master();
    if (!master) {
        return !changes.recurrenceRules->empty();
    }
    if (changes.recurrenceRules->empty() && master->recurs()) {
        return true;
    }
    const auto& wanted = *changes.recurrenceRules;
    return !std::equal(wanted.begin(), wanted.end(), master->rules.begin(), master->rules.end(),
        [&](const RecurrenceRule& rule, const Recur& present) {
            return formatRecur(recurOf(rule, master->start)) == formatRecur(present);
        });
}

bool isException(const Occurrence& occurrence) {
    return occurrence.component->recurrenceId.has_value();
}

// The component whose recurrence set the occurrence of an exception belongs to.
const EventComponent* ownerOf(const Series& series, const Occurrence& occurrence) {
    return isException(occurrence) ? series.master() : occurrence.component;
}

// Without its events a stream is nothing but the wrapping; what could not be read counts as
// something.
std::string orNothingIfEmpty(const std::string& text) {
    const Outline left = outlineOf(text);
    const bool empty = left.events.empty() && left.others == 0 && left.broken == 0;
    return empty ? std::string() : text;
}

std::string line(std::string_view name, std::string_view value) {
    return foldLine(std::string(name) + ":" + std::string(value), crlf);
}

} // namespace

std::optional<std::string> newStream(
    std::string_view uid, const EventChanges& changes, Instant now) {
    if (!canHold(changes) || !changes.start || !changes.end || *changes.end < *changes.start) {
        return std::nullopt;
    }
    const bool isAllDay = changes.isAllDay.value_or(false);
    const auto start =
        isAllDay ? firstDay(*changes.start) : timedValue(*changes.start, WritingZone::local());
    const auto end = isAllDay ? dayAfterLast(*changes.start, *changes.end)
                              : timedValue(*changes.end, WritingZone::local());
    if (!start || !end) {
        return std::nullopt;
    }

    const std::string stamp = utcText(now);
    std::string text = line("BEGIN", "VCALENDAR") + line("VERSION", "2.0") +
                       line("PRODID", "-//Quenbrook//Quenbrook//EN");
    for (const DateTime* zoned : {&*start, &*end}) {
        if (zoned->form == DateTime::Form::zoned) {
            text += writeVTimeZone(zoned->zoneIdentifier, zoned->zone, start->instant(), crlf);
            break;
        }
    }
    text += line("BEGIN", "VEVENT") + line("UID", encodeText(uid)) + line("DTSTAMP", stamp) +
            line("CREATED", stamp) + line("LAST-MODIFIED", stamp) + line("SEQUENCE", "0") +
            foldLine(dateTimeProperty("DTSTART", *start), crlf);
    // An event without length has no DTEND: it would have to be later (RFC 5545 section 3.8.2.2).
    if (end->instant() != start->instant()) {
        text += foldLine(dateTimeProperty("DTEND", *end), crlf);
    }
    text += line("END", "VEVENT") + line("END", "VCALENDAR");

    const Outline outline = outlineOf(text);
    const auto event = ParsedComponent::parse(text, outline.events.front().range);
    TextEdit edit(text);
    ComponentEdit properties(text, **event, edit);
    writeTexts(properties, **event, changes);
    writeRules(properties, *start, changes);
    writeAlarms(properties, changes, crlf);
    return edit.result();
}

std::optional<std::string> updatedStream(
    std::string_view text, const EventKey& key, const EventChanges& changes, Instant now) {
    StreamChange change(text, key.uid);
    const Series* series = change.series();
    const auto occurrence = series ? occurrenceOf(*series, key) : std::nullopt;
    if (!occurrence || !canHold(changes)) {
        return std::nullopt;
    }
    const bool otherRules = series->recurs() && bringsOtherRules(*series, changes);
    const bool newException = series->recurs() && !otherRules && !isException(*occurrence) &&
                              occurrence->component->recurs();
    const auto dates =
        planDates(*occurrence->component, occurrence->span, changes, otherRules || newException);
    if (!dates) {
        return std::nullopt;
    }

    if (otherRules) {
        change.rewriteSeries(*occurrence, *dates, changes, now);
    } else if (newException) {
        change.addException(*occurrence, *dates, changes, now);
    } else {
        EventChanges inPlace = changes;
        if (series->recurs()) {
            inPlace.recurrenceRules.reset();
        }
        change.changeInPlace(*occurrence->component, *dates, inPlace, now);
    }
    // An event that grew past what is read (by alarms without end, say) would be as good as lost.
    std::string updated = change.result();
    return findEvent(updated, key.uid) ? std::optional(std::move(updated)) : std::nullopt;
}

std::optional<std::string> streamWithout(std::string_view text, const EventKey& key, Instant now) {
    StreamChange change(text, key.uid);
    const Series* series = change.series();
    const auto occurrence = series ? occurrenceOf(*series, key) : std::nullopt;
    if (!occurrence) {
        return std::nullopt;
    }
    const EventComponent* owner = ownerOf(*series, *occurrence);
    if (isException(*occurrence) || !owner->recurs()) {
        change.remove(*occurrence->component);
    }
    // Without its exception even an event that does not recur would be there again.
    if (owner && (owner->recurs() || isException(*occurrence))) {
        change.exclude(*owner, occurrence->originalStart, now);
    }
    std::string without = change.result();

    // With its last occurrence excluded, the series goes as a whole.
    StreamChange rest(without, key.uid);
    if (rest.nothingStands()) {
        rest.removeAllBut(nullptr);
        without = rest.result();
    }
    return orNothingIfEmpty(without);
}

} // namespace quenbrook::platform::icalendar
