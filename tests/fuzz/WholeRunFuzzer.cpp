#include "src/Run.h"
#include "stores/vdir/VdirStore.h"
#include "tests/fuzz/Directory.h"
#include "tests/fuzz/Schemas.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// A whole run of the program over a store with one hostile file beside one good one. The first byte
// chooses the word, the line after it is the request, the rest is the file. Every answer is what
// its schema says; a run that only reads or refuses leaves every byte, any other changes one file;
// and the good neighbour is listed beside whatever there is.
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
    bool isWrite;
};
constexpr std::array<Word, 7> words = {{
    {"list-calendars", false},
    {"list-events", false},
    {"create-event", true},
    {"update-event", true},
    {"cancel-event", true},
    {"get-event", false},
    {"get-attendee-status", false},
}};

constexpr std::string_view goodFile =
    "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nBEGIN:VEVENT\r\nUID:good\r\n"
    "DTSTART:20260301T090000Z\r\nSUMMARY:Good neighbour\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n";
constexpr const char* goodIdentifier = "account/calendar:good";
constexpr const char* goodListed =
    R"({"attendees":[],"availability":"busy","calendarId":"account/calendar","endISO":"2026-03-01T09:00:00.000Z",)"
    R"("hasAlarms":false,"id":"account/calendar:good","isAllDay":false,"recurrenceRuleCount":0,)"
    R"("recurrenceRules":[],"startISO":"2026-03-01T09:00:00.000Z","title":"Good neighbour"})";

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

// The document of the one line that a run has written.
nlohmann::json documentOf(std::string_view word, const Output& output) {
    static const Schemas schemas(QUENBROOK_SCHEMAS);
    const bool isDone = output.status == ExitStatus::success;
    require(output.output.empty() != isDone);
    require(output.error.empty() == isDone);
    const std::string& line = isDone ? output.output : output.error;
    require(line.find('\n') == line.size() - 1);
    auto document = nlohmann::json::parse(line, nullptr, false);
    // Most answers are repeated, and validating one takes half of the time of a run. The table has
    // a fixed size: libFuzzer reports memory that grows as a leak.
    static std::array<std::size_t, 4096> known{};
    const std::string schema = isDone ? std::string(word) + ".answer.json" : "error.json";
    const std::size_t hash = std::hash<std::string>()(schema + line);
    if (known.at(hash % known.size()) != hash) {
        require(schemas.hold(schema, document));
        known.at(hash % known.size()) = hash;
    }
    return document;
}

// The names whose content, or whether they are there, is no longer the same.
std::vector<std::string> changed(const Contents& before, const Contents& after) {
    std::vector<std::pair<std::string, std::string>> different;
    std::set_symmetric_difference(
        before.begin(), before.end(), after.begin(), after.end(), std::back_inserter(different));
    std::vector<std::string> names;
    for (auto& [name, content] : different) {
        if (names.empty() || names.back() != name) {
            names.push_back(std::move(name));
        }
    }
    return names;
}

// What a run that was told as done may have made of the calendar. Each event has an identifier of
// its own: only one that names the good one may change it.
void requireOnlyChange(
    const Word& word, const nlohmann::json& answer, const Contents& before, const Contents& after) {
    const std::vector<std::string> names = changed(before, after);
    require(names.size() <= (word.isWrite ? 1 : 0));
    if (word.name == "create-event") {
        require(names.size() == 1 && !before.contains(names.front()));
        require(answer["id"] ==
                "account/calendar:" + names.front().substr(0, names.front().size() - 4));
    } else if (!names.empty() && names.front() == "good.ics") {
        require(answer["id"] == goodIdentifier);
    }
}

std::ptrdiff_t entriesIn(const std::filesystem::path& directory) {
    return std::distance(std::filesystem::directory_iterator(directory), {});
}

void tryOne(std::string_view input) {
    const std::size_t lineEnd = std::min(input.find('\n'), input.size());
    const std::string_view request = input.substr(1, std::max<std::size_t>(lineEnd, 1) - 1);
    const Contents before{{"good.ics", std::string(goodFile)},
        {"hostile.ics", std::string(input.substr(std::min(lineEnd + 1, input.size())))}};
    for (const auto& [name, content] : before) {
        write(calendar() / name, content);
    }

    const Word& word = words.at(static_cast<unsigned char>(input[0]) % words.size());
    const Output output = runOnce(word.name, request);
    const nlohmann::json document = documentOf(word.name, output);
    const Contents after = contentsOf(calendar());
    if (output.status == ExitStatus::success) {
        requireOnlyChange(word, document, before, after);
    } else {
        require(after == before);
    }

    constexpr std::string_view list = "list-events";
    const auto listed = documentOf(list,
        runOnce(list, R"({"startISO":"2026-03-01T00:00:00Z","endISO":"2026-03-02T00:00:00Z"})"));
    const auto good = nlohmann::json::parse(goodListed);
    const bool isThere =
        std::find(listed["events"].begin(), listed["events"].end(), good) != listed["events"].end();
    require(isThere || !after.contains("good.ics") || after.at("good.ics") != goodFile);
    require(contentsOf(calendar()) == after);
    clear(calendar());
    require(entriesIn(place()) == 1 && entriesIn(place() / "account") == 1);
}

} // namespace
} // namespace quenbrook::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > 0) {
        quenbrook::fuzz::tryOne({reinterpret_cast<const char*>(data), size});
    }
    return 0;
}
