#include "icalendar/stream/StreamScan.h"

#include "icalendar/text/ContentLine.h"
#include "icalendar/time/DateTime.h"
#include "unicode/Text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>

namespace quenbrook::icalendar {
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
    // One bit for a letter of either case.
    static constexpr std::uint32_t bit(char second) {
        return std::uint32_t{1} << (static_cast<unsigned char>(second) & 0x1F);
    }

    // By the first byte.
    std::array<std::uint32_t, 256> seconds_{};
};

// BEGIN and END, outside of events perhaps with a byte order mark before them; in an event UID,
// DTSTART, DTEND, DURATION, RRULE, RDATE and RECURRENCE-ID as well.
constexpr LineFilter boundaries = {"BE", "EN", "\xEF\xBB"};
constexpr LineFilter boundariesAndProperties = {"BE", "EN", "UI", "DT", "DU", "RR", "RD", "RE"};

class StreamScanner {
  public:
    explicit StreamScanner(std::string_view text)
        : text_(text)
        , position_(lengthOfPreamble(text)) {}

    StreamScan read() {
        while (const auto line = nextThatMayCount()) {
            take(*line);
        }
        abandon();
        return std::move(scan_);
    }

  private:
    bool isInEvent() const { return depth_ == 1 && isEvent_; }

    // The next logical line that the filter lets through; it lets none through that continues
    // another.
    std::optional<std::string_view> nextThatMayCount() {
        const LineFilter& filter = isInEvent() ? boundariesAndProperties : boundaries;
        std::size_t begin = position_;
        while (begin + 1 < text_.size()) {
            const std::size_t feed = text_.find('\n', begin);
            const std::size_t next = feed == std::string_view::npos ? text_.size() : feed + 1;
            if (filter.mayCount(text_[begin], text_[begin + 1])) {
                // Files that begin with a mark may have been joined to one.
                lineBegin_ = begin + lengthOfMark(text_.substr(begin));
                position_ = next;
                return logicalLine(feed);
            }
            begin = next;
        }
        return std::nullopt;
    }

    // The line from lineBegin_ to its line feed, with what continues it.
    std::string_view logicalLine(std::size_t feed) {
        std::string_view line = text_.substr(lineBegin_, feed - lineBegin_);
        if (feed != std::string_view::npos && line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        if (!isContinuation(text_, position_)) {
            return line;
        }
        const auto folded = contentLineAt(text_, lineBegin_, unfolded_);
        position_ = folded->next;
        return folded->text;
    }

    void take(std::string_view line) {
        if (const auto begun = after("BEGIN:", line)) {
            begin(*begun);
        } else if (const auto ended = after("END:", line)) {
            end(*ended);
        } else if (isInEvent()) {
            property(line);
        }
    }

    // What stands behind this beginning of the line. Returns nullopt when the line begins otherwise
    // or there is nothing more.
    static std::optional<std::string_view> after(
        std::string_view beginning, std::string_view line) {
        if (line.size() <= beginning.size() ||
            !equalsIgnoringCase(line.substr(0, beginning.size()), beginning)) {
            return std::nullopt;
        }
        return unicode::trimmed(line.substr(beginning.size()));
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
            start_ = last_ = std::nullopt;
            longest_ = days{0};
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
                ++scan_.broken;
            }
        }
    }

    void abandon() {
        scan_.broken += depth_ > 0 ? 1 : 0;
        depth_ = 0;
    }

    void complete() {
        event_.range.end = position_;
        if (equalsIgnoringCase(name_, "VTIMEZONE")) {
            scan_.timeZones.push_back(event_.range);
        } else if (!isEvent_) {
            ++scan_.others;
        } else {
            if (daysKnown_ && start_) {
                event_.days =
                    DayRange{*start_, std::max(*start_ + longest_, last_.value_or(*start_))};
            }
            scan_.events.push_back(event_);
        }
    }

    void property(std::string_view line) {
        // Of a property that is there twice, the first counts; where that cannot be read, no day
        // is known.
        if (event_.uidLine.end == 0 && isNamed(line, "UID")) {
            const auto content = parseContentLine(line);
            if (content && !content->value.empty()) {
                event_.uidLine = {lineBegin_, position_};
            }
        } else if (!start_ && isNamed(line, "DTSTART")) {
            start_ = dayOf(line);
        } else if (!last_ && isNamed(line, "DTEND")) {
            last_ = dayOf(line);
        } else if (isNamed(line, "DURATION")) {
            extend(line);
        } else if (isNamed(line, "RRULE")) {
            event_.until = event_.hasRule ? std::nullopt : untilOf(line);
            event_.hasRule = true;
        } else if (isNamed(line, "RDATE")) {
            event_.hasAddedDates = true;
        } else if (isNamed(line, "RECURRENCE-ID")) {
            const auto content = parseContentLine(line);
            event_.movesOthers =
                event_.movesOthers || (content && parameterValue(*content, "RANGE").has_value());
        }
    }

    // Faster than to look for the end of the line's name first.
    static bool isNamed(std::string_view line, std::string_view name) {
        const bool ends =
            line.size() == name.size() ||
            (line.size() > name.size() && (line[name.size()] == ':' || line[name.size()] == ';'));
        return ends && equalsIgnoringCase(line.substr(0, name.size()), name);
    }

    std::optional<sys_days> dayOf(std::string_view line) {
        const auto day = parseDate(dateValue(line).substr(0, 8));
        daysKnown_ = daysKnown_ && day;
        return day;
    }

    // An event that has both ends by DTEND, if that can be read.
    void extend(std::string_view line) {
        const auto content = parseContentLine(line);
        const auto duration = content ? parseDuration(content->value) : std::nullopt;
        daysKnown_ = daysKnown_ && duration;
        if (duration) {
            longest_ =
                std::max(longest_, duration->days + std::chrono::ceil<days>(duration->seconds));
        }
    }

    // Nearly every value has one of three lengths.
    static std::string_view dateValue(std::string_view line) {
        for (const std::size_t length : {15U, 16U, 8U}) {
            if (line.size() > length && line[line.size() - length - 1] == ':') {
                return line.substr(line.size() - length);
            }
        }
        return line.substr(line.rfind(':') + 1);
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
    std::optional<sys_days> start_;
    std::optional<sys_days> last_;
    // By DURATION.
    days longest_{0};
    bool daysKnown_ = true;
    StreamScan scan_;
};

} // namespace

bool EventSummary::mayOverlap(const DayRange& wanted) const {
    if (!days || hasAddedDates || movesOthers) {
        return true;
    }
    if (days->first > wanted.last) {
        return false;
    }
    if (!hasRule) {
        return days->last >= wanted.first;
    }
    // The first instance is there whatever the rule says.
    return !until ||
           std::max(*until, days->first) + (days->last - days->first) + std::chrono::days(2) >=
               wanted.first;
}

StreamScan scanStream(std::string_view text) {
    return StreamScanner(text).read();
}

std::string uidOf(std::string_view text, const EventSummary& event) {
    std::string unfolded;
    const auto line =
        contentLineAt(text.substr(0, event.uidLine.end), event.uidLine.begin, unfolded);
    const auto content = line ? parseContentLine(line->text) : std::nullopt;
    return content ? decodeText(content->value) : std::string();
}

} // namespace quenbrook::icalendar
