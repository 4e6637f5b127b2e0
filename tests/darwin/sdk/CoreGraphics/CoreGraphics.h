#pragma once

// The part of CoreGraphics' public interface that the macOS store uses, with the types that Apple's
// SDK gives it.
#include <stddef.h>
#include <stdint.h>

typedef double CGFloat;

extern "C" {

typedef const struct __CFString* CFStringRef;
typedef const struct __CFDictionary* CFDictionaryRef;
typedef struct CGColor* CGColorRef;
typedef struct CGColorSpace* CGColorSpaceRef;

typedef enum __attribute__((enum_extensibility(open))) CGColorRenderingIntent : int32_t {
    kCGRenderingIntentDefault,
    kCGRenderingIntentAbsoluteColorimetric,
    kCGRenderingIntentRelativeColorimetric,
    kCGRenderingIntentPerceptual,
    kCGRenderingIntentSaturation
} CGColorRenderingIntent;

extern const CFStringRef _Nonnull kCGColorSpaceSRGB;

CGColorSpaceRef _Nullable CGColorSpaceCreateWithName(CFStringRef _Nullable name);
void CGColorSpaceRelease(CGColorSpaceRef _Nullable space);

CGColorRef _Nullable CGColorCreateCopyByMatchingToColorSpace(CGColorSpaceRef _Nullable space,
    CGColorRenderingIntent intent, CGColorRef _Nullable color, CFDictionaryRef _Nullable options);
size_t CGColorGetNumberOfComponents(CGColorRef _Nullable color);
const CGFloat* _Nullable CGColorGetComponents(CGColorRef _Nullable color);
void CGColorRelease(CGColorRef _Nullable color);

} // extern "C"
