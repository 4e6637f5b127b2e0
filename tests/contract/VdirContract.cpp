#include "platform/vdir/VdirStore.h"
#include "tests/contract/StoreHarness.h"
#include "tests/support/TemporaryFolder.h"

#include <array>
#include <cmath>
#include <ctime>
#include <fstream>
#include <iomanip>
#include <map>
#include <sstream>

namespace quenbrook::contract {
namespace {

using platform::Instant;

constexpr std::array<const char*, 6> accountTypes{
    "local", "exchange", "caldav", "mobileme", "subscription", "birthdays"};
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

std::string ruleText(const platform::RecurrenceRule& rule) {
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

std::string fileText(const EventSeed& seed) {
    Component file;
    file.line("BEGIN:VCALENDAR");
    file.line("VERSION:2.0");
    file.line("PRODID:-//Contract//EN");
    file.line("BEGIN:VEVENT");
    file.line("UID:" + seed.name);
    file.line("DTSTAMP:20251201T120000Z");
    if (seed.isAllDay) {
        file.line("DTSTART;VALUE=DATE:" + localDayText(seed.start));
        file.line("DTEND;VALUE=DATE:" + localDayText(seed.end + std::chrono::seconds{1}));
    } else {
        file.line("DTSTART:" + utcText(seed.start));
        file.line("DTEND:" + utcText(seed.end));
    }
    if (seed.title) {
        file.line("SUMMARY:" + escaped(*seed.title));
    }
    if (seed.location) {
        file.line("LOCATION:" + escaped(*seed.location));
    }
    if (seed.notes) {
        file.line("DESCRIPTION:" + escaped(*seed.notes));
    }
    for (const auto& participant : seed.participants) {
        std::string content = "ATTENDEE";
        if (participant.name) {
            content += ";CN=\"" + *participant.name + "\"";
        }
        content += std::string(";PARTSTAT=") + word(participationStatuses, participant.status);
        file.line(content + ":" + participant.url);
    }
    for (const auto& rule : seed.recurrenceRules) {
        file.line("RRULE:" + ruleText(rule));
    }
    if (seed.lastModified) {
        file.line("LAST-MODIFIED:" + utcText(*seed.lastModified));
    }
    file.line(std::string("X-MICROSOFT-CDO-BUSYSTATUS:") + word(busyStatuses, seed.availability));
    for (const double offset : seed.alarms) {
        file.line("BEGIN:VALARM");
        file.line("ACTION:DISPLAY");
        file.line("DESCRIPTION:Alarm");
        file.line(std::string("TRIGGER:") + (offset < 0 ? "-" : "") + "PT" +
                  std::to_string(std::llround(std::abs(offset))) + "S");
        file.line("END:VALARM");
    }
    file.line("END:VEVENT");
    file.line("END:VCALENDAR");
    return file.text();
}

void write(const std::filesystem::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

class VdirHarness final : public StoreHarness {
  public:
    StoreCapabilities capabilities() const override {
        return {.keepsFractionalSeconds = false, .keepsNul = false};
    }

    std::string addCalendar(const CalendarSeed& seed) override {
        const std::string identifier =
            (seed.source ? accountFolder(*seed.source) + "/" : "") + seed.name;
        const auto folder = root_.path() / identifier;
        std::filesystem::create_directory(folder);
        write(folder / "displayname", seed.title + "\n");
        if (seed.color) {
            std::ostringstream text;
            text << '#' << std::hex << std::setfill('0');
            for (const double component : *seed.color) {
                text << std::setw(2) << std::lround(component * 255.0);
            }
            write(folder / "color", text.str());
        }
        return identifier;
    }

    std::string addEvent(const std::string& calendarIdentifier, const EventSeed& seed) override {
        write(root_.path() / calendarIdentifier / (seed.name + ".ics"), fileText(seed));
        return calendarIdentifier + ":" + seed.name;
    }

    std::unique_ptr<platform::CalendarStore> openStore() override {
        return platform::vdir::openVdirStore(root_.path());
    }

  private:
    std::string accountFolder(const platform::Source& source) {
        const auto [account, isNew] =
            accounts_.emplace(source.title, "account-" + std::to_string(accounts_.size()));
        if (isNew) {
            const auto folder = root_.path() / account->second;
            std::filesystem::create_directory(folder);
            write(folder / "displayname", source.title);
            write(folder / "type", word(accountTypes, source.type));
        }
        return account->second;
    }

    support::TemporaryFolder root_;
    std::map<std::string, std::string> accounts_;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Vdir, StoreContract,
    testing::Values(HarnessFactory{[] { return std::make_unique<VdirHarness>(); }}));

} // namespace quenbrook::contract
