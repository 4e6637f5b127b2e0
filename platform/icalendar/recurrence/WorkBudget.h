#pragma once

#include <algorithm>
#include <cstdint>

namespace quenbrook::platform::icalendar {

// A fuzzer that waited for every limit would try next to nothing: its build has smaller ones.
#ifdef FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION
inline constexpr bool isBuiltToBeFuzzed = true;
#else
inline constexpr bool isBuiltToBeFuzzed = false;
#endif

// What the rules of one calendar file may cost altogether in one reading: however they are made,
// the events beside them get listed. One step is about a day that a rule is asked about, some 15
// nanoseconds.
class WorkBudget {
  public:
    explicit WorkBudget(std::int64_t steps)
        : left_(steps) {}

    // Spends, and tells whether there was enough.
    bool affords(std::int64_t steps) {
        left_ -= steps;
        hasGivenUp_ = hasGivenUp_ || left_ <= 0;
        return left_ > 0;
    }
    // Zero or less when it is spent.
    std::int64_t left() const { return left_; }

    // A search ended, at this limit or another, before it came to its end: there may be more than
    // it found.
    void giveUp() { hasGivenUp_ = true; }
    bool hasGivenUp() const { return hasGivenUp_; }

    // Makes sure that so many are left.
    void grant(std::int64_t steps) { left_ = std::max(left_, steps); }

  private:
    std::int64_t left_;
    bool hasGivenUp_ = false;
};

} // namespace quenbrook::platform::icalendar
