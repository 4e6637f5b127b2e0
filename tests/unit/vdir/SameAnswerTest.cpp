#include "src/Run.h"
#include "stores/vdir/VdirStore.h"
#include "tests/unit/vdir/Files.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>
#include <vector>

// However many threads read, the program answers with the same bytes.
namespace quenbrook::stores::vdir {
namespace {

constexpr std::array<files::ReadingThreads, 2> crowds = {
    {{.most = 2, .filesForEach = 3}, {.most = 8, .filesForEach = 1}}};

#ifdef __SANITIZE_THREAD__
// Ten times as slow there, and what that looks for shows in a few.
constexpr unsigned stores = 20;
#else
constexpr unsigned stores = 100;
#endif

std::string answerOf(const std::filesystem::path& root, files::ReadingThreads threads,
    std::string_view word, const std::string& request) {
    std::string all;
    const Streams streams{[&] { return request; }, [&](std::string_view text) { all += text; },
        [&](std::string_view text) { all += text; }};
    const std::array<std::string_view, 1> arguments = {word};
    const ExitStatus status = run(arguments, streams, [&] { return openVdirStore(root, threads); });
    return std::to_string(static_cast<int>(status)) + " " + all;
}

// The answer of one thread, which is that of many.
std::string sameAnswer(
    const std::filesystem::path& root, std::string_view word, const std::string& request) {
    const std::string alone = answerOf(root, {.most = 1, .filesForEach = 1}, word, request);
    for (const files::ReadingThreads& crowd : crowds) {
        EXPECT_EQ(answerOf(root, crowd, word, request), alone);
    }
    return alone;
}

std::string listed(const std::filesystem::path& root) {
    return sameAnswer(root, "list-events",
        R"({"startISO":"2025-06-01T00:00:00Z","endISO":"2026-06-01T00:00:00Z"})");
}

class RandomStore {
  public:
    explicit RandomStore(unsigned seed)
        : chance_(seed) {
        const unsigned calendars = below(6);
        for (unsigned calendar = 0; calendar <= calendars; ++calendar) {
            const unsigned count = below(40);
            for (unsigned file = 0; file < count; ++file) {
                files_.write(
                    "c" + std::to_string(calendar) + "/" + std::to_string(below(1000)) + ".ics",
                    text());
            }
        }
    }

    std::filesystem::path root() const { return files_.path(); }
    // An identifier that there may be.
    std::string identifier() { return "c" + std::to_string(below(4)) + ":" + uid(); }

  private:
    unsigned below(unsigned end) {
        return std::uniform_int_distribution<unsigned>(0, end - 1)(chance_);
    }

    // Some events share one, within a file and across files.
    std::string uid() { return "u" + std::to_string(below(60)); }

    std::string two(unsigned number) { return (number < 10 ? "0" : "") + std::to_string(number); }

    std::string date() {
        return std::to_string(2025 + below(2)) + two(1 + below(12)) + two(1 + below(28));
    }

    std::string event() {
        constexpr std::array<const char*, 4> starts = {
            "DTSTART:", "DTSTART;TZID=Europe/Berlin:", "DTSTART;TZID=Own:", "DTSTART;VALUE=DATE:"};
        constexpr std::array<const char*, 4> rules = {"RRULE:FREQ=WEEKLY\r\n",
            "RRULE:FREQ=MONTHLY;BYDAY=-1FR\r\n", "RRULE:FREQ=DAILY;COUNT=30\r\n", ""};
        const unsigned kind = below(starts.size());
        std::string text = "BEGIN:VEVENT\r\nUID:" + uid() + "\r\n" + starts.at(kind) + date();
        text += kind == 3 ? "\r\n" : "T" + two(below(24)) + "0000\r\n";
        text += rules.at(below(rules.size()));
        text += "SUMMARY:Event " + std::to_string(below(100)) + "\r\n";
        return text + (below(20) == 0 ? "" : "END:VEVENT\r\n");
    }

    std::string text() {
        std::string all = "BEGIN:VCALENDAR\r\nBEGIN:VTIMEZONE\r\nTZID:Own\r\nBEGIN:STANDARD\r\n"
                          "DTSTART:19700101T000000\r\nTZOFFSETFROM:+0300\r\nTZOFFSETTO:+0300\r\n"
                          "END:STANDARD\r\nEND:VTIMEZONE\r\n";
        for (unsigned count = below(4); count > 0; --count) {
            all += event();
        }
        if (below(20) == 0) {
            all += "X-LONG:" + std::string(100'000, 'x') + "\r\n" + event();
        }
        return all + "END:VCALENDAR\r\n";
    }

    test::Files files_;
    std::mt19937 chance_;
};

TEST(SameAnswer, OfManyRandomStores) {
    std::size_t found = 0;
    std::size_t bytes = 0;
    for (unsigned seed = 0; seed < stores; ++seed) {
        SCOPED_TRACE(seed);
        RandomStore store(seed);
        bytes += listed(store.root()).size();
        for (int i = 0; i < 2; ++i) {
            const std::string answer = sameAnswer(
                store.root(), "get-attendee-status", R"({"id":")" + store.identifier() + "\"}");
            found += answer.starts_with("0") ? 1 : 0;
        }
    }
    EXPECT_GT(bytes, 10'000U * stores);
    EXPECT_GT(found, stores / 5);
}

// Every text that the tests keep, as a store.
TEST(SameAnswer, OfTheTextsOfTheTests) {
    const std::filesystem::path source(QUENBROOK_SOURCE);
    const test::Files files;
    std::size_t count = 0;
    for (const char* directory : {"tests/fuzz/corpus/calendar-text", "docs/example-store"}) {
        for (const auto& entry :
            std::filesystem::recursive_directory_iterator(source / directory)) {
            if (entry.is_regular_file()) {
                files.makeDirectory("texts");
                std::filesystem::copy_file(
                    entry.path(), files.path("texts/" + std::to_string(count++) + ".ics"));
            }
        }
    }
    EXPECT_GT(count, 10U);
    EXPECT_GT(listed(files.path()).size(), 1000U);
    EXPECT_GT(listed(source / "docs/example-store").size(), 300U);
}

// The file that is first by name has it.
TEST(SameAnswer, OfASearchThatSeveralFilesAnswer) {
    const test::Files files;
    for (int i = 0; i < 300; ++i) {
        const std::string attendee = "ATTENDEE:mailto:p" + std::to_string(100 + i) + "@x.yy\r\n";
        files.write("c/" + std::to_string(100 + i) + ".ics",
            "BEGIN:VCALENDAR\r\nBEGIN:VEVENT\r\nUID:" + std::string(i < 50 ? "other" : "same") +
                "\r\nDTSTART:20260105T100000Z\r\n" + attendee + "END:VEVENT\r\nEND:VCALENDAR\r\n");
    }
    EXPECT_NE(
        sameAnswer(files.path(), "get-attendee-status", R"({"id":"c:same"})").find("p150@x.yy"),
        std::string::npos);
    EXPECT_NE(sameAnswer(files.path(), "get-attendee-status", R"({"id":"c:none"})")
                  .find("EVENT_NOT_FOUND"),
        std::string::npos);
}

} // namespace
} // namespace quenbrook::stores::vdir
