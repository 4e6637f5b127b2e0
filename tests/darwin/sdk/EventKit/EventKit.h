#pragma once

// The part of EventKit's public interface that the macOS store uses, with the types that Apple's
// SDK gives it.
#import <CoreGraphics/CoreGraphics.h>
#import <Foundation/Foundation.h>

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

@class EKCalendar, EKEvent, EKEventStore;

NS_ASSUME_NONNULL_BEGIN

@interface EKObject : NSObject
- (void)rollback;
@end

@interface EKSource : EKObject
@property(nonatomic, readonly) EKSourceType sourceType;
@property(nonatomic, readonly) NSString* title;
@end

@interface EKCalendar : EKObject
@property(null_unspecified, nonatomic, strong) EKSource* source;
@property(nonatomic, readonly) NSString* calendarIdentifier;
@property(nonatomic, copy) NSString* title;
@property(nonatomic, readonly) BOOL allowsContentModifications;
@property(null_unspecified, nonatomic) CGColorRef CGColor;
@end

@interface EKParticipant : EKObject <NSCopying>
@property(nonatomic, readonly) NSURL* URL;
@property(nonatomic, readonly, nullable) NSString* name;
@property(nonatomic, readonly) EKParticipantStatus participantStatus;
@end

@interface EKAlarm : EKObject <NSCopying>
+ (EKAlarm*)alarmWithAbsoluteDate:(NSDate*)date;
+ (EKAlarm*)alarmWithRelativeOffset:(NSTimeInterval)offset;
@end

@interface EKRecurrenceEnd : NSObject <NSCopying>
+ (instancetype)recurrenceEndWithEndDate:(NSDate*)endDate;
+ (instancetype)recurrenceEndWithOccurrenceCount:(NSUInteger)occurrenceCount;
@property(nonatomic, readonly, nullable) NSDate* endDate;
@property(nonatomic, readonly) NSUInteger occurrenceCount;
@end

@interface EKRecurrenceDayOfWeek : NSObject <NSCopying>
+ (instancetype)dayOfWeek:(EKWeekday)dayOfTheWeek;
@property(nonatomic, readonly) EKWeekday dayOfTheWeek;
@property(nonatomic, readonly) NSInteger weekNumber;
@end

@interface EKRecurrenceRule : EKObject <NSCopying>
- (instancetype)initRecurrenceWithFrequency:(EKRecurrenceFrequency)type
                                   interval:(NSInteger)interval
                                        end:(nullable EKRecurrenceEnd*)end;
- (instancetype)initRecurrenceWithFrequency:(EKRecurrenceFrequency)type
                                   interval:(NSInteger)interval
                              daysOfTheWeek:(nullable NSArray<EKRecurrenceDayOfWeek*>*)days
                             daysOfTheMonth:(nullable NSArray<NSNumber*>*)monthDays
                            monthsOfTheYear:(nullable NSArray<NSNumber*>*)months
                             weeksOfTheYear:(nullable NSArray<NSNumber*>*)weeksOfTheYear
                              daysOfTheYear:(nullable NSArray<NSNumber*>*)daysOfTheYear
                               setPositions:(nullable NSArray<NSNumber*>*)setPositions
                                        end:(nullable EKRecurrenceEnd*)end;
@property(nonatomic, copy, nullable) EKRecurrenceEnd* recurrenceEnd;
@property(nonatomic, readonly) EKRecurrenceFrequency frequency;
@property(nonatomic, readonly) NSInteger interval;
@property(nonatomic, readonly, nullable) NSArray<EKRecurrenceDayOfWeek*>* daysOfTheWeek;
@property(nonatomic, readonly, nullable) NSArray<NSNumber*>* daysOfTheMonth;
@property(nonatomic, readonly, nullable) NSArray<NSNumber*>* monthsOfTheYear;
@end

@interface EKCalendarItem : EKObject
@property(nonatomic, strong, null_unspecified) EKCalendar* calendar;
@property(nonatomic, copy, null_unspecified) NSString* title;
@property(nonatomic, copy, nullable) NSString* location;
@property(nonatomic, copy, nullable) NSString* notes;
@property(nonatomic, readonly, nullable) NSDate* lastModifiedDate;
@property(nonatomic, readonly, nullable) NSArray<EKParticipant*>* attendees;
@property(nonatomic, copy, nullable) NSArray<EKAlarm*>* alarms;
@property(nonatomic, copy, nullable) NSArray<EKRecurrenceRule*>* recurrenceRules;
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
+ (EKAuthorizationStatus)authorizationStatusForEntityType:(EKEntityType)entityType;
- (void)requestFullAccessToEventsWithCompletion:
    (EKEventStoreRequestAccessCompletionHandler)completion;
- (NSArray<EKCalendar*>*)calendarsForEntityType:(EKEntityType)entityType;
- (nullable EKCalendar*)calendarWithIdentifier:(NSString*)identifier;
- (nullable EKEvent*)eventWithIdentifier:(NSString*)identifier;
- (NSPredicate*)predicateForEventsWithStartDate:(NSDate*)startDate
                                        endDate:(NSDate*)endDate
                                      calendars:(nullable NSArray<EKCalendar*>*)calendars;
- (NSArray<EKEvent*>*)eventsMatchingPredicate:(NSPredicate*)predicate;
- (BOOL)saveEvent:(EKEvent*)event span:(EKSpan)span commit:(BOOL)commit error:(NSError**)error;
- (BOOL)removeEvent:(EKEvent*)event span:(EKSpan)span commit:(BOOL)commit error:(NSError**)error;
@end

NS_ASSUME_NONNULL_END
