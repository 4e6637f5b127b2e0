#pragma once

#include "icalendar/event/Series.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <tuple>
#include <vector>

namespace quenbrook::icalendar {

// The instances of a series around one that is to be changed: where its recurrence set has it,
// where it takes place, and where it is to take place. A change of the text is good when all of
// these are read as before, whatever else the series holds.
class EditCheck {
  public:
    // Takes the instances that are to stay: all but this one or, where its series is rewritten,
    // those of other masters.
    EditCheck(const Series& series, const Instance& changed, std::chrono::sys_seconds newStart,
        bool isRewritten);

    // Whether a changed series has them all, and the changed instance beside them.
    bool isKeptWithTheChanged(const Series& after) const;
    // Whether a changed series has them all and nothing else.
    bool isKeptAlone(const Series& after) const;

  private:
    // What tells one instance from another: its original start, its start and end, whether it is of
    // whole days, and its title.
    using Traits = std::tuple<std::chrono::sys_seconds, std::chrono::sys_seconds,
        std::chrono::sys_seconds, bool, std::string>;
    struct Surroundings {
        std::chrono::sys_seconds at;
        std::vector<Traits> staying;
    };

    static Traits traitsOf(const Instance& instance);
    // How many more there are than stay; negative when one of those is missing.
    static std::ptrdiff_t more(const Surroundings& place, const Series& after);

    // The last is where the instance is to take place. None where there are more than are ever
    // listed: what is cut cannot be compared.
    std::vector<Surroundings> places_;
    bool isRewritten_;
};

} // namespace quenbrook::icalendar
