#pragma once

#include <cstddef>
#include <functional>

namespace quenbrook::platform::vdir {

// Calls `work` from this thread and from up to `threads` - 1 others at the same time, and returns
// when every call has. What the system does not let start is done without, so that each call must
// be ready to do all there is to do. Throws what a call has thrown; of several, one.
void callFromThreads(std::size_t threads, const std::function<void()>& work);

} // namespace quenbrook::platform::vdir
