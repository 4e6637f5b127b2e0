#pragma once

#include <algorithm>
#include <cstdint>

namespace quenbrook::icalendar {

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

    // Takes steps from the budget. Returns whether there were enough; with none left it is
    // exhausted.
    bool spend(std::int64_t steps) {
        left_ -= steps;
        spent_ += steps;
        isExhausted_ = isExhausted_ || left_ <= 0;
        return left_ > 0;
    }
    // Zero or less when all are spent.
    std::int64_t left() const { return left_; }

    std::int64_t spent() const { return spent_; }

    // For a search that ended, at another limit, before it came to its end.
    void exhaust() { isExhausted_ = true; }
    // Whether a search ended at a limit: there may be more than it found.
    bool isExhausted() const { return isExhausted_; }

    // Makes sure that so many are left.
    void grant(std::int64_t steps) { left_ = std::max(left_, steps); }

  private:
    std::int64_t left_;
    std::int64_t spent_ = 0;
    bool isExhausted_ = false;
};

} // namespace quenbrook::icalendar
