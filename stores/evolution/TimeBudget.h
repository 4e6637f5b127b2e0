#pragma once

#include "stores/evolution/Bus.h"

#include <algorithm>

namespace quenbrook::stores::evolution {

// How long a run may wait for one kind of thing, all in all. Not thread-safe.
class TimeBudget {
  public:
    explicit TimeBudget(Clock::duration whole)
        : left_(whole) {}

    // When it is exhausted, if it is spent from now on.
    Deadline deadline() const { return Clock::now() + left_; }

    // Spends what `wait` takes; returns what that returns.
    template <class Wait>
    decltype(auto) spend(Wait wait) {
        struct Spending {
            TimeBudget& budget;
            Deadline start;

            ~Spending() {
                budget.left_ =
                    std::max(budget.left_ - (Clock::now() - start), Clock::duration::zero());
            }
        };
        const Spending spending{*this, Clock::now()};
        return wait();
    }

  private:
    Clock::duration left_;
};

} // namespace quenbrook::stores::evolution
