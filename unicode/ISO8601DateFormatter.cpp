#include "unicode/ISO8601DateFormatter.h"

#include <algorithm>
#include <array>
#include <chrono>

namespace quenbrook::unicode {
namespace {

using std::chrono::days;
using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;
using std::chrono::sys_days;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Takes a text apart from the front. A part that is not there fails the whole.
class Scanner {
  public:
    explicit Scanner(std::string_view text)
        : rest_(text) {}

    bool failed() const { return failed_; }
    bool atEnd() const { return rest_.empty(); }

    bool skip(char c) {
        if (rest_.empty() || rest_.front() != c) {
            return false;
        }
        rest_.remove_prefix(1);
        return true;
    }

    void expect(char c) { failed_ = !skip(c) || failed_; }

    int number(std::size_t digits, int least, int most) {
        int value = 0;
        for (std::size_t i = 0; i < digits; ++i) {
            value = value * 10 + digit();
        }
        failed_ = failed_ || value < least || value > most;
        return value;
    }

    milliseconds fraction() {
        int value = digit() * 100;
        for (int unit = 10; !rest_.empty() && isDigit(rest_.front()); unit /= 10) {
            value += digit() * unit;
        }
        return milliseconds(value);
    }

    minutes offset() {
        if (skip('Z') || skip('z')) {
            return minutes(0);
        }
        const bool west = skip('-');
        if (!west) {
            expect('+');
        }
        const hours hour(number(2, 0, 23));
        minutes minute(0);
        if (!atEnd()) {
            skip(':');
            minute = minutes(number(2, 0, 59));
        }
        return west ? -(hour + minute) : hour + minute;
    }

  private:
    int digit() {
        if (rest_.empty() || !isDigit(rest_.front())) {
            failed_ = true;
            return 0;
        }
        const int value = rest_.front() - '0';
        rest_.remove_prefix(1);
        return value;
    }

    std::string_view rest_;
    bool failed_ = false;
};

using Instant = ISO8601DateFormatter::Instant;
constexpr Instant firstInstant = sys_days(std::chrono::year(1) / 1 / 1);
constexpr Instant endOfInstants = sys_days(std::chrono::year(10000) / 1 / 1);

template <std::size_t Digits>
char* writeNumber(char* at, int value) {
    for (std::size_t i = Digits; i-- > 0; value /= 10) {
        at[i] = static_cast<char>('0' + value % 10);
    }
    return at + Digits;
}

} // namespace

std::optional<ISO8601DateFormatter::Instant> ISO8601DateFormatter::dateFromString(
    std::string_view text) const {
    Scanner scanner(text);
    const std::chrono::year year(scanner.number(4, 0, 9999));
    scanner.expect('-');
    const std::chrono::month month(static_cast<unsigned>(scanner.number(2, 1, 12)));
    scanner.expect('-');
    const std::chrono::day day(static_cast<unsigned>(scanner.number(2, 1, 31)));
    scanner.expect('T');
    const hours hour(scanner.number(2, 0, 24));
    scanner.expect(':');
    const minutes minute(scanner.number(2, 0, 59));
    scanner.expect(':');
    const seconds second(scanner.number(2, 0, 59));
    milliseconds fraction(0);
    if (fractional()) {
        scanner.expect('.');
        fraction = scanner.fraction();
    }
    const minutes offset = scanner.offset();

    const std::chrono::year_month_day date(year, month, day);
    const milliseconds time = hour + minute + second + fraction;
    if (scanner.failed() || !scanner.atEnd() || !date.ok() || time > days(1)) {
        return std::nullopt;
    }
    const Instant instant = sys_days(date) + time - offset;
    if (instant < firstInstant || instant >= endOfInstants) {
        return std::nullopt;
    }
    return instant;
}

std::string ISO8601DateFormatter::stringFromDate(Instant date) const {
    const sys_days day = std::chrono::floor<days>(date);
    const std::chrono::year_month_day ymd(day);
    const auto time = static_cast<int>((date - day).count());

    std::array<char, 24> text{};
    char* at = writeNumber<4>(text.data(), static_cast<int>(ymd.year()));
    *at++ = '-';
    at = writeNumber<2>(at, static_cast<int>(static_cast<unsigned>(ymd.month())));
    *at++ = '-';
    at = writeNumber<2>(at, static_cast<int>(static_cast<unsigned>(ymd.day())));
    *at++ = 'T';
    at = writeNumber<2>(at, time / 3'600'000);
    *at++ = ':';
    at = writeNumber<2>(at, time / 60'000 % 60);
    *at++ = ':';
    at = writeNumber<2>(at, time / 1'000 % 60);
    if (fractional()) {
        *at++ = '.';
        at = writeNumber<3>(at, time % 1'000);
    }
    *at++ = 'Z';
    return {text.data(), at};
}

} // namespace quenbrook::unicode
