#import <CoreGraphics/CoreGraphics.h>
#import <EventKit/EventKit.h>
#import <Foundation/Foundation.h>

#include "stores/CalendarStore.h"

#include <atomic>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <utility>

#include <unicode/unistr.h>

// Ownership is spelled out, so that what runs on a Mac is what the tests elsewhere have counted.
#if __has_feature(objc_arc)
#error "This file counts its references itself: compile it with -fno-objc-arc."
#endif

namespace quenbrook::stores {

namespace eventkit {
namespace {

// Unlike @autoreleasepool it is drained when an exception leaves the scope, too.
class AutoreleasePool {
  public:
    AutoreleasePool() = default;
    AutoreleasePool(const AutoreleasePool&) = delete;
    AutoreleasePool& operator=(const AutoreleasePool&) = delete;
    ~AutoreleasePool() { [pool_ drain]; }

  private:
    NSAutoreleasePool* pool_ = [[NSAutoreleasePool alloc] init];
};

// One reference to an object.
template <typename Object>
class Retained {
  public:
    // Takes over the reference that +alloc gave.
    static Retained adopting(Object* object) { return Retained(object); }
    static Retained retaining(Object* object) { return Retained([object retain]); }
    Retained(Retained&& other) noexcept
        : object_(std::exchange(other.object_, nil)) {}
    Retained& operator=(Retained&& other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~Retained() { [object_ release]; }

    Object* get() const { return object_; }

  private:
    explicit Retained(Object* object)
        : object_(object) {}

    Object* object_;
};

template <auto release>
struct Releasing {
    template <typename Object>
    void operator()(Object* object) const {
        release(object);
    }
};
using OwnedColor = std::unique_ptr<std::remove_pointer_t<CGColorRef>, Releasing<CGColorRelease>>;
using OwnedColorSpace =
    std::unique_ptr<std::remove_pointer_t<CGColorSpaceRef>, Releasing<CGColorSpaceRelease>>;

// UTF-16 both ways: NUL and unpaired surrogates are then none of Foundation's business.
std::string toText(NSString* string) {
    const NSUInteger length = [string length];
    std::vector<unichar> units(length);
    [string getCharacters:units.data() range:NSMakeRange(0, length)];
    std::string text;
    icu::UnicodeString(false, units.data(), static_cast<std::int32_t>(length)).toUTF8String(text);
    return text;
}

// With the byte order said, a byte order mark at the beginning is a character like any other.
NSString* toNSString(std::string_view text) {
    static_assert(std::endian::native == std::endian::little);
    const auto units = icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
    return
        [[[NSString alloc] initWithBytes:units.getBuffer()
                                  length:static_cast<NSUInteger>(units.length()) * sizeof(unichar)
                                encoding:NSUTF16LittleEndianStringEncoding] autorelease];
}

std::optional<std::string> toOptionalText(NSString* string) {
    return string == nil ? std::nullopt : std::optional(toText(string));
}

NSString* toNSStringOrNil(const std::optional<std::string>& text) {
    return text ? toNSString(*text) : nil;
}

model::Instant toInstant(NSDate* date) {
    return model::Instant(
        std::chrono::milliseconds(std::llround([date timeIntervalSince1970] * 1000.0)));
}

std::optional<model::Instant> toOptionalInstant(NSDate* date) {
    return date == nil ? std::nullopt : std::optional(toInstant(date));
}

// A stored event always has both its dates: without one nothing true can be told of it.
model::Instant toRequiredInstant(NSDate* date) {
    if (date == nil) {
        std::abort();
    }
    return toInstant(date);
}

NSDate* toNSDate(model::Instant instant) {
    const std::chrono::duration<double> sinceEpoch = instant.time_since_epoch();
    return [NSDate dateWithTimeIntervalSince1970:sinceEpoch.count()];
}

NSDate* toNSDateOrNil(const std::optional<model::Instant>& instant) {
    return instant ? toNSDate(*instant) : nil;
}

// The body's result, all its temporary objects gone; an NSException becomes a PlatformError. That
// one is thrown behind the @catch: thrown inside, it would leave with the other still alive.
template <typename Body>
auto atTheBoundary(const Body& body) {
    const AutoreleasePool pool;
    std::string reason;
    @try {
        return body();
    } @catch (NSException* exception) {
        reason = toText([exception reason]);
    }
    throw model::PlatformError(reason);
}

// What `read` gives, or the fallback when it raises.
template <typename Value, typename Read>
Value readOr(Value fallback, const Read& read) {
    @try {
        return read();
    } @catch (NSException*) {
        return fallback;
    }
}

std::optional<model::Color> toColor(CGColorRef color) {
    if (color == nullptr) {
        return std::nullopt;
    }
    const OwnedColorSpace space(CGColorSpaceCreateWithName(kCGColorSpaceSRGB));
    if (!space) {
        std::abort();
    }
    const OwnedColor converted(CGColorCreateCopyByMatchingToColorSpace(
        space.get(), kCGRenderingIntentDefault, color, nullptr));
    if (!converted || CGColorGetNumberOfComponents(converted.get()) < 3) {
        return std::nullopt;
    }
    const CGFloat* components = CGColorGetComponents(converted.get());
    if (components == nullptr) {
        return std::nullopt;
    }
    return model::Color{components[0], components[1], components[2]};
}

std::optional<model::Source> toSource(EKSource* source) {
    if (source == nil) {
        return std::nullopt;
    }
    return model::Source{toText([source title]), [source sourceType]};
}

model::Calendar toCalendar(EKCalendar* calendar) {
    return {
        .identifier = toText([calendar calendarIdentifier]),
        .title = toText([calendar title]),
        .allowsContentModifications = static_cast<bool>([calendar allowsContentModifications]),
        .source = toSource([calendar source]),
        .color = toColor([calendar CGColor]),
    };
}

// Without what only a listing tells.
model::Calendar toCalendarOfAnEvent(EKCalendar* calendar) {
    return {
        .identifier = toText([calendar calendarIdentifier]),
        .allowsContentModifications = static_cast<bool>([calendar allowsContentModifications]),
    };
}

model::Participant toParticipant(EKParticipant* participant) {
    return {
        .url = toText([[participant URL] absoluteString]),
        .name = toOptionalText([participant name]),
        .status = [participant participantStatus],
    };
}

std::optional<model::RecurrenceEnd> toRecurrenceEnd(EKRecurrenceEnd* end) {
    if (end == nil) {
        return std::nullopt;
    }
    return model::RecurrenceEnd{
        static_cast<std::int64_t>([end occurrenceCount]), toOptionalInstant([end endDate])};
}

// The results of a function on the objects of a list, nil being an empty one.
template <typename Object, typename Function>
auto mapped(NSArray* list, const Function& function) {
    std::vector<std::invoke_result_t<Function, Object*>> results;
    results.reserve([list count]);
    for (Object* object in list) {
        results.push_back(function(object));
    }
    return results;
}

// As above, of a list that may be long: what reading one object leaves behind goes before the next
// is read. The pool is drained by hand and not by a guard, for an exception on its way through here
// lives in it; the pool around takes this one along.
template <typename Object, typename Function>
auto mappedOneByOne(NSArray* list, const Function& function) {
    return mapped<Object>(list, [&](Object* object) {
        NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
        auto result = function(object);
        [pool drain];
        return result;
    });
}

std::int64_t toNumber(NSNumber* number) {
    return [number integerValue];
}

std::int64_t toWeekday(EKRecurrenceDayOfWeek* day) {
    return [day dayOfTheWeek];
}

model::RecurrenceRule toRecurrenceRule(EKRecurrenceRule* rule) {
    return {
        .frequency = [rule frequency],
        .interval = [rule interval],
        .end = toRecurrenceEnd([rule recurrenceEnd]),
        .daysOfTheWeek = mapped<EKRecurrenceDayOfWeek>([rule daysOfTheWeek], toWeekday),
        .daysOfTheMonth = mapped<NSNumber>([rule daysOfTheMonth], toNumber),
        .monthsOfTheYear = mapped<NSNumber>([rule monthsOfTheYear], toNumber),
    };
}

// A list of one object for each value, nil when there is none.
template <typename Value, typename Function>
NSArray* listOrNil(const std::vector<Value>& values, const Function& function) {
    if (values.empty()) {
        return nil;
    }
    NSMutableArray* list = [NSMutableArray arrayWithCapacity:values.size()];
    for (const Value& value : values) {
        [list addObject:function(value)];
    }
    return list;
}

NSNumber* toNSNumber(std::int64_t number) {
    return [NSNumber numberWithInteger:number];
}

EKRecurrenceEnd* toEKRecurrenceEnd(const std::optional<model::RecurrenceEnd>& end) {
    if (!end) {
        return nil;
    }
    if (end->endDate) {
        return [EKRecurrenceEnd recurrenceEndWithEndDate:toNSDate(*end->endDate)];
    }
    return [EKRecurrenceEnd
        recurrenceEndWithOccurrenceCount:static_cast<NSUInteger>(end->occurrenceCount)];
}

// An argument that raises must not find the new object already there: all are made before it.
EKRecurrenceRule* toEKRecurrenceRule(const model::RecurrenceRule& rule) {
    const auto frequency = static_cast<EKRecurrenceFrequency>(rule.frequency);
    EKRecurrenceEnd* end = toEKRecurrenceEnd(rule.end);
    NSArray* weekdays = listOrNil(rule.daysOfTheWeek, [](std::int64_t weekday) {
        return [EKRecurrenceDayOfWeek dayOfWeek:static_cast<EKWeekday>(weekday)];
    });
    NSArray* days = listOrNil(rule.daysOfTheMonth, toNSNumber);
    NSArray* months = listOrNil(rule.monthsOfTheYear, toNSNumber);
    // What the long initializer makes of no lists at all is not documented.
    if (weekdays == nil && days == nil && months == nil) {
        return [[[EKRecurrenceRule alloc] initRecurrenceWithFrequency:frequency
                                                             interval:rule.interval
                                                                  end:end] autorelease];
    }
    return [[[EKRecurrenceRule alloc] initRecurrenceWithFrequency:frequency
                                                         interval:rule.interval
                                                    daysOfTheWeek:weekdays
                                                   daysOfTheMonth:days
                                                  monthsOfTheYear:months
                                                   weeksOfTheYear:nil
                                                    daysOfTheYear:nil
                                                     setPositions:nil
                                                              end:end] autorelease];
}

// Keeps the store as well, which has to be released after its events.
class Handle final : public model::EventHandle {
  public:
    Handle(EKEventStore* store, EKEvent* event)
        : store_(Retained<EKEventStore>::retaining(store))
        , event_(Retained<EKEvent>::retaining(event)) {}

    static EKEvent* eventOf(const model::Event& event) {
        return dynamic_cast<const Handle&>(*event.handle).event_.get();
    }

  private:
    Retained<EKEventStore> store_;
    Retained<EKEvent> event_;
};

// Reads events; those of one calendar share it.
class EventReader {
  public:
    explicit EventReader(EKEventStore* store)
        : store_(store) {}

    model::Event read(EKEvent* event) {
        return {
            .identifier = toOptionalText([event eventIdentifier]),
            .calendar = calendarOf(event),
            .title = toOptionalText([event title]),
            .start = toRequiredInstant([event startDate]),
            .end = toRequiredInstant([event endDate]),
            .isAllDay = static_cast<bool>([event isAllDay]),
            .location = toOptionalText([event location]),
            .notes = toOptionalText([event notes]),
            .participants = mapped<EKParticipant>([event attendees], toParticipant),
            .alarmCount = [[event alarms] count],
            .recurrenceRules = mapped<EKRecurrenceRule>([event recurrenceRules], toRecurrenceRule),
            .lastModified = toOptionalInstant([event lastModifiedDate]),
            .availability = [event availability],
            .handle = std::make_shared<Handle>(store_, event),
        };
    }

    model::Event readToChange(EKEvent* event) {
        return {.calendar = calendarOf(event), .handle = std::make_shared<Handle>(store_, event)};
    }

  private:
    std::shared_ptr<const model::Calendar> calendarOf(EKEvent* event) {
        EKCalendar* calendar = [event calendar];
        if (calendar == nil) {
            return nullptr;
        }
        model::Calendar read = toCalendarOfAnEvent(calendar);
        auto& known = calendars_[read.identifier];
        if (!known) {
            known = std::make_shared<model::Calendar>(std::move(read));
        }
        return known;
    }

    EKEventStore* store_;
    std::unordered_map<std::string, std::shared_ptr<const model::Calendar>> calendars_;
};

void setAlarms(EKEvent* event, const std::vector<double>& offsets) {
    NSMutableArray* alarms = [NSMutableArray arrayWithCapacity:offsets.size()];
    for (const double offset : offsets) {
        [alarms addObject:[EKAlarm alarmWithRelativeOffset:offset]];
    }
    [event setAlarms:alarms];
}

void setRecurrenceRules(EKEvent* event, const std::vector<model::RecurrenceRule>& rules) {
    [event setRecurrenceRules:listOrNil(rules, toEKRecurrenceRule)];
}

void fillNew(EKEvent* event, EKCalendar* calendar, const model::EventChanges& values) {
    [event setCalendar:calendar];
    [event setTitle:toNSStringOrNil(values.title)];
    [event setStartDate:toNSDateOrNil(values.start)];
    [event setEndDate:toNSDateOrNil(values.end)];
    [event setAllDay:values.isAllDay.value_or(false)];
    [event setLocation:toNSStringOrNil(values.location)];
    [event setNotes:toNSStringOrNil(values.notes)];
    if (values.alarms) {
        setAlarms(event, *values.alarms);
    }
    if (values.recurrenceRules) {
        setRecurrenceRules(event, *values.recurrenceRules);
    }
}

void change(EKEvent* event, const model::EventChanges& changes) {
    if (changes.title) {
        [event setTitle:toNSString(*changes.title)];
    }
    if (changes.start) {
        [event setStartDate:toNSDate(*changes.start)];
    }
    if (changes.end) {
        [event setEndDate:toNSDate(*changes.end)];
    }
    if (changes.isAllDay) {
        [event setAllDay:*changes.isAllDay];
    }
    if (changes.location) {
        [event setLocation:toNSString(*changes.location)];
    }
    if (changes.notes) {
        [event setNotes:toNSString(*changes.notes)];
    }
    if (changes.alarms) {
        setAlarms(event, *changes.alarms);
    }
    if (changes.recurrenceRules) {
        setRecurrenceRules(event, *changes.recurrenceRules);
    }
}

// The event as saved. It is saved, whatever reading it says: what cannot be read is told as it was
// to be.
model::SavedEvent toSavedEvent(EKEvent* event, EKCalendar* calendar,
    const model::Calendar& knownCalendar, const model::EventChanges& values) {
    const auto date = [](const std::optional<model::Instant>& wanted, const auto& read) {
        return readOr(wanted, [&] {
            return toOptionalInstant(read());
        }).value_or(wanted.value_or(model::Instant{}));
    };
    return {
        .identifier = readOr(
            std::optional<std::string>(), [&] { return toOptionalText([event eventIdentifier]); }),
        .calendarIdentifier =
            readOr(knownCalendar.identifier, [&] { return toText([calendar calendarIdentifier]); }),
        .start = date(values.start, [&] { return [event startDate]; }),
        .end = date(values.end, [&] { return [event endDate]; }),
    };
}

// Occurrences that were changed by themselves may have got identifiers of their own; that which a
// server knows them by they share with their series.
bool isSameOccurrence(EKEvent* one, EKEvent* other) {
    const auto same = [](NSString* first, NSString* second) {
        return first != nil && second != nil && toText(first) == toText(second);
    };
    return [[one startDate] timeIntervalSince1970] == [[other startDate] timeIntervalSince1970] &&
           (same([one eventIdentifier], [other eventIdentifier]) ||
               same([one calendarItemExternalIdentifier], [other calendarItemExternalIdentifier]));
}

class EventKitStore final : public CalendarStore {
  public:
    std::int64_t authorizationStatus() override {
        return atTheBoundary([]() -> std::int64_t {
            return [EKEventStore authorizationStatusForEntityType:EKEntityTypeEvent];
        });
    }

    void requestFullAccess(AccessCompletion completion) override {
        atTheBoundary([&] {
            // A block copies what it captures, but of a reference only the reference.
            const AccessCompletion answer = std::move(completion);
            const std::shared_ptr<std::atomic<bool>> isOutdated = isOutdated_;
            [store_.get() requestFullAccessToEventsWithCompletion:^(BOOL granted, NSError* error) {
                const AutoreleasePool pool;
                isOutdated->store(granted);
                answer(granted, error == nil ? std::nullopt
                                             : std::optional<model::PlatformError>(
                                                   toText([error localizedDescription])));
            }];
        });
    }

    std::vector<model::Calendar> calendars() override {
        return atTheBoundary([&] {
            return mapped<EKCalendar>([store() calendarsForEntityType:EKEntityTypeEvent],
                [&](EKCalendar* calendar) { return remembered(calendar, toCalendar(calendar)); });
        });
    }

    std::optional<model::Calendar> calendar(std::string_view identifier) override {
        return atTheBoundary([&]() -> std::optional<model::Calendar> {
            EKCalendar* calendar = [store() calendarWithIdentifier:toNSString(identifier)];
            return calendar == nil
                       ? std::nullopt
                       : std::optional(remembered(calendar, toCalendarOfAnEvent(calendar)));
        });
    }

    void forEachEvent(model::Instant start, model::Instant end,
        std::optional<std::span<const model::Calendar>> calendars,
        const std::function<void(model::Event)>& take) override {
        auto found = atTheBoundary([&]() -> std::vector<model::Event> {
            NSArray* filter = calendars ? objectsOf(*calendars) : nil;
            // An empty list would not mean "none" to the predicate.
            if (calendars && [filter count] == 0) {
                return {};
            }
            NSPredicate* inRange = [store() predicateForEventsWithStartDate:toNSDate(start)
                                                                    endDate:toNSDate(end)
                                                                  calendars:filter];
            EventReader reader(store());
            return mappedOneByOne<EKEvent>([store() eventsMatchingPredicate:inRange],
                [&](EKEvent* event) { return reader.read(event); });
        });
        for (model::Event& each : found) {
            take(std::move(each));
        }
    }

    std::optional<model::Event> event(std::string_view identifier) override {
        return ofEvent(
            identifier, [&](EKEvent* event) { return EventReader(store()).read(event); });
    }

    std::optional<model::Event> eventToChange(std::string_view identifier) override {
        return ofEvent(
            identifier, [&](EKEvent* event) { return EventReader(store()).readToChange(event); });
    }

    std::optional<std::vector<model::Participant>> participants(
        std::string_view identifier) override {
        return ofEvent(identifier,
            [](EKEvent* event) { return mapped<EKParticipant>([event attendees], toParticipant); });
    }

    std::optional<model::SavedEvent> create(
        const model::Calendar& calendar, const model::EventChanges& changes) override {
        return atTheBoundary([&]() -> std::optional<model::SavedEvent> {
            EKCalendar* object = objectOf(calendar);
            if (object == nil) {
                return std::nullopt;
            }
            EKEvent* event = [EKEvent eventWithEventStore:store()];
            fillNew(event, object, changes);
            const BOOL isSaved = [store() saveEvent:event
                                               span:EKSpanThisEvent
                                             commit:YES
                                              error:nullptr];
            return isSaved ? std::optional(toSavedEvent(event, object, calendar, changes))
                           : std::nullopt;
        });
    }

    bool update(const model::Event& event, const model::EventChanges& changes) override {
        return atTheBoundary([&] {
            EKEvent* object = Handle::eventOf(event);
            change(object, changes);
            NSError* error = nil;
            const BOOL isSaved = [store() saveEvent:object
                                               span:EKSpanThisEvent
                                             commit:YES
                                              error:&error];
            // NO without an error may say that there was nothing to save.
            if (isSaved || (error == nil && ![object hasChanges])) {
                return true;
            }
            // Else the framework hands out the same object again, with what it refused.
            [object rollback];
            return false;
        });
    }

    bool remove(const model::Event& event) override {
        return atTheBoundary([&] {
            EKEvent* object = Handle::eventOf(event);
            return stands(object) && [store() removeEvent:object
                                                     span:EKSpanThisEvent
                                                   commit:YES
                                                    error:nullptr];
        });
    }

  private:
    // What was read before the user answered may be the nothing that was allowed then.
    EKEventStore* store() {
        if (isOutdated_->exchange(false)) {
            [store_.get() reset];
            calendars_.clear();
        }
        return store_.get();
    }

    // What `read` makes of the event. Returns nullopt when there is none.
    template <typename Read, typename Value = std::invoke_result_t<Read, EKEvent*>>
    std::optional<Value> ofEvent(std::string_view identifier, const Read& read) {
        return atTheBoundary([&]() -> std::optional<Value> {
            EKEvent* event = [store() eventWithIdentifier:toNSString(identifier)];
            return event == nil ? std::nullopt : std::optional(read(event));
        });
    }

    // Whether a query finds the event. The identifier of a series may lead to an occurrence that
    // was removed before, and removing that once more removes nothing.
    bool stands(EKEvent* event) {
        NSDate* start = [event hasRecurrenceRules] ? [event startDate] : nil;
        if (start == nil) {
            return true;
        }
        NSPredicate* atItsStart = [store()
            predicateForEventsWithStartDate:start
                                    endDate:toNSDate(toInstant(start) + std::chrono::seconds{1})
                                  calendars:nil];
        for (EKEvent* found in [store() eventsMatchingPredicate:atItsStart]) {
            if (isSameOccurrence(found, event)) {
                return true;
            }
        }
        return false;
    }

    // Keeps the object for objectOf(): what was looked up once is not looked up again.
    model::Calendar remembered(EKCalendar* object, model::Calendar calendar) {
        calendars_.insert_or_assign(calendar.identifier, Retained<EKCalendar>::retaining(object));
        return calendar;
    }

    // Nil when the calendar is not of this store.
    EKCalendar* objectOf(const model::Calendar& calendar) {
        const auto known = calendars_.find(calendar.identifier);
        return known != calendars_.end()
                   ? known->second.get()
                   : [store() calendarWithIdentifier:toNSString(calendar.identifier)];
    }

    NSArray* objectsOf(std::span<const model::Calendar> calendars) {
        NSMutableArray* objects = [NSMutableArray arrayWithCapacity:calendars.size()];
        for (const model::Calendar& calendar : calendars) {
            if (EKCalendar* object = objectOf(calendar)) {
                [objects addObject:object];
            }
        }
        return objects;
    }

    // Released last: nothing of a store may outlive it.
    Retained<EKEventStore> store_ =
        atTheBoundary([] { return Retained<EKEventStore>::adopting([[EKEventStore alloc] init]); });
    std::unordered_map<std::string, Retained<EKCalendar>> calendars_;
    // Set by whichever thread brings the answer to the prompt, which may outlive this.
    std::shared_ptr<std::atomic<bool>> isOutdated_ = std::make_shared<std::atomic<bool>>(false);
};

} // namespace

} // namespace eventkit

std::unique_ptr<CalendarStore> openCalendarStore() {
    return std::make_unique<eventkit::EventKitStore>();
}

} // namespace quenbrook::stores
