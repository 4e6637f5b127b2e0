#pragma once

// EventKit's public interface as the store uses it, over the stand-in's own state.
#import <Foundation/Foundation.h>

#import <objc/blocks_runtime.h>

#include <cstdint>

namespace quenbrook::standin {
struct Alarm;
struct CalendarObject;
struct EventObject;
struct Participant;
struct Rule;
struct Source;
} // namespace quenbrook::standin

#define QUENBROOK_INSTANCE_VARIABLES(...)                                                          \
    { __VA_ARGS__ }
#define QUENBROOK_LIST_OF(type) NSArray*

#include "tests/darwin/sdk/EventKit/EventKit.h"
