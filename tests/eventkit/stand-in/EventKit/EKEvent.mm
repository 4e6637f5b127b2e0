#import "tests/eventkit/stand-in/EventKit/Objects.h"

using quenbrook::standin::call;
using quenbrook::standin::EventObject;
using quenbrook::standin::string;
using quenbrook::standin::text;
using quenbrook::standin::utf8;
using quenbrook::standin::World;

namespace {

NSString* stringOrNil(const std::optional<std::u16string>& text) {
    return text ? string(*text) : nil;
}

std::optional<std::u16string> textOrNone(NSString* string) {
    return string == nil ? std::nullopt : std::optional(text(string));
}

NSDate* dateOrNil(const std::optional<double>& seconds) {
    return seconds ? [NSDate dateWithTimeIntervalSince1970:*seconds] : nil;
}

std::optional<double> secondsOrNone(NSDate* date) {
    return date == nil ? std::nullopt : std::optional([date timeIntervalSince1970]);
}

std::string seconds(NSDate* date) {
    return date == nil ? "nil" : std::to_string(std::int64_t([date timeIntervalSince1970]));
}

} // namespace

@implementation EKCalendarItem
- (void)dealloc {
    delete state_;
    [super dealloc];
}
- (EKCalendar*)calendar {
    call("EKEvent calendar");
    const auto& identifier = state_->current.calendar;
    const auto* calendar = identifier ? World::current().calendar(*identifier) : nullptr;
    return calendar == nullptr ? nil
                               : [[[EKCalendar alloc] initWithCalendar:*calendar] autorelease];
}
- (void)setCalendar:(EKCalendar*)calendar {
    call("EKEvent setCalendar:");
    state_->current.calendar =
        calendar == nil ? std::nullopt : std::optional([calendar value].identifier);
}
- (NSString*)calendarItemExternalIdentifier {
    call("EKEvent calendarItemExternalIdentifier");
    const auto& external = state_->current.externalIdentifier;
    return stringOrNil(external ? external : state_->current.identifier);
}
- (NSString*)title {
    call("EKEvent title");
    return stringOrNil(state_->current.title);
}
- (void)setTitle:(NSString*)title {
    call("EKEvent setTitle: " + utf8(title));
    state_->current.title = textOrNone(title);
}
- (NSString*)location {
    call("EKEvent location");
    return stringOrNil(state_->current.location);
}
- (void)setLocation:(NSString*)location {
    call("EKEvent setLocation: " + utf8(location));
    state_->current.location = textOrNone(location);
}
- (NSString*)notes {
    call("EKEvent notes");
    return stringOrNil(state_->current.notes);
}
- (void)setNotes:(NSString*)notes {
    call("EKEvent setNotes: " + utf8(notes));
    state_->current.notes = textOrNone(notes);
}
- (NSDate*)lastModifiedDate {
    call("EKEvent lastModifiedDate");
    return dateOrNil(state_->current.lastModifiedDate);
}
- (NSArray*)attendees {
    call("EKEvent attendees");
    if (!state_->current.attendees) {
        return nil;
    }
    NSMutableArray* attendees = [NSMutableArray array];
    for (const auto& participant : *state_->current.attendees) {
        [attendees addObject:[[[EKParticipant alloc] initWithParticipant:participant] autorelease]];
    }
    return attendees;
}
- (NSArray*)alarms {
    call("EKEvent alarms");
    if (!state_->current.alarms) {
        return nil;
    }
    NSMutableArray* alarms = [NSMutableArray array];
    for (const auto& alarm : *state_->current.alarms) {
        [alarms addObject:[[[EKAlarm alloc] initWithAlarm:alarm] autorelease]];
    }
    return alarms;
}
- (void)setAlarms:(NSArray*)alarms {
    call("EKEvent setAlarms: " +
         (alarms == nil ? std::string("nil") : std::to_string([alarms count])));
    state_->current.alarms.reset();
    if (alarms != nil) {
        state_->current.alarms.emplace();
        for (EKAlarm* alarm in alarms) {
            state_->current.alarms->push_back([alarm value]);
        }
    }
}
- (BOOL)hasRecurrenceRules {
    call("EKEvent hasRecurrenceRules");
    return state_->current.recurrenceRules && !state_->current.recurrenceRules->empty();
}
- (NSArray*)recurrenceRules {
    call("EKEvent recurrenceRules");
    if (!state_->current.recurrenceRules) {
        return nil;
    }
    NSMutableArray* rules = [NSMutableArray array];
    for (const auto& rule : *state_->current.recurrenceRules) {
        [rules addObject:[[[EKRecurrenceRule alloc] initWithRule:rule] autorelease]];
    }
    return rules;
}
- (void)setRecurrenceRules:(NSArray*)rules {
    call("EKEvent setRecurrenceRules: " +
         (rules == nil ? std::string("nil") : std::to_string([rules count])));
    state_->current.recurrenceRules.emplace();
    for (EKRecurrenceRule* rule in rules) {
        state_->current.recurrenceRules->push_back([rule value]);
    }
}
@end

@implementation EKEvent
- (instancetype)initWithEvent:(const quenbrook::standin::Event&)event store:(std::uint64_t)store {
    if ((self = [super init])) {
        state_ = new EventObject{store, event, event};
    }
    return self;
}
- (instancetype)initNewOf:(std::uint64_t)store {
    if ((self = [super init])) {
        state_ = new EventObject{};
        state_->store = store;
        state_->current.title = u"";
        state_->current.recurrenceRules.emplace();
    }
    return self;
}
+ (EKEvent*)eventWithEventStore:(EKEventStore*)eventStore {
    call("EKEvent eventWithEventStore:");
    quenbrook::standin::raiseUnless(eventStore != nil, @"no store");
    return [[[EKEvent alloc] initNewOf:[eventStore number]] autorelease];
}
- (BOOL)hasChanges {
    call("EKEvent hasChanges");
    return state_->current != state_->saved;
}
- (void)rollback {
    call("EKEvent rollback");
    if (state_->saved) {
        state_->current = *state_->saved;
    }
}
- (EventObject&)value {
    return *state_;
}
- (NSString*)eventIdentifier {
    call("EKEvent eventIdentifier");
    return stringOrNil(state_->current.identifier);
}
- (BOOL)isAllDay {
    call("EKEvent isAllDay");
    return state_->current.isAllDay;
}
- (void)setAllDay:(BOOL)allDay {
    call(std::string("EKEvent setAllDay: ") + (allDay ? "YES" : "NO"));
    state_->current.isAllDay = allDay;
}
- (NSDate*)startDate {
    call("EKEvent startDate");
    return dateOrNil(state_->current.startDate);
}
- (void)setStartDate:(NSDate*)date {
    call("EKEvent setStartDate: " + seconds(date));
    state_->current.startDate = secondsOrNone(date);
}
- (NSDate*)endDate {
    call("EKEvent endDate");
    return dateOrNil(state_->current.endDate);
}
- (void)setEndDate:(NSDate*)date {
    call("EKEvent setEndDate: " + seconds(date));
    state_->current.endDate = secondsOrNone(date);
}
- (EKEventAvailability)availability {
    call("EKEvent availability");
    return static_cast<EKEventAvailability>(state_->current.availability);
}
- (void)setAvailability:(EKEventAvailability)availability {
    call("EKEvent setAvailability:");
    state_->current.availability = availability;
}
@end
