#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace quenbrook {

// Minutes before the start as seconds relative to it: 15 gives -900. A number whose seconds do not
// fit into 64 bits ends the process with SIGABRT: a wrapped alarm must never be saved.
std::vector<double> alarmOffsets(std::span<const std::int64_t> minutes);

} // namespace quenbrook
