#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace quenbrook {

// The three standard streams of a run.
struct Streams {
    // The whole of standard input, any bytes. Called at most once.
    std::function<std::string()> readInput;
    // Writes the whole text, or as much of it as can be written.
    std::function<void(std::string_view)> writeOutput;
    // Writes the whole text in one call of the system, or as much of it as can be written.
    std::function<void(std::string_view)> writeError;
};

} // namespace quenbrook
