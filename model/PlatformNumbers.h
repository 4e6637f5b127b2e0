#pragma once

#include <cstdint>

// The platform's numbers with their names. A store may hand out other numbers, too, so the fields
// that hold them are plain 64-bit integers.
namespace quenbrook::model {

// A process's access to events.
struct AuthorizationStatus {
    enum : std::int64_t { notDetermined, restricted, denied, fullAccess, writeOnly };
};

// The kind of account that holds a calendar.
struct SourceType {
    enum : std::int64_t { local, exchange, calDAV, mobileMe, subscription, birthdays };
};

struct ParticipantStatus {
    enum : std::int64_t {
        unknown,
        pending,
        accepted,
        declined,
        tentative,
        delegated,
        completed,
        inProcess
    };
};

struct Availability {
    enum : std::int64_t { notSupported = -1, busy, free, tentative, unavailable };
};

struct RecurrenceFrequency {
    enum : std::int64_t { daily, weekly, monthly, yearly };
};

} // namespace quenbrook::model
