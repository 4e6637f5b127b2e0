#pragma once

#include "tests/unit/icalendar/CalendarText.h"

#include <array>
#include <chrono>
#include <random>
#include <string>
#include <string_view>

namespace quenbrook::test {

// Streams of random events over a few years around 2026.
class RandomStreams {
  public:
    // What other programs write beside the plain forms: rules that exclude, whole days among times,
    // exclusions and overrides in other forms, overrides that speak of all later instances,
    // several masters of one UID.
    enum class Variety { plain, all };

    explicit RandomStreams(unsigned seed, Variety variety = Variety::plain)
        : random_(seed)
        , variety_(variety) {}

    int below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }

    std::string next() {
        std::string lines(ownZones);
        const int count = 1 + below(4);
        for (int i = 0; i < count; ++i) {
            lines += event("u" + std::to_string(i));
        }
        return stream(lines);
    }

    model::Instant instant() {
        return at("2025-07-01T00:00:00Z") + std::chrono::minutes(below(2 * 365 * 24 * 60));
    }

  private:
    static constexpr std::string_view ownZones = R"(BEGIN:VTIMEZONE
TZID:Own/East
BEGIN:STANDARD
DTSTART:19700101T000000
TZOFFSETFROM:+2359
TZOFFSETTO:+2359
END:STANDARD
END:VTIMEZONE
BEGIN:VTIMEZONE
TZID:Own/West
BEGIN:STANDARD
DTSTART:20260601T000000
TZOFFSETFROM:+2359
TZOFFSETTO:-2359
END:STANDARD
BEGIN:DAYLIGHT
DTSTART:20260301T000000
TZOFFSETFROM:-2359
TZOFFSETTO:+2359
END:DAYLIGHT
END:VTIMEZONE
)";

    // The parameters and the end of a value.
    struct Kind {
        std::string_view parameters;
        std::string_view suffix;
        bool isDate;
    };
    static constexpr std::array forms{Kind{"", "Z", false}, Kind{"", "", false},
        Kind{";VALUE=DATE", "", true}, Kind{";TZID=Europe/Berlin", "", false},
        Kind{";TZID=America/St_Johns", "", false}, Kind{";TZID=Australia/Lord_Howe", "", false},
        Kind{";TZID=Pacific/Kiritimati", "", false}, Kind{";TZID=\"Own/East\"", "", false},
        Kind{";TZID=Own/West", "", false}, Kind{";TZID=Unknown", "", false}};

    const Kind& form() { return forms[static_cast<std::size_t>(below(forms.size()))]; }

    std::string digits(std::chrono::sys_seconds time, bool isDate) {
        std::string text;
        for (const char c : written(time).substr(0, 19)) {
            if (c != '-' && c != ':') {
                text += c;
            }
        }
        return isDate ? text.substr(0, 8) : text;
    }

    std::chrono::sys_seconds time() {
        return at("2026-01-01T00:00:00Z") + std::chrono::minutes(15) * below(365 * 24 * 4);
    }

    std::chrono::sys_seconds near(std::chrono::sys_seconds start) {
        return start + std::chrono::minutes(15) * (below(60 * 24 * 4) - 400);
    }

    std::string value(const Kind& like, std::chrono::sys_seconds time) {
        return std::string(like.parameters) + ":" + digits(time, like.isDate) +
               std::string(like.suffix);
    }

    std::string extent(const Kind& like, std::chrono::sys_seconds start) {
        switch (below(6)) {
        case 0:
            return "";
        case 1:
            return "DURATION:PT" + std::to_string(below(5'000)) + "M\n";
        case 2:
            return "DURATION:P" + std::to_string(below(40)) + "D\n";
        case 3:
            return "DTEND" + value(form(), near(start)) + "\n";
        default:
            return "DTEND" + value(like, start + std::chrono::minutes(15) * below(200)) + "\n";
        }
    }

    std::string rule(
        const Kind& like, std::chrono::sys_seconds start, std::string_view name = "RRULE") {
        constexpr std::array<std::string_view, 5> rules{"FREQ=DAILY", "FREQ=WEEKLY;BYDAY=MO,SA",
            "FREQ=MONTHLY;BYMONTHDAY=-1,15", "FREQ=YEARLY", "FREQ=DAILY;INTERVAL=9;BYHOUR=1,23"};
        std::string text = std::string(name) + ":" +
                           std::string(rules[static_cast<std::size_t>(below(4 + !like.isDate))]);
        const auto until = start + std::chrono::minutes(15) * (below(200 * 24 * 4) - 500);
        switch (below(5)) {
        case 0:
            return text + "\n";
        case 1:
            return text + ";COUNT=" + std::to_string(1 + below(50)) + "\n";
        case 2:
            return text + ";UNTIL=" + digits(until, true) + "\n";
        case 3:
            return text + ";UNTIL=" + digits(until, false) + "\n";
        default:
            return text + ";UNTIL=" + digits(until, false) + "Z\n";
        }
    }

    std::string event(const std::string& uid) {
        const Kind& like = form();
        const auto start = time();
        std::string lines = "UID:" + uid + "\n";
        lines += "DTSTART" + value(like, start) + "\n" + extent(like, start);
        for (int i = below(3); i > 0; --i) {
            lines += rule(like, start);
        }
        if (below(4) == 0) {
            lines += "RDATE" + value(like, near(start)) + "\n";
        }
        if (!like.isDate && below(4) == 0) {
            lines += "RDATE;VALUE=PERIOD:" + digits(near(start), false) + "Z/P" +
                     std::to_string(below(30)) + "DT1H\n";
        }
        if (below(3) == 0) {
            lines += "EXDATE" + value(like, start + std::chrono::days(below(4))) + "\n";
        }
        if (below(8) == 0) {
            lines += "DTSTART" + value(form(), time()) + "\nDTEND" + value(form(), time()) + "\n";
        }
        if (variety_ == Variety::all) {
            lines += otherForms(like, start);
        }
        std::string events = "BEGIN:VEVENT\n" + folded(lines) + "END:VEVENT\n";
        if (variety_ == Variety::all) {
            events += otherComponents(uid, like, start);
        }
        if (below(3) == 0) {
            const Kind& other = form();
            const auto moved = time();
            events += "BEGIN:VEVENT\nUID:" + uid + "\nRECURRENCE-ID" +
                      value(like, start + std::chrono::days(below(3))) + "\nDTSTART" +
                      value(other, moved) + "\n" + extent(other, moved) + "END:VEVENT\n";
        }
        return events;
    }

    std::string otherForms(const Kind& like, std::chrono::sys_seconds start) {
        constexpr Kind day{";VALUE=DATE", "", true};
        const auto soon = [&] { return start + std::chrono::days(below(6)); };
        std::string lines = "SEQUENCE:" + std::to_string(below(3)) + "\n";
        if (below(3) == 0) {
            lines += rule(like, start, "EXRULE");
        }
        if (below(3) == 0) {
            lines += "RDATE" + value(below(2) == 0 ? day : form(), soon()) + "\n";
        }
        if (below(3) == 0) {
            lines += "EXDATE" + value(below(2) == 0 ? day : form(), soon()) + "\n";
        }
        return lines;
    }

    std::string otherComponents(
        const std::string& uid, const Kind& like, std::chrono::sys_seconds start) {
        std::string events;
        for (int i = below(4); i > 0; --i) {
            const Kind& id = below(3) == 0 ? form() : like;
            const Kind& other = below(3) == 0 ? form() : like;
            const auto named = start + std::chrono::days(below(40));
            const auto moved = named + std::chrono::minutes(15) * (below(10 * 24 * 4) - 300);
            events += "BEGIN:VEVENT\nUID:" + uid + "\nSUMMARY:x" + std::to_string(i) +
                      "\nRECURRENCE-ID" + (below(3) > 0 ? ";RANGE=THISANDFUTURE" : "") +
                      value(id, named) + "\nDTSTART" + value(other, moved) + "\n" +
                      extent(other, moved) + "END:VEVENT\n";
        }
        if (below(4) == 0) {
            const Kind& other = below(2) == 0 ? form() : like;
            const auto begin = start + std::chrono::days(below(3));
            events += "BEGIN:VEVENT\nUID:" + uid + "\nSUMMARY:second\nDTSTART" +
                      value(other, begin) + "\n" + extent(other, begin) +
                      (below(2) == 0 ? rule(other, begin) : "") + otherForms(other, begin) +
                      "END:VEVENT\n";
        }
        return events;
    }

    std::string folded(const std::string& lines) {
        std::string text;
        for (const char c : lines) {
            text += c;
            if (c != '\n' && below(40) == 0) {
                text += "\n ";
            }
        }
        return text;
    }

    std::mt19937 random_;
    Variety variety_;
};

} // namespace quenbrook::test
