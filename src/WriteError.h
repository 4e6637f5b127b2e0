#pragma once

#include "src/ErrorCodes.h"
#include "src/Streams.h"

namespace quenbrook {

// One ErrorResponse line on standard error, in one write. Is silent when that fails.
void writeError(const Streams& streams, const QuenbrookError& error) noexcept;

} // namespace quenbrook
