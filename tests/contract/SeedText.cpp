#include "tests/contract/SeedText.h"

#include <array>
#include <cmath>
#include <ctime>
#include <iomanip>
#include <sstream>

namespace quenbrook::contract {
namespace {

using model::Instant;

constexpr std::array<const char*, 8> participationStatuses{"X-UNKNOWN", "NEEDS-ACTION", "ACCEPTED",
    "DECLINED", "TENTATIVE", "DELEGATED", "COMPLETED", "IN-PROCESS"};
constexpr std::array<const char*, 4> busyStatuses{"BUSY", "FREE", "TENTATIVE", "OOF"};
constexpr std::array<const char*, 4> frequencies{"DAILY", "WEEKLY", "MONTHLY", "YEARLY"};
constexpr std::array<const char*, 8> weekdays{"", "SU", "MO", "TU", "WE", "TH", "FR", "SA"};

template <typename Words>
const char* word(const Words& words, std::int64_t number) {
    return words.at(static_cast<std::size_t>(number));
}

std::string utcText(Instant instant) {
    const auto day = std::chrono::floor<std::chrono::days>(instant);
    const std::chrono::year_month_day date{day};
    const std::chrono::hh_mm_ss time{instant - day};
    std::ostringstream text;
    text << std::setfill('0') << std::setw(4) << static_cast<int>(date.year()) << std::setw(2)
         << static_cast<unsigned>(date.month()) << std::setw(2) << static_cast<unsigned>(date.day())
         << 'T' << std::setw(2) << time.hours().count() << std::setw(2) << time.minutes().count()
         << std::setw(2) << time.seconds().count() << 'Z';
    return text.str();
}

std::string localDayText(Instant instant) {
    const auto time = static_cast<std::time_t>(
        std::chrono::floor<std::chrono::seconds>(instant).time_since_epoch().count());
    std::tm local{};
    ::localtime_r(&time, &local);
    std::array<char, 16> text{};
    const auto length = std::strftime(text.data(), text.size(), "%Y%m%d", &local);
    return {text.data(), length};
}

std::string escaped(const std::string& text) {
    std::string result;
    for (const char character : text) {
        if (character == '\n') {
            result += "\\n";
            continue;
        }
        if (character == '\\' || character == ';' || character == ',') {
            result += '\\';
        }
        result += character;
    }
    return result;
}

template <typename Value, typename Text>
std::string listed(const std::vector<Value>& values, Text text) {
    std::ostringstream list;
    const char* separator = "";
    for (const auto& value : values) {
        list << separator << text(value);
        separator = ",";
    }
    return list.str();
}

std::string ruleText(const model::RecurrenceRule& rule) {
    std::ostringstream text;
    const auto number = [](std::int64_t value) { return value; };
    text << "FREQ=" << word(frequencies, rule.frequency) << ";INTERVAL=" << rule.interval;
    if (rule.end && rule.end->endDate) {
        text << ";UNTIL=" << utcText(*rule.end->endDate);
    } else if (rule.end) {
        text << ";COUNT=" << rule.end->occurrenceCount;
    }
    if (!rule.daysOfTheWeek.empty()) {
        text << ";BYDAY="
             << listed(rule.daysOfTheWeek, [](std::int64_t day) { return word(weekdays, day); });
    }
    if (!rule.daysOfTheMonth.empty()) {
        text << ";BYMONTHDAY=" << listed(rule.daysOfTheMonth, number);
    }
    if (!rule.monthsOfTheYear.empty()) {
        text << ";BYMONTH=" << listed(rule.monthsOfTheYear, number);
    }
    return text.str();
}

class Component {
  public:
    // Folds at 75 octets, never within a character.
    void line(const std::string& content) {
        std::size_t width = 0;
        for (std::size_t i = 0; i < content.size(); ++i) {
            const bool startsCharacter = (static_cast<unsigned char>(content[i]) & 0xC0U) != 0x80U;
            if (startsCharacter && width > 70) {
                text_ << "\r\n ";
                width = 1;
            }
            text_ << content[i];
            ++width;
        }
        text_ << "\r\n";
    }
    std::string text() const { return text_.str(); }

  private:
    std::ostringstream text_;
};

} // namespace

std::string seedText(const EventSeed& seed) {
    Component event;
    event.line("BEGIN:VEVENT");
    event.line("UID:" + seed.name);
    event.line("DTSTAMP:20251201T120000Z");
    if (seed.isAllDay) {
        event.line("DTSTART;VALUE=DATE:" + localDayText(seed.start));
        event.line("DTEND;VALUE=DATE:" + localDayText(seed.end + std::chrono::seconds{1}));
    } else {
        event.line("DTSTART:" + utcText(seed.start));
        event.line("DTEND:" + utcText(seed.end));
    }
    if (seed.title) {
        event.line("SUMMARY:" + escaped(*seed.title));
    }
    if (seed.location) {
        event.line("LOCATION:" + escaped(*seed.location));
    }
    if (seed.notes) {
        event.line("DESCRIPTION:" + escaped(*seed.notes));
    }
    for (const auto& participant : seed.participants) {
        std::string content = "ATTENDEE";
        if (participant.name) {
            content += ";CN=\"" + *participant.name + "\"";
        }
        content += std::string(";PARTSTAT=") + word(participationStatuses, participant.status);
        event.line(content + ":" + participant.url);
    }
    for (const auto& rule : seed.recurrenceRules) {
        event.line("RRULE:" + ruleText(rule));
    }
    if (seed.lastModified) {
        event.line("LAST-MODIFIED:" + utcText(*seed.lastModified));
    }
    event.line(std::string("X-MICROSOFT-CDO-BUSYSTATUS:") + word(busyStatuses, seed.availability));
    for (const double offset : seed.alarms) {
        event.line("BEGIN:VALARM");
        event.line("ACTION:DISPLAY");
        event.line("DESCRIPTION:Alarm");
        event.line(std::string("TRIGGER:") + (offset < 0 ? "-" : "") + "PT" +
                   std::to_string(std::llround(std::abs(offset))) + "S");
        event.line("END:VALARM");
    }
    event.line("END:VEVENT");
    return event.text();
}

} // namespace quenbrook::contract
