#include "platform/icalendar/Outline.h"

#include "platform/Text.h"
#include "platform/icalendar/time/DateTime.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>

namespace quenbrook::platform::icalendar {
namespace {

using std::chrono::days;
using std::chrono::sys_days;

// Components that do not stand in others but a VCALENDAR: one that begins within another means that
// the outer one was never closed.
constexpr std::array<std::string_view, 6> outermost = {
    "VEVENT", "VTODO", "VJOURNAL", "VFREEBUSY", "VTIMEZONE", "VCALENDAR"};

bool isOutermost(std::string_view name) {
    return std::any_of(outermost.begin(), outermost.end(),
        [&](std::string_view each) { return equalsIgnoringCase(each, name); });
}

// Tells by the first two bytes of a line whether it can be one of those that count. It may count
// one too many, and its name may be folded behind its first letter.
class LineFilter {
  public:
    consteval LineFilter(std::initializer_list<std::string_view> beginnings) {
        for (const std::string_view beginning : beginnings) {
            const std::uint32_t bits = bit(beginning[1]) | bit('\r') | bit('\n');
            seconds_[static_cast<unsigned char>(beginning[0])] |= bits;
            seconds_[static_cast<unsigned char>(beginning[0] | 0x20)] |= bits;
        }
    }

    bool mayCount(char first, char second) const {
        return (seconds_[static_cast<unsigned char>(first)] & bit(second)) != 0;
    }

  private:
    // The same for letters of both cases.
    static constexpr std::uint32_t bit(char second) {
        return std::uint32_t{1} << (static_cast<unsigned char>(second) & 0x1F);
    }

    // By the first byte.
    std::array<std::uint32_t, 256> seconds_{};
};

// BEGIN and END; in an event UID, DTSTART, DTEND, DURATION, RRULE, RDATE and RECURRENCE-ID as well.
constexpr LineFilter boundaries = {"BE", "EN"};
constexpr LineFilter boundariesAndProperties = {"BE", "EN", "UI", "DT", "DU", "RR", "RD", "RE"};

// Nothing of iCalendar, but some programs begin every UTF-8 file with it.
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

class OutlineReader {
  public:
    explicit OutlineReader(std::string_view text)
        : text_(text)
        , position_(text.starts_with(byteOrderMark) ? byteOrderMark.size() : 0) {}

    Outline read() {
        while (position_ < text_.size()) {
            lineBegin_ = position_;
            const std::size_t feed = text_.find('\n', position_);
            position_ = feed == std::string_view::npos ? text_.size() : feed + 1;
            if (mayCount(text_.substr(lineBegin_, 2))) {
                take(logicalLine(feed));
            } else {
                skipContinuations();
            }
        }
        abandon();
        return std::move(outline_);
    }

  private:
    bool isInEvent() const { return depth_ == 1 && isEvent_; }

    bool mayCount(std::string_view firstTwo) const {
        const LineFilter& filter = isInEvent() ? boundariesAndProperties : boundaries;
        return firstTwo.size() == 2 && filter.mayCount(firstTwo[0], firstTwo[1]);
    }

    void skipContinuations() {
        while (const auto more = continuationAt(text_, position_)) {
            position_ = more->next;
        }
    }

    // The line from lineBegin_ to its line feed, with what continues it.
    std::string_view logicalLine(std::size_t feed) {
        std::string_view line = text_.substr(lineBegin_, feed - lineBegin_);
        if (feed != std::string_view::npos && line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        auto more = continuationAt(text_, position_);
        if (!more) {
            return line;
        }
        unfolded_ = line;
        for (; more; more = continuationAt(text_, position_)) {
            unfolded_ += more->text.substr(1);
            position_ = more->next;
        }
        return unfolded_;
    }

    void take(std::string_view line) {
        if (line.empty()) {
            return;
        }
        const char first = static_cast<char>(line.front() | 0x20);
        if (first == 'b' && line.size() > 6 && equalsIgnoringCase(line.substr(0, 6), "BEGIN:")) {
            begin(trimmed(line.substr(6)));
        } else if (first == 'e' && line.size() > 4 &&
                   equalsIgnoringCase(line.substr(0, 4), "END:")) {
            end(trimmed(line.substr(4)));
        } else if (isInEvent()) {
            property(line, first);
        }
    }

    void begin(std::string_view name) {
        if (equalsIgnoringCase(name, "VCALENDAR")) {
            abandon();
            inCalendar_ = true;
        } else if (depth_ == 0 || isOutermost(name)) {
            abandon();
            depth_ = 1;
            name_ = name;
            isEvent_ = equalsIgnoringCase(name, "VEVENT");
            event_ = EventSummary{};
            event_.range.begin = lineBegin_;
            event_.isInCalendar = inCalendar_;
            hasStart_ = hasEnd_ = false;
            start_ = last_ = std::nullopt;
            daysKnown_ = true;
        } else {
            ++depth_;
        }
    }

    void end(std::string_view name) {
        if (equalsIgnoringCase(name, "VCALENDAR")) {
            abandon();
            inCalendar_ = false;
        } else if (depth_ > 1) {
            --depth_;
        } else if (depth_ == 1) {
            depth_ = 0;
            if (equalsIgnoringCase(name, name_)) {
                complete();
            } else {
                ++outline_.broken;
            }
        }
    }

    void abandon() {
        outline_.broken += depth_ > 0 ? 1 : 0;
        depth_ = 0;
    }

    void complete() {
        event_.range.end = position_;
        if (equalsIgnoringCase(name_, "VTIMEZONE")) {
            outline_.timeZones.push_back(event_.range);
        } else if (!isEvent_) {
            ++outline_.others;
        } else {
            if (daysKnown_ && start_) {
                event_.days = DayRange{*start_, std::max(*start_, last_.value_or(*start_))};
            }
            outline_.events.push_back(std::move(event_));
        }
    }

    void property(std::string_view line, char first) {
        const std::string_view name = line.substr(0, nameLength(line));
        // Of a property that is there twice, the first counts.
        if (first == 'u' && event_.uid.empty() && equalsIgnoringCase(name, "UID")) {
            if (const auto content = parseContentLine(line)) {
                event_.uid = decodeText(content->value);
            }
        } else if (first == 'd' && !hasStart_ && equalsIgnoringCase(name, "DTSTART")) {
            hasStart_ = true;
            start_ = dayOf(line);
        } else if (first == 'd' && !hasEnd_ && equalsIgnoringCase(name, "DTEND")) {
            hasEnd_ = true;
            last_ = dayOf(line);
        } else if (first == 'd' && equalsIgnoringCase(name, "DURATION")) {
            daysKnown_ = false;
        } else if (first == 'r' && equalsIgnoringCase(name, "RRULE")) {
            event_.until = event_.hasRule ? std::nullopt : untilOf(line);
            event_.hasRule = true;
        } else if (first == 'r' && equalsIgnoringCase(name, "RDATE")) {
            event_.hasAddedDates = true;
        } else if (first == 'r' && equalsIgnoringCase(name, "RECURRENCE-ID")) {
            const auto content = parseContentLine(line);
            event_.movesOthers =
                event_.movesOthers || (content && parameterValue(*content, "RANGE").has_value());
        }
    }

    std::optional<sys_days> dayOf(std::string_view line) {
        const std::size_t colon = line.rfind(':');
        const auto day = parseDate(line.substr(std::min(colon + 1, line.size())).substr(0, 8));
        daysKnown_ = daysKnown_ && day;
        return day;
    }

    static std::optional<sys_days> untilOf(std::string_view line) {
        constexpr std::string_view part = "UNTIL=";
        const std::size_t at = line.find(part);
        if (at == std::string_view::npos) {
            return std::nullopt;
        }
        return parseDate(line.substr(at + part.size()).substr(0, 8));
    }

    std::string_view text_;
    std::size_t position_;
    std::size_t lineBegin_ = 0;
    std::string unfolded_;

    bool inCalendar_ = false;
    // Of open components below the VCALENDAR.
    std::size_t depth_ = 0;
    std::string name_;
    bool isEvent_ = false;
    EventSummary event_;
    bool hasStart_ = false;
    bool hasEnd_ = false;
    std::optional<sys_days> start_;
    std::optional<sys_days> last_;
    bool daysKnown_ = true;
    Outline outline_;
};

} // namespace

bool EventSummary::mayTouch(const DayRange& wanted) const {
    if (!days || hasAddedDates || movesOthers) {
        return true;
    }
    if (days->first > wanted.last) {
        return false;
    }
    if (!hasRule) {
        return days->last >= wanted.first;
    }
    // The first occurrence is there whatever the rule says.
    return !until ||
           std::max(*until, days->first) + (days->last - days->first) + std::chrono::days(2) >=
               wanted.first;
}

Outline outlineOf(std::string_view text) {
    return OutlineReader(text).read();
}

} // namespace quenbrook::platform::icalendar
