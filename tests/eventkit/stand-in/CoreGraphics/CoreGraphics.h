#pragma once

// The part of CoreGraphics' public interface that the store uses, declared anew for a system that
// does not have it.
#import <Foundation/Foundation.h>

#include <cstddef>
#include <cstdint>

extern "C" {

typedef const struct __CFString* CFStringRef;
typedef const struct __CFDictionary* CFDictionaryRef;
typedef struct CGColor* CGColorRef;
typedef struct CGColorSpace* CGColorSpaceRef;

typedef enum CGColorRenderingIntent : std::int32_t {
    kCGRenderingIntentDefault,
    kCGRenderingIntentAbsoluteColorimetric,
    kCGRenderingIntentRelativeColorimetric,
    kCGRenderingIntentPerceptual,
    kCGRenderingIntentSaturation
} CGColorRenderingIntent;

extern const CFStringRef kCGColorSpaceSRGB;

CGColorSpaceRef CGColorSpaceCreateWithName(CFStringRef name);
void CGColorSpaceRelease(CGColorSpaceRef space);

CGColorRef CGColorCreateCopyByMatchingToColorSpace(CGColorSpaceRef space,
    CGColorRenderingIntent intent, CGColorRef color, CFDictionaryRef options);
std::size_t CGColorGetNumberOfComponents(CGColorRef color);
const CGFloat* CGColorGetComponents(CGColorRef color);
void CGColorRelease(CGColorRef color);

} // extern "C"
