#pragma once

#include <algorithm>
#include <cstdint>

namespace quenbrook::platform::icalendar {

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
        return left_ > 0;
    }
    // Zero or less when it is spent.
    std::int64_t left() const { return left_; }

    // Makes sure that so many are left.
    void grant(std::int64_t steps) { left_ = std::max(left_, steps); }

  private:
    std::int64_t left_;
};

} // namespace quenbrook::platform::icalendar
