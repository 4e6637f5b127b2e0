#pragma once

#include <exception>
#include <string>
#include <string_view>

namespace quenbrook {

// What went wrong, as callers of the program tell it apart.
enum class ErrorCase {
    accessDenied,
    calendarNotFound,
    eventNotFound,
    readOnlyCalendar,
    invalidDate,
    invalidJSON,
    unknownSubcommand,
    missingArgs,
    eventStoreSaveFailed,
    eventStoreRemoveFailed,
    unknown,
};

// Every failure that the program reports on purpose.
class QuenbrookError : public std::exception {
  public:
    // `message` is for people; it may be empty and may hold any characters.
    QuenbrookError(ErrorCase errorCase, std::string message);

    ErrorCase errorCase() const { return case_; }
    const std::string& message() const { return message_; }

    // The fixed upper-case code. A function of the case alone.
    std::string_view code() const;

    const char* what() const noexcept override { return message_.c_str(); }

  private:
    ErrorCase case_;
    std::string message_;
};

} // namespace quenbrook
