#pragma once

#import <EventKit/EventKit.h>

#include "tests/eventkit/stand-in/CoreGraphics/Color.h"
#include "tests/eventkit/stand-in/World.h"

#include <string>
#include <string_view>

// How the stand-in's classes come from the world's values and lead back to them, without a trace in
// the log of calls.
namespace quenbrook::standin {

struct CalendarObject {
    Calendar calendar;
    // Null: none.
    CGColorRef color;
};

// A copy that its object owns, and what was last read from or written to the world.
struct EventObject {
    // The store that the object belongs to.
    std::uint64_t store = 0;
    Event current;
    // Absent: never saved.
    std::optional<Event> saved;
};

NSString* string(std::u16string_view text);
std::u16string text(NSString* string);
// For the log of calls.
std::string utf8(NSString* string);

// Records the call and raises when it is to.
void call(std::string what);

// For arguments that the framework does not take.
void raiseUnless(bool isValid, NSString* reason);

} // namespace quenbrook::standin

@interface EKCalendar (StandIn)
- (instancetype)initWithCalendar:(const quenbrook::standin::Calendar&)calendar;
- (const quenbrook::standin::Calendar&)value;
@end

@interface EKSource (StandIn)
- (instancetype)initWithSource:(const quenbrook::standin::Source&)source;
@end

@interface EKParticipant (StandIn)
- (instancetype)initWithParticipant:(const quenbrook::standin::Participant&)participant;
@end

@interface EKAlarm (StandIn)
- (instancetype)initWithAlarm:(const quenbrook::standin::Alarm&)alarm;
- (const quenbrook::standin::Alarm&)value;
@end

@interface EKRecurrenceEnd (StandIn)
- (quenbrook::standin::RuleEnd)value;
@end

@interface EKRecurrenceDayOfWeek (StandIn)
- (quenbrook::standin::DayOfWeek)value;
@end

@interface EKRecurrenceRule (StandIn)
- (instancetype)initWithRule:(const quenbrook::standin::Rule&)rule;
- (const quenbrook::standin::Rule&)value;
@end

@interface EKEventStore (StandIn)
- (std::uint64_t)number;
@end

@interface EKEvent (StandIn)
- (instancetype)initWithEvent:(const quenbrook::standin::Event&)event store:(std::uint64_t)store;
- (quenbrook::standin::EventObject&)value;
@end
