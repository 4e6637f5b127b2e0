#include "platform/vdir/VdirStore.h"

#include "platform/RandomUid.h"
#include "platform/icalendar/CalendarEdit.h"
#include "platform/icalendar/CalendarReader.h"
#include "platform/vdir/CalendarFolders.h"
#include "platform/vdir/DurableWrite.h"
#include "platform/vdir/FolderLock.h"
#include "platform/vdir/NotedChange.h"
#include "platform/vdir/StoreRoot.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <map>
#include <mutex>
#include <span>
#include <system_error>
#include <tuple>

namespace quenbrook::platform::vdir {
namespace {

using icalendar::FoundOccurrence;

constexpr std::int64_t restricted = 1;
constexpr std::int64_t denied = 2;
constexpr std::int64_t fullAccess = 3;

constexpr std::string_view eventSuffix = ".ics";
constexpr char identifierSeparator = ':';

// How often a change is applied afresh because another program has changed the file. Some file
// systems tell another identity each time, and the loop must end there too.
constexpr int maximumAttempts = 100;

// How many calendars are read together, each with two descriptors of its own.
constexpr std::size_t foldersTogether = 64;

struct VdirHandle : EventHandle {
    VdirHandle(std::string identifier, std::string name, icalendar::EventKey eventKey)
        : calendar(std::move(identifier))
        , file(std::move(name))
        , key(std::move(eventKey)) {}

    std::string calendar;
    std::string file;
    icalendar::EventKey key;
};

const VdirHandle& handleOf(const Event& event) {
    return static_cast<const VdirHandle&>(*event.handle);
}

Instant now() {
    return std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
}

// Gives an event that was found what only its place tells.
void complete(icalendar::FoundEvent& found, const CalendarFolder& folder, const std::string& file) {
    found.event.identifier = folder.calendar->identifier + identifierSeparator + found.key.uid;
    found.event.calendar = folder.calendar;
    found.event.handle =
        std::make_shared<const VdirHandle>(folder.calendar->identifier, file, found.key);
}

Event completed(
    icalendar::FoundEvent found, const CalendarFolder& folder, const std::string& file) {
    complete(found, folder, file);
    return std::move(found.event);
}

// One occurrence of a completed event. The last one of an event takes it with it.
Event eventOf(FoundOccurrence&& occurrence) {
    const std::shared_ptr<icalendar::FoundEvent> found = std::move(occurrence.event);
    Event event = found.use_count() == 1 ? std::move(found->event) : found->event;
    event.start = occurrence.start;
    event.end = occurrence.end;
    const VdirHandle& handle = handleOf(event);
    if (handle.key.originalStart != occurrence.originalStart) {
        event.handle = std::make_shared<const VdirHandle>(handle.calendar, handle.file,
            icalendar::EventKey{handle.key.uid, occurrence.originalStart});
    }
    return event;
}

// By start, end and identifier; what is alike in these by file, so that the order never changes.
bool comesBefore(const FoundOccurrence& left, const FoundOccurrence& right) {
    const Event& leftEvent = left.event->event;
    const Event& rightEvent = right.event->event;
    return std::tie(left.start, left.end, leftEvent.identifier, handleOf(leftEvent).file) <
           std::tie(right.start, right.end, rightEvent.identifier, handleOf(rightEvent).file);
}

bool names(std::span<const Calendar> calendars, const Calendar& wanted) {
    return std::any_of(calendars.begin(), calendars.end(),
        [&](const Calendar& each) { return each.identifier == wanted.identifier; });
}

// Whether this text, which comes from a request, can be part of a file's name and of nothing else.
bool isPlainName(std::string_view text) {
    constexpr std::string_view allowed =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_@.";
    return !text.empty() && text.front() != '.' &&
           text.find_first_not_of(allowed) == std::string_view::npos;
}

bool isEventFile(const FolderEntry& entry) {
    return entry.kind == FolderEntry::Kind::file && entry.name.ends_with(eventSuffix);
}

// What is written must not be more than a reader takes.
bool isReadable(const std::string& text) {
    return text.size() <= FileReader::maximumSize;
}

// Any error of the file system on the way to a write refuses the write.
template <class Write>
auto refusedOnSystemError(Write write) -> decltype(write()) {
    try {
        return write();
    } catch (const std::system_error&) {
        return {};
    }
}

class VdirStore : public CalendarStore {
  public:
    VdirStore(std::optional<std::filesystem::path> root, const ReadingThreads& threads)
        : path_(std::move(root))
        , threads_(threads) {}

    std::int64_t authorizationStatus() override {
        if (!path_) {
            return restricted;
        }
        return openRoot() ? fullAccess : denied;
    }

    void requestFullAccess(AccessCompletion completion) override {
        completion(authorizationStatus() == fullAccess, std::nullopt);
    }

    std::vector<Calendar> calendars() override {
        std::vector<Calendar> all;
        for (const CalendarFolder& folder : folders()) {
            all.push_back(*folder.calendar);
        }
        return all;
    }

    std::optional<Calendar> calendar(std::string_view identifier) override {
        const CalendarFolder* folder = folderOf(identifier);
        return folder ? std::optional(*folder->calendar) : std::nullopt;
    }

    std::vector<Event> events(
        Instant start, Instant end, std::optional<std::span<const Calendar>> wanted) override {
        std::vector<Event> all;
        forEachEvent(start, end, wanted, [&](Event event) { all.push_back(std::move(event)); });
        return all;
    }

    void forEachEvent(Instant start, Instant end, std::optional<std::span<const Calendar>> wanted,
        const std::function<void(Event)>& take) override {
        std::vector<FoundOccurrence> found;
        const icalendar::RangeQuery query(start, end);
        std::vector<OpenFolder> together;
        const auto findInThese = [&] {
            find(query, together, found);
            together.clear();
        };
        for (const CalendarFolder& folder : folders()) {
            if (wanted && !names(*wanted, *folder.calendar)) {
                continue;
            }
            std::optional<OpenFolder> opened = openToRead(folder);
            // There may be too many open files for one more.
            if (!opened && !together.empty()) {
                findInThese();
                opened = openToRead(folder);
            }
            if (opened) {
                together.push_back(std::move(*opened));
            }
            if (together.size() == foldersTogether) {
                findInThese();
            }
        }
        findInThese();
        std::stable_sort(found.begin(), found.end(), comesBefore);
        for (FoundOccurrence& occurrence : found) {
            take(eventOf(std::move(occurrence)));
        }
    }

    std::optional<Event> event(std::string_view identifier) override {
        for (const CalendarFolder& folder : folders()) {
            const std::string& calendar = folder.calendar->identifier;
            const bool inside = identifier.size() > calendar.size() &&
                                identifier.starts_with(calendar) &&
                                identifier[calendar.size()] == identifierSeparator;
            if (!inside) {
                continue;
            }
            const std::optional<Folder> opened = open(folder);
            auto found =
                opened ? search(*opened, identifier.substr(calendar.size() + 1)) : std::nullopt;
            if (found) {
                return completed(std::move(found->event), folder, found->file);
            }
        }
        return std::nullopt;
    }

    std::optional<Event> create(const Calendar& calendar, const EventChanges& changes) override {
        return refusedOnSystemError([&]() -> std::optional<Event> {
            const CalendarFolder* folder = writableFolder(calendar.identifier);
            const std::string uid = randomUid();
            const auto text = folder ? icalendar::newStream(uid, changes, now()) : std::nullopt;
            auto saved = text ? icalendar::findEvent(*text, uid) : std::nullopt;
            const auto opened = saved ? open(*folder) : std::nullopt;
            if (!opened || !isReadable(*text)) {
                return std::nullopt;
            }
            const std::string file = uid + std::string(eventSuffix);
            const FolderLock lock(*opened);
            endInterruptedChange(*opened);
            createDurably(*opened, file, *text);
            return completed(std::move(*saved), *folder, file);
        });
    }

    bool update(const Event& event, const EventChanges& changes) override {
        return change(event, [&](std::string_view text, const icalendar::EventKey& key) {
            return icalendar::updatedStream(text, key, changes, now());
        });
    }

    bool remove(const Event& event) override {
        return change(event, [&](std::string_view text, const icalendar::EventKey& key) {
            return icalendar::streamWithout(text, key, now());
        });
    }

  private:
    struct SearchResult {
        icalendar::FoundEvent event;
        std::string file;
    };

    // A calendar whose files are about to be listed and read.
    struct OpenFolder {
        const CalendarFolder* calendar;
        Folder folder;
        FolderListing listing;
    };

    struct ListedFile {
        const CalendarFolder* calendar;
        FolderEntry entry;
    };

    // Makes the root on the first run.
    const std::optional<Folder>& openRoot() {
        if (root_ || !path_) {
            return root_;
        }
        const std::filesystem::path& path = *path_;
        root_ = Folder::open(path.string());
        if (!root_ && errno == ENOENT) {
            // Another first run may have been faster: what counts is that the root is there.
            refusedOnSystemError([&] {
                createStoreRoot(path);
                return true;
            });
            root_ = Folder::open(path.string());
        }
        return root_;
    }

    const std::vector<CalendarFolder>& folders() {
        if (!folders_) {
            const std::optional<Folder>& root = openRoot();
            folders_ = root ? calendarFolders(*root) : std::vector<CalendarFolder>();
        }
        return *folders_;
    }

    const CalendarFolder* folderOf(std::string_view identifier) {
        const auto found = std::find_if(folders().begin(), folders().end(),
            [&](const CalendarFolder& each) { return each.calendar->identifier == identifier; });
        return found == folders().end() ? nullptr : &*found;
    }

    const CalendarFolder* writableFolder(std::string_view identifier) {
        const CalendarFolder* folder = folderOf(identifier);
        return folder && folder->calendar->allowsContentModifications ? folder : nullptr;
    }

    std::optional<Folder> open(const CalendarFolder& folder) const {
        return root_ ? root_->openFolder(folder.path) : std::nullopt;
    }

    // Nothing when it cannot be opened and listed, for want of descriptors even.
    std::optional<OpenFolder> openToRead(const CalendarFolder& calendar) const {
        std::optional<Folder> opened = open(calendar);
        auto listing = opened ? opened->list() : std::nullopt;
        return listing
                   ? std::optional<OpenFolder>({&calendar, std::move(*opened), std::move(*listing)})
                   : std::nullopt;
    }

    // Appends what the query finds in these folders, in the order in which they are listed.
    void find(const icalendar::RangeQuery& query, std::span<OpenFolder> folders,
        std::vector<FoundOccurrence>& found) const {
        // Its elements stay where they are.
        std::deque<ListedFile> files;
        const auto list = [&](const auto& take) {
            for (OpenFolder& folder : folders) {
                while (auto entry = folder.listing.next()) {
                    if (isEventFile(*entry)) {
                        files.push_back({folder.calendar, std::move(*entry)});
                        take({&folder.folder, &files.back().entry});
                    }
                }
            }
        };
        std::mutex finding;
        std::map<std::size_t, std::vector<FoundOccurrence>> occurrences;
        readFiles(list, threads_, [&](std::size_t number, std::string_view text) {
            if (auto inFile = query.occurrencesIn(text); !inFile.empty()) {
                const std::lock_guard lock(finding);
                occurrences.emplace(number, std::move(inFile));
            }
            return true;
        });
        for (auto& [number, inFile] : occurrences) {
            const ListedFile& file = files[number];
            for (FoundOccurrence& occurrence : inFile) {
                if (!occurrence.event->event.identifier) {
                    complete(*occurrence.event, *file.calendar, file.entry.name);
                }
                found.push_back(std::move(occurrence));
            }
        }
    }

    // A file named after the UID, as nearly all are, is looked at before the folder is listed: a
    // listing of 10,000 names takes longer than all the rest.
    std::optional<SearchResult> search(const Folder& folder, std::string_view uid) const {
        if (isPlainName(uid)) {
            const std::vector<FolderEntry> likely = {
                {std::string(uid) + std::string(eventSuffix), FolderEntry::Kind::file, true}};
            if (auto found = searchIn(folder, likely, uid)) {
                return found;
            }
        }
        std::vector<FolderEntry> files = folder.entries();
        std::erase_if(files, [](const FolderEntry& entry) { return !isEventFile(entry); });
        std::sort(
            files.begin(), files.end(), [](const FolderEntry& left, const FolderEntry& right) {
                return left.name < right.name;
            });
        return searchIn(folder, files, uid);
    }

    // What the first of the files has that has it.
    std::optional<SearchResult> searchIn(
        const Folder& folder, std::span<const FolderEntry> entries, std::string_view uid) const {
        const auto list = [&](const auto& take) {
            for (const FolderEntry& entry : entries) {
                take({&folder, &entry});
            }
        };
        std::mutex finding;
        std::size_t first = entries.size();
        std::optional<icalendar::FoundEvent> found;
        readFiles(list, threads_, [&](std::size_t number, std::string_view text) {
            auto event = icalendar::findEvent(text, uid);
            const std::lock_guard lock(finding);
            if (event && number < first) {
                first = number;
                found = std::move(event);
            }
            return number < first;
        });
        return found ? std::optional(SearchResult{std::move(*found), entries[first].name})
                     : std::nullopt;
    }

    // Applies a change to the event's file as it is under the lock, afresh when another program
    // changes the file at the same time.
    template <class Change>
    bool change(const Event& event, Change makeText) {
        const VdirHandle& handle = handleOf(event);
        return refusedOnSystemError([&] {
            const CalendarFolder* folder = writableFolder(handle.calendar);
            const std::optional<Folder> opened = folder ? open(*folder) : std::nullopt;
            if (!opened) {
                return false;
            }
            const FolderLock lock(*opened);
            endInterruptedChange(*opened);
            for (int attempt = 0; attempt < maximumAttempts; ++attempt) {
                const auto current = currentFile(*opened, handle);
                const auto text =
                    current ? makeText(current->content.text, handle.key) : std::nullopt;
                if (!text || !isReadable(*text)) {
                    return false;
                }
                if (save(*opened, *current, *text)) {
                    return true;
                }
            }
            return false;
        });
    }

    struct CurrentFile {
        std::string name;
        FileContent content;
    };

    // The event may have moved to another file since it was read.
    std::optional<CurrentFile> currentFile(const Folder& folder, const VdirHandle& handle) const {
        auto content = readForChange(folder, handle.file);
        if (content && icalendar::findEvent(content->text, handle.key.uid)) {
            return CurrentFile{handle.file, std::move(*content)};
        }
        const auto found = search(folder, handle.key.uid);
        auto moved = found ? readForChange(folder, found->file) : std::nullopt;
        return moved ? std::optional(CurrentFile{found->file, std::move(*moved)}) : std::nullopt;
    }

    // False when another program has changed the file since it was read.
    static bool save(const Folder& folder, const CurrentFile& current, const std::string& text) {
        return text.empty() ? removeDurably(folder, current.name, current.content)
                            : replaceDurably(folder, current.name, text, current.content);
    }

    std::optional<std::filesystem::path> path_;
    ReadingThreads threads_;
    std::optional<Folder> root_;
    std::optional<std::vector<CalendarFolder>> folders_;
};

} // namespace

std::unique_ptr<CalendarStore> openVdirStore(
    std::optional<std::filesystem::path> root, const ReadingThreads& threads) {
    return std::make_unique<VdirStore>(std::move(root), threads);
}

} // namespace quenbrook::platform::vdir

namespace quenbrook::platform {

std::unique_ptr<CalendarStore> openCalendarStore() {
    return vdir::openVdirStore(vdir::defaultStoreRoot());
}

} // namespace quenbrook::platform
