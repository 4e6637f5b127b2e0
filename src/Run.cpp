#include "src/Run.h"

#include "src/EventStoreClient.h"
#include "src/Subcommands.h"
#include "src/WriteError.h"
#include "unicode/Text.h"

namespace quenbrook {
namespace {

// Bytes that are no text count as no request at all.
std::string readText(const Streams& streams) {
    std::string input = streams.readInput();
    if (!unicode::isValidUTF8(input)) {
        input.clear();
    }
    return input;
}

void serve(std::string_view word, const Streams& streams,
    const std::function<std::unique_ptr<stores::CalendarStore>()>& openStore) {
    const std::string input = readText(streams);
    EventStoreClient client(openStore());
    client.requestAccess();
    const Subcommand* const subcommand = findSubcommand(word);
    if (subcommand == nullptr) {
        throw QuenbrookError(ErrorCase::unknownSubcommand, subcommandEcho(word));
    }
    subcommand->serve(client, input, streams);
}

} // namespace

ExitStatus run(std::span<const std::string_view> arguments, const Streams& streams,
    const std::function<std::unique_ptr<stores::CalendarStore>()>& openStore) {
    if (arguments.empty()) {
        writeError(streams, {ErrorCase::unknownSubcommand, "(none — no subcommand provided)"});
        return ExitStatus::noSubcommand;
    }
    try {
        serve(arguments.front(), streams, openStore);
        return ExitStatus::success;
    } catch (const QuenbrookError& error) {
        writeError(streams, error);
    } catch (...) {
        writeError(streams, {ErrorCase::unknown, "Quenbrook encountered an unexpected error"});
    }
    return ExitStatus::reportedError;
}

} // namespace quenbrook
