#pragma once

#include "src/ErrorCodes.h"
#include "src/Streams.h"

namespace quenbrook {

// One ErrorResponse line on standard error, in one write. Writes nothing when that fails.
void writeError(const Streams& streams, const QuenbrookError& error) noexcept;

} // namespace quenbrook
