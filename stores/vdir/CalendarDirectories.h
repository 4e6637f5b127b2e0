#pragma once

#include "files/Directory.h"
#include "model/Calendar.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quenbrook::stores::vdir {

// One calendar and the directory that it is.
struct CalendarDirectory {
    std::shared_ptr<const model::Calendar> calendar;
    // Below the root, as the file system spells it.
    std::string path;
};

// The calendars below a root. A directory in the root that holds event files is a calendar, as is
// one that holds no directory; any other is an account, and each directory in it a calendar. All
// members throw std::system_error when the system could not tell what they ask; what concerns other
// calendars only is not asked. Not thread-safe.
class CalendarDirectories {
  public:
    // The root must outlive this.
    explicit CalendarDirectories(const files::Directory& root);

    // All, ordered by identifier.
    std::vector<CalendarDirectory> all();

    // Returns nullopt when no calendar has this identifier.
    std::optional<CalendarDirectory> find(std::string_view identifier);

    // Those whose identifiers begin this one of an event.
    std::vector<CalendarDirectory> ofEvent(std::string_view identifier);

  private:
    using IsWanted = std::function<bool(std::string_view identifier)>;

    std::vector<CalendarDirectory> matching(const IsWanted& mayHold, const IsWanted& isWanted);
    bool append(const std::string& name, const IsWanted& isWanted,
        std::vector<CalendarDirectory>& found) const;

    const files::Directory& root_;
    std::vector<std::string> names_;
};

// What stands between a calendar's identifier and an event's UID.
constexpr char identifierSeparator = ':';

} // namespace quenbrook::stores::vdir
