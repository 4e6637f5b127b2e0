#pragma once

#include <stdexcept>

namespace quenbrook::model {

// A failure of the platform itself, as opposed to a refusal: reading the store broke down, or the
// permission prompt ended in an error. The text is the platform's own and is not meant for callers
// of the program.
class PlatformError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

} // namespace quenbrook::model
