#include "platform/vdir/NotedChange.h"

#include "platform/RandomUid.h"
#include "platform/SystemCall.h"
#include "platform/vdir/Renames.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>

#include <unistd.h>

namespace quenbrook::platform::vdir {
namespace {

constexpr char separator = ' ';
constexpr char partSeparator = ':';
constexpr std::string_view noContent = "-";
constexpr int hexadecimal = 16;

std::string textOf(const std::optional<Fingerprint>& fingerprint) {
    if (!fingerprint) {
        return std::string(noContent);
    }
    std::array<char, 2 * sizeof(std::uint64_t)> digits{};
    const auto written =
        std::to_chars(digits.data(), digits.data() + digits.size(), fingerprint->hash, hexadecimal);
    return std::to_string(fingerprint->size) + partSeparator +
           std::string(digits.data(), written.ptr);
}

// What stands before the next separator, which both leave the text.
std::string_view takePart(std::string_view& text, char end) {
    const std::string_view part = text.substr(0, text.find(end));
    text.remove_prefix(std::min(part.size() + 1, text.size()));
    return part;
}

std::optional<std::uint64_t> numberOf(std::string_view text, int base) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    const bool isWhole = error == std::errc() && end == text.data() + text.size();
    return isWhole ? std::optional(number) : std::nullopt;
}

std::optional<Fingerprint> fingerprintIn(std::string_view text) {
    const auto size = numberOf(takePart(text, partSeparator), 10);
    const auto hash = numberOf(text, hexadecimal);
    return size && hash ? std::optional(Fingerprint{*size, *hash}) : std::nullopt;
}

// The contents first: a name may hold any character.
std::string noteOf(const Change& change) {
    return textOf(change.before) + separator + textOf(change.after) + separator + change.name;
}

// A note comes from the folder, and whoever may write there: it must not lead out of it.
bool isNameInFolder(std::string_view name) {
    return !name.empty() && name.front() != '.' && name.find('/') == std::string_view::npos;
}

std::optional<Change> changeIn(std::string_view note) {
    const std::string_view before = takePart(note, separator);
    const std::string_view after = takePart(note, separator);
    const Change change{std::string(note), fingerprintIn(before), fingerprintIn(after)};
    const bool isValid = isNameInFolder(change.name) && (change.before || before == noContent) &&
                         (change.after || after == noContent) && (change.before || change.after);
    return isValid ? std::optional(change) : std::nullopt;
}

// What a name leads to, links not followed.
struct Entry {
    bool isThere = false;
    // Of a regular file.
    std::optional<std::uint64_t> size;
};

Entry entryAt(const Folder& folder, const char* name) {
    struct stat status = {};
    const int result = uninterrupted(
        [&] { return ::fstatat(folder.descriptor(), name, &status, AT_SYMLINK_NOFOLLOW); });
    if (result == -1 && errno == ENOENT) {
        return {};
    }
    if (result == -1) {
        throwSystemError("fstatat");
    }
    return {true, S_ISREG(status.st_mode)
                      ? std::optional(static_cast<std::uint64_t>(status.st_size))
                      : std::nullopt};
}

// Whether a name leads to a file of this content; nothing when that file cannot be read, and so
// cannot be told. A file of another size is not read.
std::optional<bool> holds(
    const Folder& folder, const char* name, const std::optional<Fingerprint>& content) {
    if (!content || entryAt(folder, name).size != content->size) {
        return false;
    }
    FileReader reader;
    const auto text = reader.read(folder, {name, FolderEntry::Kind::file, false});
    return text ? std::optional(fingerprintOf(*text) == *content) : std::nullopt;
}

bool surelyHolds(
    const Folder& folder, const char* name, const std::optional<Fingerprint>& content) {
    const std::optional<bool> held = holds(folder, name, content);
    if (!held) {
        throw std::system_error(std::make_error_code(std::errc::io_error), name);
    }
    return *held;
}

// What cannot be removed is left to the next writer.
bool removed(const Folder& folder, const char* name) {
    return uninterrupted([&] { return ::unlinkat(folder.descriptor(), name, 0); }) == 0 ||
           errno == ENOENT;
}

// For what must not be destroyed and has no place any more.
void keepAside(const Folder& folder) {
    const std::string name = ".quenbrook.kept-" + randomUid() + ".tmp";
    checked("renameat", [&] {
        return ::renameat(folder.descriptor(), takenName, folder.descriptor(), name.c_str());
    });
}

// Back to its name, unless another program has taken that meanwhile.
void putBackRemoved(const Folder& folder, const std::string& name) {
    if (renameToFreeName(folder.descriptor(), takenName, name.c_str()) == 0) {
        return;
    }
    if (errno != EEXIST && !isUnsupported(errno)) {
        throwSystemError("renameat2");
    }
    if (entryAt(folder, name.c_str()).isThere) {
        keepAside(folder);
        return;
    }
    checked("renameat", [&] {
        return ::renameat(folder.descriptor(), takenName, folder.descriptor(), name.c_str());
    });
}

// Back to its name, unless that holds no longer what had replaced it: then another program has
// changed or removed that in its turn.
void putBackReplaced(const Folder& folder, const Change& change) {
    const char* name = change.name.c_str();
    if (!surelyHolds(folder, name, change.after)) {
        keepAside(folder);
        return;
    }
    const auto exchange = [&] { return exchangeNames(folder.descriptor(), takenName, name); };
    checked("renameat2", exchange);
    if (!surelyHolds(folder, takenName, change.after)) {
        // Another program was faster once more: its newest stays in place.
        checked("renameat2", exchange);
        keepAside(folder);
    }
}

// Whether a change of which nothing is out any more stands.
bool standsAlready(const Folder& folder, const Change& change) {
    const char* name = change.name.c_str();
    return change.after ? holds(folder, name, change.after).value_or(true)
                        : !entryAt(folder, name).isThere;
}

// An empty file is nobody's only copy of anything.
void giveUpReservation(const Folder& folder, const Change& change) {
    const char* name = change.name.c_str();
    if (!change.before && entryAt(folder, name).size == 0 &&
        !surelyHolds(folder, name, change.after)) {
        removed(folder, name);
    }
}

enum class Wish { finish, undo };

// Finishes the change when that is wished and what is out is what it was to replace, else undoes
// it; whether it stands. From wherever this is broken off, it can be done again: the note goes
// last.
bool ended(const Folder& folder, const Change& change, Wish wish) {
    bool stands = false;
    if (!entryAt(folder, takenName).isThere) {
        giveUpReservation(folder, change);
        stands = standsAlready(folder, change);
    } else if (wish == Wish::finish && holds(folder, takenName, change.before).value_or(false)) {
        stands = true;
    } else if (!holds(folder, takenName, change.after).value_or(false)) {
        // It is somebody else's, or cannot be told from that.
        change.after ? putBackReplaced(folder, change) : putBackRemoved(folder, change.name);
    }
    // What is out now has been replaced, or was to replace and does not.
    if (removed(folder, takenName)) {
        removed(folder, noteName);
    }
    return stands;
}

// Whether the change is made without a note after this error. A full disk must not keep anybody
// from removing what fills it.
bool isDispensable(int error) {
    return error == ENOSPC || error == EDQUOT || error == ENAMETOOLONG || isUnsupported(error);
}

// Nothing when there is no note; an empty one when it is no link.
std::optional<std::string> readNote(const Folder& folder) {
    std::array<char, PATH_MAX> buffer{};
    const ssize_t length = uninterrupted(
        [&] { return ::readlinkat(folder.descriptor(), noteName, buffer.data(), buffer.size()); });
    if (length == -1 && errno == ENOENT) {
        return std::nullopt;
    }
    if (length == -1 && errno != EINVAL) {
        throwSystemError("readlinkat");
    }
    return std::string(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
}

} // namespace

// FNV-1a.
Fingerprint fingerprintOf(std::string_view content) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const char byte : content) {
        hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
    }
    return {content.size(), hash};
}

NotedChange::NotedChange(const Folder& folder, Change change)
    : folder_(folder)
    , change_(std::move(change)) {
    const std::string note = noteOf(change_);
    const int made =
        uninterrupted([&] { return ::symlinkat(note.c_str(), folder.descriptor(), noteName); });
    isNoted_ = made == 0;
    if (made == -1 && !isDispensable(errno)) {
        throwSystemError("symlinkat");
    }
}

NotedChange::~NotedChange() {
    if (isNoted_) {
        try {
            ended(folder_, change_, Wish::undo);
        } catch (const std::system_error&) {
            // The note leaves it to the next writer.
        }
    }
}

bool NotedChange::end() {
    const bool stands = ended(folder_, change_, Wish::finish);
    isNoted_ = false;
    return stands;
}

void endInterruptedChange(const Folder& folder) {
    const std::optional<std::string> note = readNote(folder);
    const std::optional<Change> change = note ? changeIn(*note) : std::nullopt;
    if (change) {
        ended(folder, *change, Wish::finish);
        return;
    }
    if (entryAt(folder, takenName).isThere) {
        keepAside(folder);
    }
    if (note) {
        removed(folder, noteName);
    }
}

} // namespace quenbrook::platform::vdir
