#pragma once

#import <CoreGraphics/CoreGraphics.h>

#include "tests/eventkit/stand-in/World.h"

struct CGColor {
    quenbrook::standin::Color color;
};

// Owned by the caller, as by every function that creates.
CGColorRef standInColor(const quenbrook::standin::Color& color);
