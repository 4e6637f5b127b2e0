#include "src/Run.h"
#include "stores/vdir/VdirStore.h"
#include "tests/fuzz/Directory.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>

// A whole run of the program over a store with one hostile file beside one good one. The first byte
// chooses the word, the line after it is the request, the rest is the file.
namespace quenbrook::fuzz {
namespace {

const std::filesystem::path& calendar() {
    static const std::filesystem::path path = [] {
        std::filesystem::create_directories(place() / "account/calendar");
        return place() / "account/calendar";
    }();
    return path;
}

struct Word {
    std::string_view name;
    // The one member that its answer has in any case.
    const char* member;
    bool isWrite;
};
constexpr std::array<Word, 7> words = {{
    {"list-calendars", "calendars", false},
    {"list-events", "events", false},
    {"create-event", "id", true},
    {"update-event", "updated", true},
    {"cancel-event", "cancelled", true},
    {"get-event", "event", false},
    {"get-attendee-status", "attendees", false},
}};

constexpr std::string_view goodFile =
    "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nBEGIN:VEVENT\r\nUID:good\r\n"
    "DTSTART:20260301T090000Z\r\nSUMMARY:Good neighbour\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n";

struct Output {
    ExitStatus status;
    std::string output;
    std::string error;
};

Output runOnce(std::string_view word, std::string_view request) {
    Output result;
    const Streams streams{[&] { return std::string(request); },
        [&](std::string_view text) { result.output += text; },
        [&](std::string_view text) { result.error += text; }};
    const std::array<std::string_view, 1> arguments = {word};
    result.status = run(arguments, streams, [] { return stores::vdir::openVdirStore(place()); });
    return result;
}

// One line that holds one JSON object with this member.
void requireLine(const std::string& text, const char* member) {
    require(!text.empty() && text.find('\n') == text.size() - 1);
    const nlohmann::json document = nlohmann::json::parse(text, nullptr, false);
    require(document.is_object() && document.contains(member));
}

void requireAnswer(const Word& word, const Output& output) {
    const bool isDone = output.status == ExitStatus::success;
    require(output.output.empty() != isDone);
    require(output.error.empty() == isDone);
    requireLine(isDone ? output.output : output.error, isDone ? word.member : "code");
}

// What a run may have done to the calendar.
void requireUntouched(
    const Word& word, bool isDone, std::string_view request, const Contents& before) {
    const Contents after = contentsOf(calendar());
    for (const auto& [name, content] : after) {
        require(name.front() != '.');
    }
    if (!isDone || !word.isWrite) {
        require(after == before);
    } else if (word.name == "create-event") {
        require(after.size() == before.size() + 1);
        require(std::includes(after.begin(), after.end(), before.begin(), before.end()));
    } else if (request.find("good") == std::string_view::npos &&
               request.find('\\') == std::string_view::npos) {
        require(after.contains("good.ics") && after.at("good.ics") == goodFile);
    }
}

void tryOne(std::string_view input) {
    const std::size_t lineEnd = std::min(input.find('\n'), input.size());
    const std::string_view request = input.substr(1, std::max<std::size_t>(lineEnd, 1) - 1);
    write(calendar() / "good.ics", goodFile);
    write(calendar() / "hostile.ics", input.substr(std::min(lineEnd + 1, input.size())));
    const Contents before = contentsOf(calendar());

    const Word& word = words.at(static_cast<unsigned char>(input[0]) % words.size());
    const Output output = runOnce(word.name, request);
    requireAnswer(word, output);
    requireUntouched(word, output.status == ExitStatus::success, request, before);

    const Output list = runOnce(
        "list-events", R"({"startISO":"2026-03-01T00:00:00Z","endISO":"2026-03-02T00:00:00Z"})");
    requireAnswer(words[1], list);
    const bool goodIsListed = list.output.find("Good neighbour") != std::string::npos;
    require(goodIsListed || input.find("good") != std::string_view::npos ||
            request.find('\\') != std::string_view::npos);
    clear(calendar());
}

} // namespace
} // namespace quenbrook::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > 0) {
        quenbrook::fuzz::tryOne({reinterpret_cast<const char*>(data), size});
    }
    return 0;
}
