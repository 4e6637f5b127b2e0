#pragma once

#include "files/FileReading.h"

#include <functional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quenbrook::stores::vdir {

// What the name of an event file ends in.
inline constexpr std::string_view eventSuffix = ".ics";

// Whether this is an event file, as a listing tells it.
bool isEventFile(const files::DirectoryEntry& entry);

// The event files of one directory on the way to being read, while other programs may rename them.
class EventFiles {
  public:
    // Lists them. The directory must outlive this. Throws std::system_error when they cannot be
    // listed.
    explicit EventFiles(const files::Directory& directory);

    // Puts those that are to be read now into the order of their names.
    void sort();

    const files::Directory& directory() const { return *directory_; }

    // Those that are to be read now.
    const std::vector<files::DirectoryEntry>& unread() const { return unread_; }

    // Whether all that are there have been read.
    bool isSettled() const { return isSettled_; }

    // To be called when these were read, with the names of those that were gone. Lists the files
    // again when there may be others, or fewer: unread() then are those that have not been read.
    // Returns the names of those that were read and are there no more: an event that is moved to
    // another file must not be found twice.
    std::vector<std::string> lookAgain(std::span<const std::string> gone);

  private:
    void list();

    const files::Directory* directory_;
    std::vector<files::DirectoryEntry> unread_;
    bool isSnapshot_ = true;
    bool isSettled_ = false;
    std::set<std::string> read_;
};

// Takes the text of one file, by the number of its directory and its name; false when no other is
// wanted. Runs in several threads at once.
using EventFileVisit =
    std::function<bool(std::size_t directory, const std::string& name, std::string_view text)>;
// Is told of a file that was visited and is there no more.
using EventFileLoss = std::function<void(std::size_t directory, const std::string& name)>;

// Has each file of these directories visited, as readFiles does, until all that are there have been
// visited once, or no other is wanted: then all before that one, too. Throws std::system_error when
// a directory or a file could not be read, or the directories never come to rest.
void readEventFiles(std::span<EventFiles> directories, const files::ReadingThreads& threads,
    const EventFileVisit& visit, const EventFileLoss& forget);

} // namespace quenbrook::stores::vdir
