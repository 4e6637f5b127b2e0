#pragma once

// The part of EventKit's public interface that the store uses, declared anew for a system that does
// not have it: the same names, types and numbers. The instance variables are the stand-in's own;
// the runtime here wants them in the declaration.
#import <CoreGraphics/CoreGraphics.h>
#import <Foundation/Foundation.h>

#import <objc/blocks_runtime.h>

typedef NS_ENUM(NSInteger, EKAuthorizationStatus) {
    EKAuthorizationStatusNotDetermined = 0,
    EKAuthorizationStatusRestricted,
    EKAuthorizationStatusDenied,
    EKAuthorizationStatusFullAccess,
    EKAuthorizationStatusWriteOnly,
};

typedef NS_ENUM(NSUInteger, EKEntityType) { EKEntityTypeEvent, EKEntityTypeReminder };

typedef NS_ENUM(NSInteger, EKSpan) { EKSpanThisEvent, EKSpanFutureEvents };

typedef NS_ENUM(NSInteger, EKSourceType) {
    EKSourceTypeLocal,
    EKSourceTypeExchange,
    EKSourceTypeCalDAV,
    EKSourceTypeMobileMe,
    EKSourceTypeSubscribed,
    EKSourceTypeBirthdays
};

typedef NS_ENUM(NSInteger, EKEventAvailability) {
    EKEventAvailabilityNotSupported = -1,
    EKEventAvailabilityBusy = 0,
    EKEventAvailabilityFree,
    EKEventAvailabilityTentative,
    EKEventAvailabilityUnavailable,
};

typedef NS_ENUM(NSInteger, EKParticipantStatus) {
    EKParticipantStatusUnknown,
    EKParticipantStatusPending,
    EKParticipantStatusAccepted,
    EKParticipantStatusDeclined,
    EKParticipantStatusTentative,
    EKParticipantStatusDelegated,
    EKParticipantStatusCompleted,
    EKParticipantStatusInProcess,
};

typedef NS_ENUM(NSInteger, EKRecurrenceFrequency) {
    EKRecurrenceFrequencyDaily,
    EKRecurrenceFrequencyWeekly,
    EKRecurrenceFrequencyMonthly,
    EKRecurrenceFrequencyYearly
};

typedef NS_ENUM(NSInteger, EKWeekday) {
    EKWeekdaySunday = 1,
    EKWeekdayMonday,
    EKWeekdayTuesday,
    EKWeekdayWednesday,
    EKWeekdayThursday,
    EKWeekdayFriday,
    EKWeekdaySaturday,
};

extern NSString* _Nonnull const EKErrorDomain;

typedef NS_ENUM(NSInteger, EKErrorCode) {
    EKErrorEventNotMutable,
    EKErrorNoCalendar,
    EKErrorNoStartDate,
    EKErrorNoEndDate,
    EKErrorDatesInverted,
    EKErrorInternalFailure,
    EKErrorCalendarReadOnly,
    EKErrorEventStoreNotAuthorized = 29,
};

namespace quenbrook::standin {
struct Alarm;
struct CalendarObject;
struct EventObject;
struct Participant;
struct Rule;
struct Source;
} // namespace quenbrook::standin

@class EKCalendar;
@class EKEventStore;

NS_ASSUME_NONNULL_BEGIN

@interface EKObject : NSObject
- (void)rollback;
@end

@interface EKSource : EKObject {
    quenbrook::standin::Source* state_;
}
@property(nonatomic, readonly) EKSourceType sourceType;
@property(nonatomic, readonly) NSString* title;
@end

@interface EKCalendar : EKObject {
    quenbrook::standin::CalendarObject* state_;
}
@property(null_unspecified, nonatomic, strong) EKSource* source;
@property(nonatomic, readonly) NSString* calendarIdentifier;
@property(nonatomic, copy) NSString* title;
@property(nonatomic, readonly) BOOL allowsContentModifications;
@property(null_unspecified, nonatomic) CGColorRef CGColor;
@end

@interface EKParticipant : EKObject <NSCopying> {
    quenbrook::standin::Participant* state_;
}
@property(nonatomic, readonly) NSURL* URL;
@property(nonatomic, readonly, nullable) NSString* name;
@property(nonatomic, readonly) EKParticipantStatus participantStatus;
@end

@interface EKAlarm : EKObject <NSCopying> {
    quenbrook::standin::Alarm* state_;
}
+ (EKAlarm*)alarmWithAbsoluteDate:(NSDate*)date;
+ (EKAlarm*)alarmWithRelativeOffset:(NSTimeInterval)offset;
@property(nonatomic) NSTimeInterval relativeOffset;
@property(nonatomic, copy, nullable) NSDate* absoluteDate;
@end

@interface EKRecurrenceEnd : NSObject <NSCopying> {
    NSDate* _Nullable endDate_;
    NSUInteger occurrenceCount_;
}
+ (instancetype)recurrenceEndWithEndDate:(NSDate*)endDate;
+ (instancetype)recurrenceEndWithOccurrenceCount:(NSUInteger)occurrenceCount;
@property(nonatomic, readonly, nullable) NSDate* endDate;
@property(nonatomic, readonly) NSUInteger occurrenceCount;
@end

@interface EKRecurrenceDayOfWeek : NSObject <NSCopying> {
    EKWeekday dayOfTheWeek_;
    NSInteger weekNumber_;
}
+ (instancetype)dayOfWeek:(EKWeekday)dayOfTheWeek;
+ (instancetype)dayOfWeek:(EKWeekday)dayOfTheWeek weekNumber:(NSInteger)weekNumber;
@property(nonatomic, readonly) EKWeekday dayOfTheWeek;
@property(nonatomic, readonly) NSInteger weekNumber;
@end

@interface EKRecurrenceRule : EKObject <NSCopying> {
    quenbrook::standin::Rule* state_;
}
- (instancetype)initRecurrenceWithFrequency:(EKRecurrenceFrequency)type
                                   interval:(NSInteger)interval
                                        end:(nullable EKRecurrenceEnd*)end;
- (instancetype)initRecurrenceWithFrequency:(EKRecurrenceFrequency)type
                                   interval:(NSInteger)interval
                              daysOfTheWeek:(nullable NSArray*)days
                             daysOfTheMonth:(nullable NSArray*)monthDays
                            monthsOfTheYear:(nullable NSArray*)months
                             weeksOfTheYear:(nullable NSArray*)weeksOfTheYear
                              daysOfTheYear:(nullable NSArray*)daysOfTheYear
                               setPositions:(nullable NSArray*)setPositions
                                        end:(nullable EKRecurrenceEnd*)end;
@property(nonatomic, copy, nullable) EKRecurrenceEnd* recurrenceEnd;
@property(nonatomic, readonly) EKRecurrenceFrequency frequency;
@property(nonatomic, readonly) NSInteger interval;
@property(nonatomic, readonly, nullable) NSArray* daysOfTheWeek;
@property(nonatomic, readonly, nullable) NSArray* daysOfTheMonth;
@property(nonatomic, readonly, nullable) NSArray* monthsOfTheYear;
@end

@interface EKCalendarItem : EKObject {
    quenbrook::standin::EventObject* state_;
}
@property(nonatomic, strong, null_unspecified) EKCalendar* calendar;
@property(nonatomic, copy, null_unspecified) NSString* title;
@property(nonatomic, copy, nullable) NSString* location;
@property(nonatomic, copy, nullable) NSString* notes;
@property(nonatomic, readonly, nullable) NSDate* lastModifiedDate;
@property(nonatomic, readonly, nullable) NSArray* attendees;
@property(nonatomic, copy, nullable) NSArray* alarms;
@property(nonatomic, copy, nullable) NSArray* recurrenceRules;
@end

@interface EKEvent : EKCalendarItem
+ (EKEvent*)eventWithEventStore:(EKEventStore*)eventStore;
@property(null_unspecified, nonatomic, readonly) NSString* eventIdentifier;
@property(nonatomic, getter=isAllDay) BOOL allDay;
@property(nonatomic, copy, null_unspecified) NSDate* startDate;
@property(nonatomic, copy, null_unspecified) NSDate* endDate;
@property(nonatomic) EKEventAvailability availability;
@end

typedef void (^EKEventStoreRequestAccessCompletionHandler)(BOOL granted, NSError* _Nullable error);

@interface EKEventStore : NSObject {
    std::uint64_t number_;
    NSMutableArray* refused_;
}
+ (EKAuthorizationStatus)authorizationStatusForEntityType:(EKEntityType)entityType;
- (void)requestFullAccessToEventsWithCompletion:
    (EKEventStoreRequestAccessCompletionHandler)completion;
- (NSArray*)calendarsForEntityType:(EKEntityType)entityType;
- (nullable EKCalendar*)calendarWithIdentifier:(NSString*)identifier;
- (nullable EKEvent*)eventWithIdentifier:(NSString*)identifier;
- (NSPredicate*)predicateForEventsWithStartDate:(NSDate*)startDate
                                        endDate:(NSDate*)endDate
                                      calendars:(nullable NSArray*)calendars;
- (NSArray*)eventsMatchingPredicate:(NSPredicate*)predicate;
- (BOOL)saveEvent:(EKEvent*)event span:(EKSpan)span commit:(BOOL)commit error:(NSError**)error;
- (BOOL)removeEvent:(EKEvent*)event span:(EKSpan)span commit:(BOOL)commit error:(NSError**)error;
@end

NS_ASSUME_NONNULL_END
