#import "tests/eventkit/stand-in/EventKit/Objects.h"

#include "tests/eventkit/stand-in/Series.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <ctime>
#include <set>

using quenbrook::standin::call;
using quenbrook::standin::countBirth;
using quenbrook::standin::countDeath;
using quenbrook::standin::Event;
using quenbrook::standin::EventObject;
using quenbrook::standin::raiseUnless;
using quenbrook::standin::string;
using quenbrook::standin::text;
using quenbrook::standin::utf8;
using quenbrook::standin::World;

NSString* const EKErrorDomain = @"EKErrorDomain";

@interface StandInEventPredicate : NSPredicate {
  @public
    double start_;
    // No later than four years after the start.
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

double fourYearsAfter(double seconds) {
    const auto instant = static_cast<std::time_t>(std::floor(seconds));
    std::tm utc{};
    gmtime_r(&instant, &utc);
    utc.tm_year += 4;
    return static_cast<double>(timegm(&utc)) + seconds - std::floor(seconds);
}

// Why an event can be neither saved nor removed.
std::optional<EKErrorCode> refusalOfCalendar(const Event& event) {
    World& world = World::current();
    if (!world.isOpen()) {
        return EKErrorEventStoreNotAuthorized;
    }
    const auto* calendar = event.calendar ? world.calendar(*event.calendar) : nullptr;
    if (calendar == nullptr) {
        return EKErrorNoCalendar;
    }
    if (!calendar->allowsContentModifications) {
        return EKErrorCalendarReadOnly;
    }
    return std::nullopt;
}

std::optional<EKErrorCode> refusal(const Event& event) {
    if (const auto code = refusalOfCalendar(event)) {
        return code;
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

// Puts a saved event into the world, where one that is gone comes back. The event becomes what an
// object of it is from then on.
void store(Event& event, const std::optional<Event>& before, EKSpan span) {
    World& world = World::current();
    Event* stored = world.find(event.identifier.value());
    if (stored == nullptr) {
        stored = &world.events.emplace_back();
    } else if (isSeries(*stored)) {
        event.originalStart = originalStart(before.value());
        if (span == EKSpanThisEvent && event.recurrenceRules == before->recurrenceRules) {
            changeOccurrence(*stored, event);
            return;
        }
        changeOccurrencesFrom(*stored, event);
        event = *stored;
    }
    event.originalStart.reset();
    *stored = event;
    if (isSeries(event)) {
        event.originalStart = event.startDate;
    }
}

void erase(const Event& event, EKSpan span) {
    auto& events = World::current().events;
    const auto stored = std::find_if(events.begin(), events.end(),
        [&](const Event& other) { return other.identifier == event.identifier; });
    if (isSeries(*stored)) {
        const double start = originalStart(event);
        const auto& removed = stored->removedOccurrences;
        if (std::find(removed.begin(), removed.end(), start) != removed.end()) {
            return;
        }
        if (span == EKSpanThisEvent) {
            removeOccurrence(*stored, start);
        } else {
            removeOccurrencesFrom(*stored, start);
        }
        if (isSeries(*stored) && firstOccurrence(*stored)) {
            return;
        }
    }
    events.erase(stored);
}

void changed() {
    if (World::current().whenChanged) {
        World::current().whenChanged();
    }
}

Event namedInAQuery(Event occurrence) {
    if (World::current().namesOccurrencesApart && isSeries(occurrence)) {
        occurrence.externalIdentifier = occurrence.identifier;
        occurrence.identifier->append(u"/RID=1");
    }
    return occurrence;
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
    number_ = World::current().newStoreNumber();
    refused_ = [[NSMutableArray alloc] init];
    [self look];
    return [super init];
}
- (void)reset {
    call("EKEventStore reset");
    [refused_ removeAllObjects];
    [self look];
}
- (void)look {
    seesCalendars_ = !World::current().hidesUntilReset || World::current().isOpen();
}
- (bool)isOpen {
    return seesCalendars_ && World::current().isOpen();
}
- (void)dealloc {
    [refused_ release];
    countDeath(self);
    if (--liveStores == 0) {
        const auto alive = quenbrook::standin::liveObjects();
        World::current().objectsThatOutlivedTheirStore +=
            alive.contains("EKEvent") || alive.contains("EKCalendar");
    }
    [super dealloc];
}
- (std::uint64_t)number {
    return number_;
}
// What was changed and not saved, for good or ill, is what the framework hands out again.
- (EKEvent*)objectFor:(const Event&)event {
    for (EKEvent* object in refused_) {
        EventObject& known = [object value];
        if (known.saved == event && known.current != event) {
            return [[object retain] autorelease];
        }
    }
    return [[[EKEvent alloc] initWithEvent:event store:number_] autorelease];
}
- (BOOL)refuse:(EKEvent*)event with:(EKErrorCode)code error:(NSError**)error {
    if ([event value].saved && ![refused_ containsObject:event]) {
        [refused_ addObject:event];
    }
    return refuse(code, error);
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
        World& world = World::current();
        const auto& prompt = world.prompt;
        NSError* error = nil;
        if (!prompt.error && prompt.isShown) {
            world.authorizationStatus = prompt.granted ? 3 : 2;
            changed();
        }
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
    if (![self isOpen]) {
        return calendars;
    }
    for (const auto& calendar : World::current().calendars) {
        [calendars addObject:[[[EKCalendar alloc] initWithCalendar:calendar] autorelease]];
    }
    return calendars;
}
- (EKCalendar*)calendarWithIdentifier:(NSString*)identifier {
    call("EKEventStore calendarWithIdentifier: " + utf8(identifier));
    World& world = World::current();
    const auto* calendar = [self isOpen] ? world.calendar(text(identifier)) : nullptr;
    return calendar == nullptr ? nil
                               : [[[EKCalendar alloc] initWithCalendar:*calendar] autorelease];
}
- (EKEvent*)eventWithIdentifier:(NSString*)identifier {
    call("EKEventStore eventWithIdentifier: " + utf8(identifier));
    World& world = World::current();
    const Event* event = [self isOpen] ? world.find(text(identifier)) : nullptr;
    if (event == nullptr) {
        return nil;
    }
    return [self objectFor:world.leadsToRemovedOccurrences ? firstOfAll(*event)
                                                           : firstOccurrence(*event).value()];
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
    predicate->end_ = std::min([endDate timeIntervalSince1970], fourYearsAfter(predicate->start_));
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
    auto* range = static_cast<StandInEventPredicate*>(predicate);
    if (![self isOpen]) {
        return events;
    }
    for (const Event& event : World::current().events) {
        for (const Event& occurrence : occurrencesBefore(event, range->end_)) {
            if ([range holdsOf:occurrence]) {
                [events addObject:[self objectFor:namedInAQuery(occurrence)]];
            }
        }
    }
    return events;
}
- (BOOL)saveEvent:(EKEvent*)event span:(EKSpan)span commit:(BOOL)commit error:(NSError**)error {
    call("EKEventStore saveEvent:span:commit:error:" + arguments(span, commit));
    World& world = World::current();
    EventObject& object = [event value];
    raiseUnless(object.store == number_, @"an event of another store");
    if (world.refusesSaves) {
        return [self refuse:event with:EKErrorInternalFailure error:error];
    }
    const bool isStored = object.saved && world.find(object.saved->identifier.value()) != nullptr;
    if (world.savesNothingWithoutError || (isStored && object.current == object.saved)) {
        return NO;
    }
    if (const auto code = refusal(object.current)) {
        return [self refuse:event with:*code error:error];
    }
    if (object.current.isAllDay) {
        alignToDays(object.current);
    }
    object.current.lastModifiedDate = now();
    if (!object.current.identifier) {
        object.current.identifier = world.newIdentifier();
    }
    store(object.current, object.saved, span);
    if (world.changesIdentifiers) {
        const auto identifier = world.newIdentifier();
        world.find(*object.current.identifier)->identifier = identifier;
        object.current.identifier = identifier;
    }
    object.saved = object.current;
    [refused_ removeObject:event];
    changed();
    return YES;
}
- (BOOL)removeEvent:(EKEvent*)event span:(EKSpan)span commit:(BOOL)commit error:(NSError**)error {
    call("EKEventStore removeEvent:span:commit:error:" + arguments(span, commit));
    World& world = World::current();
    const EventObject& object = [event value];
    raiseUnless(object.store == number_, @"an event of another store");
    if (world.refusesRemovals) {
        return refuse(EKErrorInternalFailure, error);
    }
    if (world.removesNothingWithoutError) {
        return NO;
    }
    if (!object.saved || world.find(object.saved->identifier.value()) == nullptr) {
        return refuse(EKErrorEventNotMutable, error);
    }
    if (const auto code = refusalOfCalendar(*object.saved)) {
        return refuse(*code, error);
    }
    erase(*object.saved, span);
    changed();
    return YES;
}
@end
