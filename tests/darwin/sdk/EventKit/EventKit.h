#pragma once

// The part of EventKit's public interface that the macOS store uses, with the types that Apple's
// SDK gives it. The stand-in that runs on Linux (tests/eventkit/stand-in) has these declarations,
// too: its runtime wants the instance variables in them, and knows no generic lists.
#import <CoreGraphics/CoreGraphics.h>
#import <Foundation/Foundation.h>

#ifndef QUENBROOK_INSTANCE_VARIABLES
#define QUENBROOK_INSTANCE_VARIABLES(...)
#endif
#ifndef QUENBROOK_LIST_OF
#define QUENBROOK_LIST_OF(type) NSArray<type*>*
#endif

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

@class EKCalendar, EKEvent, EKEventStore;

NS_ASSUME_NONNULL_BEGIN

@interface EKObject : NSObject
@property(nonatomic, readonly) BOOL hasChanges;
- (void)rollback;
@end

@interface EKSource : EKObject
QUENBROOK_INSTANCE_VARIABLES(quenbrook::standin::Source* state_;)
@property(nonatomic, readonly) EKSourceType sourceType;
@property(nonatomic, readonly) NSString* title;
@end

@interface EKCalendar : EKObject
QUENBROOK_INSTANCE_VARIABLES(quenbrook::standin::CalendarObject* state_;)
@property(null_unspecified, nonatomic, strong) EKSource* source;
@property(nonatomic, readonly) NSString* calendarIdentifier;
@property(nonatomic, copy) NSString* title;
@property(nonatomic, readonly) BOOL allowsContentModifications;
@property(null_unspecified, nonatomic) CGColorRef CGColor;
@end

@interface EKParticipant : EKObject <NSCopying>
QUENBROOK_INSTANCE_VARIABLES(quenbrook::standin::Participant* state_;)
@property(nonatomic, readonly) NSURL* URL;
@property(nonatomic, readonly, nullable) NSString* name;
@property(nonatomic, readonly) EKParticipantStatus participantStatus;
@end

@interface EKAlarm : EKObject <NSCopying>
QUENBROOK_INSTANCE_VARIABLES(quenbrook::standin::Alarm* state_;)
+ (EKAlarm*)alarmWithAbsoluteDate:(NSDate*)date;
+ (EKAlarm*)alarmWithRelativeOffset:(NSTimeInterval)offset;
@property(nonatomic) NSTimeInterval relativeOffset;
@property(nonatomic, copy, nullable) NSDate* absoluteDate;
@end

@interface EKRecurrenceEnd : NSObject <NSCopying>
QUENBROOK_INSTANCE_VARIABLES(NSDate* _Nullable endDate_; NSUInteger occurrenceCount_;)
+ (instancetype)recurrenceEndWithEndDate:(NSDate*)endDate;
+ (instancetype)recurrenceEndWithOccurrenceCount:(NSUInteger)occurrenceCount;
@property(nonatomic, readonly, nullable) NSDate* endDate;
@property(nonatomic, readonly) NSUInteger occurrenceCount;
@end

@interface EKRecurrenceDayOfWeek : NSObject <NSCopying>
QUENBROOK_INSTANCE_VARIABLES(EKWeekday dayOfTheWeek_; NSInteger weekNumber_;)
+ (instancetype)dayOfWeek:(EKWeekday)dayOfTheWeek;
+ (instancetype)dayOfWeek:(EKWeekday)dayOfTheWeek weekNumber:(NSInteger)weekNumber;
@property(nonatomic, readonly) EKWeekday dayOfTheWeek;
@property(nonatomic, readonly) NSInteger weekNumber;
@end

@interface EKRecurrenceRule : EKObject <NSCopying>
QUENBROOK_INSTANCE_VARIABLES(quenbrook::standin::Rule* state_;)
- (instancetype)initRecurrenceWithFrequency:(EKRecurrenceFrequency)type
                                   interval:(NSInteger)interval
                                        end:(nullable EKRecurrenceEnd*)end;
- (instancetype)initRecurrenceWithFrequency:(EKRecurrenceFrequency)type
                                   interval:(NSInteger)interval
                              daysOfTheWeek:(nullable QUENBROOK_LIST_OF(EKRecurrenceDayOfWeek))days
                             daysOfTheMonth:(nullable QUENBROOK_LIST_OF(NSNumber))monthDays
                            monthsOfTheYear:(nullable QUENBROOK_LIST_OF(NSNumber))months
                             weeksOfTheYear:(nullable QUENBROOK_LIST_OF(NSNumber))weeksOfTheYear
                              daysOfTheYear:(nullable QUENBROOK_LIST_OF(NSNumber))daysOfTheYear
                               setPositions:(nullable QUENBROOK_LIST_OF(NSNumber))setPositions
                                        end:(nullable EKRecurrenceEnd*)end;
@property(nonatomic, copy, nullable) EKRecurrenceEnd* recurrenceEnd;
@property(nonatomic, readonly) EKRecurrenceFrequency frequency;
@property(nonatomic, readonly) NSInteger interval;
@property(nonatomic, readonly, nullable) QUENBROOK_LIST_OF(EKRecurrenceDayOfWeek) daysOfTheWeek;
@property(nonatomic, readonly, nullable) QUENBROOK_LIST_OF(NSNumber) daysOfTheMonth;
@property(nonatomic, readonly, nullable) QUENBROOK_LIST_OF(NSNumber) monthsOfTheYear;
@end

@interface EKCalendarItem : EKObject
QUENBROOK_INSTANCE_VARIABLES(quenbrook::standin::EventObject* state_;)
@property(nonatomic, strong, null_unspecified) EKCalendar* calendar;
@property(nonatomic, readonly, null_unspecified) NSString* calendarItemExternalIdentifier;
@property(nonatomic, copy, null_unspecified) NSString* title;
@property(nonatomic, copy, nullable) NSString* location;
@property(nonatomic, copy, nullable) NSString* notes;
@property(nonatomic, readonly, nullable) NSDate* lastModifiedDate;
@property(nonatomic, readonly, nullable) QUENBROOK_LIST_OF(EKParticipant) attendees;
@property(nonatomic, copy, nullable) QUENBROOK_LIST_OF(EKAlarm) alarms;
@property(nonatomic, readonly) BOOL hasRecurrenceRules;
@property(nonatomic, copy, nullable) QUENBROOK_LIST_OF(EKRecurrenceRule) recurrenceRules;
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

@interface EKEventStore : NSObject
QUENBROOK_INSTANCE_VARIABLES(std::uint64_t number_; NSMutableArray * refused_; bool seesCalendars_;)
+ (EKAuthorizationStatus)authorizationStatusForEntityType:(EKEntityType)entityType;
- (void)requestFullAccessToEventsWithCompletion:
    (EKEventStoreRequestAccessCompletionHandler)completion;
- (QUENBROOK_LIST_OF(EKCalendar))calendarsForEntityType:(EKEntityType)entityType;
- (nullable EKCalendar*)calendarWithIdentifier:(NSString*)identifier;
- (nullable EKEvent*)eventWithIdentifier:(NSString*)identifier;
- (void)reset;
- (NSPredicate*)predicateForEventsWithStartDate:(NSDate*)startDate
                                        endDate:(NSDate*)endDate
                                      calendars:(nullable QUENBROOK_LIST_OF(EKCalendar))calendars;
- (QUENBROOK_LIST_OF(EKEvent))eventsMatchingPredicate:(NSPredicate*)predicate;
- (BOOL)saveEvent:(EKEvent*)event span:(EKSpan)span commit:(BOOL)commit error:(NSError**)error;
- (BOOL)removeEvent:(EKEvent*)event span:(EKSpan)span commit:(BOOL)commit error:(NSError**)error;
@end

NS_ASSUME_NONNULL_END
