#pragma once

// CoreGraphics' public interface as the store uses it; Foundation brings a type of it.
#import <Foundation/Foundation.h>

#include "tests/darwin/sdk/CoreGraphics/CoreGraphics.h"
