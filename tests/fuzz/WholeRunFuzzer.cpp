#include "platform/vdir/VdirStore.h"
#include "src/Run.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include <unistd.h>

// A whole run of the program over a store with one hostile file beside one good one. The first byte
// chooses the word, the line after it is the request, the rest is the file.

namespace {

const std::filesystem::path& storeRoot() {
    static const std::filesystem::path root = [] {
        std::string pattern = std::filesystem::temp_directory_path() / "quenbrook-fuzz-XXXXXX";
        if (!::mkdtemp(pattern.data())) {
            std::abort();
        }
        std::atexit([] { std::filesystem::remove_all(storeRoot()); });
        std::filesystem::create_directories(std::filesystem::path(pattern) / "account/calendar");
        return std::filesystem::path(pattern);
    }();
    return root;
}

void write(const char* name, std::string_view text) {
    std::ofstream file(storeRoot() / "account/calendar" / name, std::ios::binary);
    file << text;
}

constexpr std::array<std::string_view, 7> words = {"list-calendars", "list-events", "create-event",
    "update-event", "cancel-event", "get-event", "get-attendee-status"};

constexpr std::string_view goodFile =
    "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nBEGIN:VEVENT\r\nUID:good\r\n"
    "DTSTART:20260301T090000Z\r\nSUMMARY:Good neighbour\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n";

struct Output {
    int status;
    std::string output;
    std::string error;
};

Output runOnce(std::string_view word, std::string_view request) {
    Output result;
    const quenbrook::Streams streams{[&] { return std::string(request); },
        [&](std::string_view text) { result.output += text; },
        [&](std::string_view text) { result.error += text; }};
    const std::array<std::string_view, 1> arguments = {word};
    result.status = static_cast<int>(quenbrook::run(
        arguments, streams, [] { return quenbrook::platform::vdir::openVdirStore(storeRoot()); }));
    return result;
}

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::string_view input(reinterpret_cast<const char*>(data + 1), size - 1);
    const std::size_t lineEnd = std::min(input.find('\n'), input.size());
    write("good.ics", goodFile);
    write("hostile.ics", input.substr(std::min(lineEnd + 1, input.size())));

    const Output output = runOnce(words.at(data[0] % words.size()), input.substr(0, lineEnd));
    require(output.output.empty() == (output.status != 0));
    require(output.error.empty() == (output.status == 0));

    const Output list = runOnce(
        "list-events", R"({"startISO":"2026-03-01T00:00:00Z","endISO":"2026-03-02T00:00:00Z"})");
    const bool goodIsListed = list.output.find("Good neighbour") != std::string::npos;
    require(goodIsListed || input.find("good") != std::string_view::npos);

    for (const auto& file : std::filesystem::directory_iterator(storeRoot() / "account/calendar")) {
        std::filesystem::remove(file.path());
    }
    return 0;
}
