#pragma once

#include "platform/vdir/Folder.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// A file that a write replaces or removes is first taken out of its place, in one step, and looked
// at: another program may have changed it since it was read. For as long as it is out, a note in
// the folder says what is being done to it, so that whoever comes after a kill can end the change
// too. Callers hold the folder's lock.
namespace quenbrook::platform::vdir {

// The name of what was taken out. It may be somebody's only copy: nothing but a comparison of its
// content with the note clears it away.
constexpr const char* takenName = ".quenbrook.taken.tmp";

// The note, a symbolic link that leads nowhere: such a link is there as a whole or not at all, and
// needs no sync of its own.
constexpr const char* noteName = ".quenbrook.note.tmp";

// What tells one content from another.
struct Fingerprint {
    std::uint64_t size;
    std::uint64_t hash;

    bool operator==(const Fingerprint&) const = default;
};

Fingerprint fingerprintOf(std::string_view content);

// What is done to one name: the content that it has and is to have. A name that has none is new,
// and held by an empty file until the whole one takes its place.
struct Change {
    std::string name;
    std::optional<Fingerprint> before;
    std::optional<Fingerprint> after;
};

// A change with its note, which is there from the constructor on.
class NotedChange {
  public:
    // Throws std::system_error when the note cannot be written, but not where the file system has
    // no symbolic links.
    NotedChange(const Folder& folder, Change change);
    NotedChange(const NotedChange&) = delete;
    NotedChange& operator=(const NotedChange&) = delete;
    // Undoes the change, as far as can be, when it has not come to its end.
    ~NotedChange();

    bool isNoted() const { return isNoted_; }

    // Looks at what was taken out. True when that is what the change was to replace: it is removed,
    // and the change stands. Otherwise false, what was taken out is back in its place, and what was
    // to replace it is gone. Throws std::system_error, and leaves all to the next writer, when the
    // file system refuses.
    bool end();

  private:
    const Folder& folder_;
    Change change_;
    bool isNoted_ = false;
};

// Ends the change that a killed writer has left. Every writer does so before it reads what it
// changes. Throws std::system_error when it cannot; the calendar then must not be written to.
void endInterruptedChange(const Folder& folder);

} // namespace quenbrook::platform::vdir
