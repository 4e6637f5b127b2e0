#pragma once

// The part of Foundation's public interface that the macOS store uses, with the types that Apple's
// SDK gives it, for compiling where that SDK is not: an NSInteger is a long, a BOOL a bool, arrays
// are generic, and what may be nil says so.
#include <objc/NSObject.h>
#include <objc/objc.h>

#include <TargetConditionals.h>
#include <stddef.h>
#include <stdint.h>

#define NS_ENUM(type, name)                                                                        \
    enum __attribute__((enum_extensibility(open))) name : type name;                               \
    enum name : type
#define NS_ASSUME_NONNULL_BEGIN _Pragma("clang assume_nonnull begin")
#define NS_ASSUME_NONNULL_END _Pragma("clang assume_nonnull end")

typedef double NSTimeInterval;
typedef unsigned short unichar;
typedef double CGFloat;

NS_ASSUME_NONNULL_BEGIN

@class NSArray<ObjectType>, NSDate, NSDictionary<KeyType, ObjectType>, NSString;

typedef NSString* NSExceptionName;
typedef NSString* NSErrorDomain;

typedef struct _NSRange {
    NSUInteger location;
    NSUInteger length;
} NSRange;

static inline NSRange NSMakeRange(NSUInteger location, NSUInteger length) {
    NSRange range;
    range.location = location;
    range.length = length;
    return range;
}

@protocol NSCopying
- (id)copyWithZone:(nullable struct _NSZone*)zone;
@end

typedef struct {
    unsigned long state;
    id __unsafe_unretained _Nullable* _Nullable itemsPtr;
    unsigned long* _Nullable mutationsPtr;
    unsigned long extra[5];
} NSFastEnumerationState;

@protocol NSFastEnumeration
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)state
                                  objects:(id __unsafe_unretained _Nullable[_Nonnull])buffer
                                    count:(NSUInteger)length;
@end

@interface NSAutoreleasePool : NSObject
- (void)drain;
@end

typedef NSUInteger NSStringEncoding;
enum : NSStringEncoding { NSUTF16LittleEndianStringEncoding = 0x94000100 };

@interface NSString : NSObject <NSCopying>
@property(readonly) NSUInteger length;
- (unichar)characterAtIndex:(NSUInteger)index;
- (void)getCharacters:(unichar*)buffer range:(NSRange)range;
- (nullable instancetype)initWithBytes:(const void*)bytes
                                length:(NSUInteger)length
                              encoding:(NSStringEncoding)encoding;
@end

@interface NSNumber : NSObject <NSCopying>
@property(readonly) NSInteger integerValue;
+ (NSNumber*)numberWithInteger:(NSInteger)value;
@end

@interface NSDate : NSObject <NSCopying>
@property(readonly) NSTimeInterval timeIntervalSince1970;
+ (instancetype)dateWithTimeIntervalSince1970:(NSTimeInterval)seconds;
@end

@interface NSURL : NSObject <NSCopying>
@property(nullable, readonly, copy) NSString* absoluteString;
@end

@interface NSError : NSObject <NSCopying>
@property(readonly, copy) NSErrorDomain domain;
@property(readonly) NSInteger code;
@property(readonly, copy) NSString* localizedDescription;
@end

@interface NSException : NSObject <NSCopying>
@property(readonly, copy) NSExceptionName name;
@property(nullable, readonly, copy) NSString* reason;
@end

@interface NSPredicate : NSObject <NSCopying>
@end

@interface NSArray<__covariant ObjectType> : NSObject <NSCopying, NSFastEnumeration>
@property(readonly) NSUInteger count;
- (ObjectType)objectAtIndex:(NSUInteger)index;
@end

@interface NSMutableArray<ObjectType> : NSArray <ObjectType>
+ (instancetype)array;
+ (instancetype)arrayWithCapacity:(NSUInteger)capacity;
- (void)addObject:(ObjectType)object;
@end

NS_ASSUME_NONNULL_END
