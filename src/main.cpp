#include "src/Run.h"
#include "src/StandardStreams.h"
#include "stores/CalendarStore.h"

#include <csignal>
#include <string_view>
#include <vector>

int main(int argc, char** argv) {
    if (!quenbrook::openMissingStandardStreams()) {
        return static_cast<int>(quenbrook::ExitStatus::reportedError);
    }
    // A reader that went away must not end the program in the middle of its work.
    std::signal(SIGPIPE, SIG_IGN);
    // Nor must a limit on the size of files: the write then fails, and is reported as that.
    std::signal(SIGXFSZ, SIG_IGN);
    std::vector<std::string_view> arguments(argv, argv + argc);
    if (!arguments.empty()) {
        arguments.erase(arguments.begin());
    }
    return static_cast<int>(quenbrook::run(
        arguments, quenbrook::standardStreams(), quenbrook::stores::openCalendarStore));
}
