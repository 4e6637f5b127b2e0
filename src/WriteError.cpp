#include "src/WriteError.h"

#include "src/DTOs/ErrorResponse.h"
#include "src/WriteJSON.h"

namespace quenbrook {

void writeError(const Streams& streams, const QuenbrookError& error) noexcept {
    try {
        streams.writeError(
            jsonLine(ErrorResponse{error.message(), std::string(error.code()), std::nullopt}));
    } catch (...) {
        // There is no further channel to report on.
        return;
    }
}

} // namespace quenbrook
