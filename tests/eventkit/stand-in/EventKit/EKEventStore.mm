#import "tests/eventkit/stand-in/EventKit/Objects.h"

#include <chrono>
#include <cmath>
#include <ctime>
#include <set>

using quenbrook::standin::call;
using quenbrook::standin::countBirth;
using quenbrook::standin::countDeath;
using quenbrook::standin::Event;
using quenbrook::standin::EventObject;
using quenbrook::standin::string;
using quenbrook::standin::text;
using quenbrook::standin::utf8;
using quenbrook::standin::World;

NSString* const EKErrorDomain = @"EKErrorDomain";

@interface StandInEventPredicate : NSPredicate {
  @public
    double start_;
    double end_;
    // Null: all.
    std::set<std::u16string>* calendars_;
}
@end

@implementation StandInEventPredicate
+ (id)allocWithZone:(NSZone*)zone {
    id object = [super allocWithZone:zone];
    countBirth(object, "NSPredicate");
    return object;
}
- (void)dealloc {
    countDeath(self);
    delete calendars_;
    [super dealloc];
}
- (bool)holdsOf:(const Event&)event {
    if (calendars_ != nullptr && !calendars_->contains(event.calendar.value_or(u""))) {
        return false;
    }
    if (!event.startDate || !event.endDate) {
        return true;
    }
    if (end_ < start_) {
        return false;
    }
    const bool hasNoLength = *event.startDate == *event.endDate;
    return *event.startDate < end_ &&
           (*event.endDate > start_ || (hasNoLength && *event.startDate == start_));
}
@end

namespace {

// The local day's first moment, `days` later, for an instant.
double localMidnight(double seconds, int days) {
    const auto instant = static_cast<std::time_t>(std::floor(seconds));
    std::tm local{};
    localtime_r(&instant, &local);
    local.tm_sec = local.tm_min = local.tm_hour = 0;
    local.tm_mday += days;
    local.tm_isdst = -1;
    return static_cast<double>(std::mktime(&local));
}

// As the framework reports them: whole days of the default zone, to the last second.
void alignToDays(Event& event) {
    double& start = *event.startDate;
    double& end = *event.endDate;
    const bool endsAtMidnight = end > start && localMidnight(end, 0) == end;
    start = localMidnight(start, 0);
    end = (endsAtMidnight ? end : localMidnight(end, 1)) - 1;
}

std::optional<EKErrorCode> refusal(const Event& event) {
    World& world = World::current();
    const auto* calendar = event.calendar ? world.calendar(*event.calendar) : nullptr;
    if (calendar == nullptr) {
        return EKErrorNoCalendar;
    }
    if (!calendar->allowsContentModifications) {
        return EKErrorCalendarReadOnly;
    }
    if (!event.startDate) {
        return EKErrorNoStartDate;
    }
    if (!event.endDate) {
        return EKErrorNoEndDate;
    }
    if (*event.endDate < *event.startDate) {
        return EKErrorDatesInverted;
    }
    return std::nullopt;
}

BOOL refuse(EKErrorCode code, NSError** error) {
    if (error != nullptr) {
        *error = [NSError errorWithDomain:EKErrorDomain code:code userInfo:nil];
    }
    return NO;
}

std::string arguments(EKSpan span, BOOL commit) {
    return " span=" + std::to_string(span) + " commit=" + (commit ? "YES" : "NO");
}

double now() {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return std::floor(std::chrono::duration<double>(sinceEpoch).count());
}

void changed() {
    if (World::current().whenChanged) {
        World::current().whenChanged();
    }
}

int liveStores = 0;

} // namespace

@implementation EKEventStore
+ (id)allocWithZone:(NSZone*)zone {
    id object = [super allocWithZone:zone];
    countBirth(object, "EKEventStore");
    ++liveStores;
    return object;
}
- (instancetype)init {
    @try {
        call("EKEventStore init");
    } @catch (NSException* exception) {
        [self release];
        @throw;
    }
    return [super init];
}
- (void)dealloc {
    countDeath(self);
    if (--liveStores == 0) {
        const auto alive = quenbrook::standin::liveObjects();
        World::current().objectsThatOutlivedTheirStore +=
            alive.contains("EKEvent") || alive.contains("EKCalendar");
    }
    [super dealloc];
}
+ (EKAuthorizationStatus)authorizationStatusForEntityType:(EKEntityType)entityType {
    call("EKEventStore authorizationStatusForEntityType: " + std::to_string(entityType));
    return static_cast<EKAuthorizationStatus>(World::current().authorizationStatus);
}
- (void)requestFullAccessToEventsWithCompletion:
    (EKEventStoreRequestAccessCompletionHandler)completion {
    call("EKEventStore requestFullAccessToEventsWithCompletion:");
    EKEventStoreRequestAccessCompletionHandler copied = Block_copy(completion);
    World::current().answerPrompt([copied] {
        const bool isNewThread = GSRegisterCurrentThread();
        NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
        const auto& prompt = World::current().prompt;
        NSError* error = nil;
        if (prompt.error) {
            error = [NSError
                errorWithDomain:EKErrorDomain
                           code:EKErrorInternalFailure
                       userInfo:[NSDictionary dictionaryWithObject:string(*prompt.error)
                                                            forKey:NSLocalizedDescriptionKey]];
        }
        copied(prompt.granted, error);
        Block_release(copied);
        [pool drain];
        if (isNewThread) {
            GSUnregisterCurrentThread();
        }
    });
}
- (NSArray*)calendarsForEntityType:(EKEntityType)entityType {
    call("EKEventStore calendarsForEntityType: " + std::to_string(entityType));
    if (World::current().answersNilForLists) {
        return nil;
    }
    NSMutableArray* calendars = [NSMutableArray array];
    for (const auto& calendar : World::current().calendars) {
        [calendars addObject:[[[EKCalendar alloc] initWithCalendar:calendar] autorelease]];
    }
    return calendars;
}
- (EKCalendar*)calendarWithIdentifier:(NSString*)identifier {
    call("EKEventStore calendarWithIdentifier: " + utf8(identifier));
    const auto* calendar = World::current().calendar(text(identifier));
    return calendar == nullptr ? nil
                               : [[[EKCalendar alloc] initWithCalendar:*calendar] autorelease];
}
- (EKEvent*)eventWithIdentifier:(NSString*)identifier {
    call("EKEventStore eventWithIdentifier: " + utf8(identifier));
    const Event* event = World::current().find(text(identifier));
    return event == nullptr ? nil : [[[EKEvent alloc] initWithEvent:*event] autorelease];
}
- (NSPredicate*)predicateForEventsWithStartDate:(NSDate*)startDate
                                        endDate:(NSDate*)endDate
                                      calendars:(NSArray*)calendars {
    std::string names = calendars == nil ? " nil" : "";
    for (EKCalendar* calendar in calendars) {
        names += " " + utf8(string([calendar value].identifier));
    }
    call("EKEventStore predicateForEventsWithStartDate:endDate:calendars:" + names);
    if (calendars != nil && [calendars count] == 0) {
        [NSException raise:NSInvalidArgumentException format:@"what an empty list means is open"];
    }
    auto* predicate = [[[StandInEventPredicate alloc] init] autorelease];
    predicate->start_ = [startDate timeIntervalSince1970];
    predicate->end_ = [endDate timeIntervalSince1970];
    if (calendars != nil) {
        predicate->calendars_ = new std::set<std::u16string>;
        for (EKCalendar* calendar in calendars) {
            predicate->calendars_->insert([calendar value].identifier);
        }
    }
    return predicate;
}
- (NSArray*)eventsMatchingPredicate:(NSPredicate*)predicate {
    call("EKEventStore eventsMatchingPredicate:");
    if (World::current().answersNilForLists) {
        return nil;
    }
    NSMutableArray* events = [NSMutableArray array];
    for (const Event& event : World::current().events) {
        if ([static_cast<StandInEventPredicate*>(predicate) holdsOf:event]) {
            [events addObject:[[[EKEvent alloc] initWithEvent:event] autorelease]];
        }
    }
    return events;
}
- (BOOL)saveEvent:(EKEvent*)event span:(EKSpan)span commit:(BOOL)commit error:(NSError**)error {
    call("EKEventStore saveEvent:span:commit:error:" + arguments(span, commit));
    World& world = World::current();
    EventObject& object = [event value];
    if (world.refusesSaves) {
        return refuse(EKErrorInternalFailure, error);
    }
    Event* stored = object.saved ? world.find(object.saved->identifier.value()) : nullptr;
    if (object.saved && stored == nullptr) {
        return refuse(EKErrorEventNotMutable, error);
    }
    if (world.savesNothingWithoutError || object.current == object.saved) {
        return NO;
    }
    if (const auto code = refusal(object.current)) {
        return refuse(*code, error);
    }
    if (object.current.isAllDay) {
        alignToDays(object.current);
    }
    object.current.lastModifiedDate = now();
    if (stored == nullptr) {
        object.current.identifier = world.newIdentifier();
        stored = &world.events.emplace_back();
    }
    *stored = object.current;
    object.saved = object.current;
    changed();
    return YES;
}
- (BOOL)removeEvent:(EKEvent*)event span:(EKSpan)span commit:(BOOL)commit error:(NSError**)error {
    call("EKEventStore removeEvent:span:commit:error:" + arguments(span, commit));
    World& world = World::current();
    if (world.refusesRemovals) {
        return refuse(EKErrorInternalFailure, error);
    }
    const auto identifier = [event value].current.identifier;
    const auto removed = std::erase_if(
        world.events, [&](const Event& stored) { return stored.identifier == identifier; });
    if (removed == 0) {
        return refuse(EKErrorEventNotMutable, error);
    }
    changed();
    return YES;
}
@end
