#pragma once

#include "src/Streams.h"
#include "stores/CalendarStore.h"

#include <functional>
#include <memory>
#include <span>
#include <string_view>

namespace quenbrook {

enum class ExitStatus : int {
    success = 0,
    reportedError = 1,
    noSubcommand = 2,
};

// One run of the program: answers with one line of output or one line of error, and the status.
// `arguments` come without the program's name; all but the first are ignored. `openStore` is called
// at most once, after the input was read.
ExitStatus run(std::span<const std::string_view> arguments, const Streams& streams,
    const std::function<std::unique_ptr<stores::CalendarStore>()>& openStore);

} // namespace quenbrook
