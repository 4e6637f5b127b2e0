#import "tests/eventkit/stand-in/EventKit/Objects.h"

// The classes that carry values: sources, calendars, participants, alarms and recurrence rules.

using quenbrook::standin::call;
using quenbrook::standin::countBirth;
using quenbrook::standin::countDeath;
using quenbrook::standin::raiseUnless;
using quenbrook::standin::string;
using quenbrook::standin::text;
using quenbrook::standin::utf8;

// GNUstep's own strings lose byte order marks and cannot hold unpaired surrogates.
@interface StandInString : NSString {
  @public
    std::u16string* units_;
}
@end

@implementation StandInString
- (void)dealloc {
    delete units_;
    [super dealloc];
}
- (NSUInteger)length {
    return units_->size();
}
- (unichar)characterAtIndex:(NSUInteger)index {
    return units_->at(index);
}
@end

// GNUstep's own URLs spell the scheme in their own way.
@interface StandInURL : NSURL {
  @public
    NSString* text_;
}
@end

@implementation StandInURL
- (void)dealloc {
    [text_ release];
    [super dealloc];
}
- (NSString*)absoluteString {
    return text_;
}
@end

namespace quenbrook::standin {

NSString* string(std::u16string_view text) {
    auto* string = [[[StandInString alloc] init] autorelease];
    string->units_ = new std::u16string(text);
    return string;
}

std::u16string text(NSString* string) {
    std::u16string units([string length], u'\0');
    [string getCharacters:reinterpret_cast<unichar*>(units.data())
                    range:NSMakeRange(0, units.size())];
    return units;
}

std::string utf8(NSString* string) {
    return string == nil ? "nil" : std::string([string UTF8String]);
}

void call(std::string what) {
    World& world = World::current();
    if (world.record(std::move(what))) {
        [NSException raise:@"StandInException" format:@"%@", string(World::reasonOfExceptions)];
    }
}

void raiseUnless(bool isValid, NSString* reason) {
    if (!isValid) {
        [NSException raise:NSInvalidArgumentException format:@"%@", reason];
    }
}

} // namespace quenbrook::standin

@implementation EKObject
+ (id)allocWithZone:(NSZone*)zone {
    id object = [super allocWithZone:zone];
    countBirth(object, utf8(NSStringFromClass(self)));
    return object;
}
- (void)dealloc {
    countDeath(self);
    [super dealloc];
}
- (BOOL)hasChanges {
    raiseUnless(false, @"not of the stand-in");
    return NO;
}
- (void)rollback {
    raiseUnless(false, @"not of the stand-in");
}
@end

@implementation EKSource
- (instancetype)initWithSource:(const quenbrook::standin::Source&)source {
    if ((self = [super init])) {
        state_ = new quenbrook::standin::Source(source);
    }
    return self;
}
- (void)dealloc {
    delete state_;
    [super dealloc];
}
- (EKSourceType)sourceType {
    call("EKSource sourceType");
    return static_cast<EKSourceType>(state_->type);
}
- (NSString*)title {
    call("EKSource title");
    return string(state_->title);
}
@end

@implementation EKCalendar
- (instancetype)initWithCalendar:(const quenbrook::standin::Calendar&)calendar {
    if ((self = [super init])) {
        state_ = new quenbrook::standin::CalendarObject{calendar, nullptr};
    }
    return self;
}
- (void)dealloc {
    CGColorRelease(state_->color);
    delete state_;
    [super dealloc];
}
- (const quenbrook::standin::Calendar&)value {
    return state_->calendar;
}
- (NSString*)calendarIdentifier {
    call("EKCalendar calendarIdentifier");
    return string(state_->calendar.identifier);
}
- (NSString*)title {
    call("EKCalendar title");
    return string(state_->calendar.title);
}
- (void)setTitle:(NSString*)title {
    call("EKCalendar setTitle: " + utf8(title));
    state_->calendar.title = text(title);
}
- (BOOL)allowsContentModifications {
    call("EKCalendar allowsContentModifications");
    return state_->calendar.allowsContentModifications;
}
- (EKSource*)source {
    call("EKCalendar source");
    const auto& source = state_->calendar.source;
    return source ? [[[EKSource alloc] initWithSource:*source] autorelease] : nil;
}
- (void)setSource:(EKSource*)source {
    call("EKCalendar setSource:");
    [NSException raise:NSInvalidArgumentException format:@"not of the stand-in: %@", source];
}
- (CGColorRef)CGColor {
    call("EKCalendar CGColor");
    const auto& color = state_->calendar.color;
    if (color && state_->color == nullptr) {
        state_->color = standInColor(*color);
    }
    return state_->color;
}
- (void)setCGColor:(CGColorRef)color {
    call("EKCalendar setCGColor:");
    state_->calendar.color = color->color;
}
@end

@implementation EKParticipant
- (instancetype)initWithParticipant:(const quenbrook::standin::Participant&)participant {
    if ((self = [super init])) {
        state_ = new quenbrook::standin::Participant(participant);
    }
    return self;
}
- (void)dealloc {
    delete state_;
    [super dealloc];
}
- (id)copyWithZone:(NSZone*)zone {
    return [[EKParticipant allocWithZone:zone] initWithParticipant:*state_];
}
- (NSURL*)URL {
    call("EKParticipant URL");
    if (!state_->url) {
        return nil;
    }
    StandInURL* url = [[[StandInURL alloc] initWithString:@"mailto:"] autorelease];
    url->text_ = [[NSString alloc] initWithUTF8String:state_->url->c_str()];
    return url;
}
- (NSString*)name {
    call("EKParticipant name");
    return state_->name ? string(*state_->name) : nil;
}
- (EKParticipantStatus)participantStatus {
    call("EKParticipant participantStatus");
    return static_cast<EKParticipantStatus>(state_->status);
}
@end

@implementation EKAlarm
+ (EKAlarm*)alarmWithAbsoluteDate:(NSDate*)date {
    call("EKAlarm alarmWithAbsoluteDate:");
    return [[[EKAlarm alloc] initWithAlarm:{0, [date timeIntervalSince1970]}] autorelease];
}
+ (EKAlarm*)alarmWithRelativeOffset:(NSTimeInterval)offset {
    call("EKAlarm alarmWithRelativeOffset: " +
         utf8([[NSNumber numberWithDouble:offset] stringValue]));
    return [[[EKAlarm alloc] initWithAlarm:{offset, std::nullopt}] autorelease];
}
- (instancetype)initWithAlarm:(const quenbrook::standin::Alarm&)alarm {
    if ((self = [super init])) {
        state_ = new quenbrook::standin::Alarm(alarm);
    }
    return self;
}
- (void)dealloc {
    delete state_;
    [super dealloc];
}
- (id)copyWithZone:(NSZone*)zone {
    return [[EKAlarm allocWithZone:zone] initWithAlarm:*state_];
}
- (const quenbrook::standin::Alarm&)value {
    return *state_;
}
- (NSTimeInterval)relativeOffset {
    call("EKAlarm relativeOffset");
    return state_->relativeOffset;
}
- (void)setRelativeOffset:(NSTimeInterval)offset {
    call("EKAlarm setRelativeOffset:");
    *state_ = {offset, std::nullopt};
}
- (NSDate*)absoluteDate {
    call("EKAlarm absoluteDate");
    const auto& date = state_->absoluteDate;
    return date ? [NSDate dateWithTimeIntervalSince1970:*date] : nil;
}
- (void)setAbsoluteDate:(NSDate*)date {
    call("EKAlarm setAbsoluteDate:");
    *state_ = {0, [date timeIntervalSince1970]};
}
@end

@implementation EKRecurrenceEnd
+ (id)allocWithZone:(NSZone*)zone {
    id object = [super allocWithZone:zone];
    countBirth(object, "EKRecurrenceEnd");
    return object;
}
- (void)dealloc {
    countDeath(self);
    [endDate_ release];
    [super dealloc];
}
- (instancetype)initWithEndDate:(NSDate*)endDate occurrenceCount:(NSUInteger)count {
    if ((self = [super init])) {
        endDate_ = [endDate copy];
        occurrenceCount_ = count;
    }
    return self;
}
+ (instancetype)recurrenceEndWithEndDate:(NSDate*)endDate {
    call("EKRecurrenceEnd recurrenceEndWithEndDate:");
    return [[[self alloc] initWithEndDate:endDate occurrenceCount:0] autorelease];
}
+ (instancetype)recurrenceEndWithOccurrenceCount:(NSUInteger)count {
    call("EKRecurrenceEnd recurrenceEndWithOccurrenceCount: " + std::to_string(count));
    raiseUnless(count > 0, @"the count is 0");
    return [[[self alloc] initWithEndDate:nil occurrenceCount:count] autorelease];
}
- (id)copyWithZone:(NSZone*)zone {
    return [[EKRecurrenceEnd allocWithZone:zone] initWithEndDate:endDate_
                                                 occurrenceCount:occurrenceCount_];
}
- (quenbrook::standin::RuleEnd)value {
    return {occurrenceCount_,
        endDate_ == nil ? std::nullopt : std::optional([endDate_ timeIntervalSince1970])};
}
- (NSDate*)endDate {
    call("EKRecurrenceEnd endDate");
    return endDate_;
}
- (NSUInteger)occurrenceCount {
    call("EKRecurrenceEnd occurrenceCount");
    return occurrenceCount_;
}
@end

@implementation EKRecurrenceDayOfWeek
+ (id)allocWithZone:(NSZone*)zone {
    id object = [super allocWithZone:zone];
    countBirth(object, "EKRecurrenceDayOfWeek");
    return object;
}
- (void)dealloc {
    countDeath(self);
    [super dealloc];
}
- (instancetype)initWithDay:(EKWeekday)day weekNumber:(NSInteger)weekNumber {
    if ((self = [super init])) {
        dayOfTheWeek_ = day;
        weekNumber_ = weekNumber;
    }
    return self;
}
+ (instancetype)dayOfWeek:(EKWeekday)day {
    call("EKRecurrenceDayOfWeek dayOfWeek: " + std::to_string(day));
    raiseUnless(day >= 1 && day <= 7, @"no day of the week");
    return [[[self alloc] initWithDay:day weekNumber:0] autorelease];
}
+ (instancetype)dayOfWeek:(EKWeekday)day weekNumber:(NSInteger)weekNumber {
    call("EKRecurrenceDayOfWeek dayOfWeek:weekNumber:");
    return [[[self alloc] initWithDay:day weekNumber:weekNumber] autorelease];
}
- (id)copyWithZone:(NSZone*)zone {
    return [[EKRecurrenceDayOfWeek allocWithZone:zone] initWithDay:dayOfTheWeek_
                                                        weekNumber:weekNumber_];
}
- (quenbrook::standin::DayOfWeek)value {
    return {dayOfTheWeek_, weekNumber_};
}
- (EKWeekday)dayOfTheWeek {
    call("EKRecurrenceDayOfWeek dayOfTheWeek");
    return dayOfTheWeek_;
}
- (NSInteger)weekNumber {
    call("EKRecurrenceDayOfWeek weekNumber");
    return weekNumber_;
}
@end

namespace {

using Numbers = std::optional<std::vector<std::int64_t>>;

NSArray* toArray(const Numbers& numbers) {
    if (!numbers) {
        return nil;
    }
    NSMutableArray* array = [NSMutableArray array];
    for (const std::int64_t number : *numbers) {
        [array addObject:[NSNumber numberWithInteger:number]];
    }
    return array;
}

Numbers toNumbers(NSArray* array) {
    if (array == nil) {
        return std::nullopt;
    }
    std::vector<std::int64_t> numbers;
    for (NSNumber* number in array) {
        numbers.push_back([number integerValue]);
    }
    return numbers;
}

std::optional<quenbrook::standin::RuleEnd> toEnd(EKRecurrenceEnd* end) {
    return end == nil ? std::nullopt : std::optional([end value]);
}

quenbrook::standin::Rule toRule(
    EKRecurrenceFrequency type, NSInteger interval, EKRecurrenceEnd* end) {
    quenbrook::standin::Rule rule;
    rule.frequency = type;
    rule.interval = interval;
    rule.end = toEnd(end);
    return rule;
}

} // namespace

@implementation EKRecurrenceRule
- (instancetype)initWithRule:(const quenbrook::standin::Rule&)rule {
    if ((self = [super init])) {
        state_ = new quenbrook::standin::Rule(rule);
    }
    return self;
}
- (instancetype)initRecurrenceWithFrequency:(EKRecurrenceFrequency)type
                                   interval:(NSInteger)interval
                                        end:(EKRecurrenceEnd*)end {
    [self logged:"EKRecurrenceRule initRecurrenceWithFrequency:interval:end: " +
                 std::to_string(type) + " " + std::to_string(interval)
         isValid:type >= 0 && type <= 3 && interval >= 1];
    return [self initWithRule:toRule(type, interval, end)];
}
- (instancetype)initRecurrenceWithFrequency:(EKRecurrenceFrequency)type
                                   interval:(NSInteger)interval
                              daysOfTheWeek:(NSArray*)days
                             daysOfTheMonth:(NSArray*)monthDays
                            monthsOfTheYear:(NSArray*)months
                             weeksOfTheYear:(NSArray*)weeksOfTheYear
                              daysOfTheYear:(NSArray*)daysOfTheYear
                               setPositions:(NSArray*)setPositions
                                        end:(EKRecurrenceEnd*)end {
    [self logged:"EKRecurrenceRule initRecurrenceWithFrequency:interval:daysOfTheWeek:"
                 "daysOfTheMonth:monthsOfTheYear:weeksOfTheYear:daysOfTheYear:setPositions:end: " +
                 std::to_string(type) + " " + std::to_string(interval)
         isValid:type >= 0 && type <= 3 && interval >= 1 && weeksOfTheYear == nil &&
                 daysOfTheYear == nil];
    quenbrook::standin::Rule rule = toRule(type, interval, end);
    if (days != nil) {
        rule.daysOfTheWeek.emplace();
        for (EKRecurrenceDayOfWeek* day in days) {
            rule.daysOfTheWeek->push_back([day value]);
        }
    }
    rule.daysOfTheMonth = toNumbers(monthDays);
    rule.monthsOfTheYear = toNumbers(months);
    rule.setPositions = toNumbers(setPositions);
    return [self initWithRule:rule];
}
- (void)dealloc {
    delete state_;
    [super dealloc];
}
- (id)copyWithZone:(NSZone*)zone {
    return [[EKRecurrenceRule allocWithZone:zone] initWithRule:*state_];
}
- (const quenbrook::standin::Rule&)value {
    return *state_;
}
// An initializer that raises does not leave its object behind.
- (void)logged:(std::string)what isValid:(bool)isValid {
    @try {
        call(std::move(what));
        raiseUnless(isValid, @"a frequency or an interval out of range");
    } @catch (NSException* exception) {
        [self release];
        @throw;
    }
}
- (EKRecurrenceFrequency)frequency {
    call("EKRecurrenceRule frequency");
    return static_cast<EKRecurrenceFrequency>(state_->frequency);
}
- (NSInteger)interval {
    call("EKRecurrenceRule interval");
    return state_->interval;
}
- (EKRecurrenceEnd*)recurrenceEnd {
    call("EKRecurrenceRule recurrenceEnd");
    const auto& end = state_->end;
    if (!end) {
        return nil;
    }
    NSDate* date = end->endDate ? [NSDate dateWithTimeIntervalSince1970:*end->endDate] : nil;
    return [[[EKRecurrenceEnd alloc] initWithEndDate:date
                                     occurrenceCount:end->occurrenceCount] autorelease];
}
- (void)setRecurrenceEnd:(EKRecurrenceEnd*)end {
    call("EKRecurrenceRule setRecurrenceEnd:");
    state_->end = toEnd(end);
}
- (NSArray*)daysOfTheWeek {
    call("EKRecurrenceRule daysOfTheWeek");
    if (!state_->daysOfTheWeek) {
        return nil;
    }
    NSMutableArray* days = [NSMutableArray array];
    for (const auto& [day, weekNumber] : *state_->daysOfTheWeek) {
        [days addObject:[[[EKRecurrenceDayOfWeek alloc] initWithDay:static_cast<EKWeekday>(day)
                                                         weekNumber:weekNumber] autorelease]];
    }
    return days;
}
- (NSArray*)daysOfTheMonth {
    call("EKRecurrenceRule daysOfTheMonth");
    return toArray(state_->daysOfTheMonth);
}
- (NSArray*)monthsOfTheYear {
    call("EKRecurrenceRule monthsOfTheYear");
    return toArray(state_->monthsOfTheYear);
}
@end
