#pragma once

#include "src/Run.h"
#include "tests/unit/ForwardingStore.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace quenbrook::tests {

// What one run of the program did.
struct Outcome {
    int status = -1;
    std::vector<std::string> outputWrites;
    std::vector<std::string> errorWrites;
    // "read" and "open", in the order in which they happened.
    std::vector<std::string> steps;

    bool operator==(const Outcome&) const = default;

    static std::string joined(const std::vector<std::string>& writes) {
        std::string all;
        for (const std::string& write : writes) {
            all += write;
        }
        return all;
    }
    std::string output() const { return joined(outputWrites); }
    std::string error() const { return joined(errorWrites); }
};

inline Outcome runProgram(stores::CalendarStore& store,
    const std::vector<std::string_view>& arguments, const std::string& input = "") {
    Outcome outcome;
    const Streams streams{
        [&] {
            outcome.steps.emplace_back("read");
            return input;
        },
        [&](std::string_view text) { outcome.outputWrites.emplace_back(text); },
        [&](std::string_view text) { outcome.errorWrites.emplace_back(text); },
    };
    outcome.status = static_cast<int>(run(arguments, streams, [&] {
        outcome.steps.emplace_back("open");
        return std::make_unique<ForwardingStore>(store);
    }));
    return outcome;
}

} // namespace quenbrook::tests
