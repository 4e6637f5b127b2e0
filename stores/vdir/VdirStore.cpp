#include "stores/vdir/VdirStore.h"

#include "files/DirectoryLock.h"
#include "files/DurableWrite.h"
#include "files/RandomUid.h"
#include "files/SystemCall.h"
#include "icalendar/CalendarEdit.h"
#include "icalendar/CalendarReader.h"
#include "stores/vdir/CalendarDirectories.h"
#include "stores/vdir/EventFiles.h"
#include "stores/vdir/EventSearch.h"
#include "stores/vdir/RangeReading.h"
#include "stores/vdir/StoreRoot.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <map>
#include <set>
#include <span>
#include <system_error>
#include <tuple>

namespace quenbrook::stores::vdir {
namespace {

using icalendar::FoundInstance;
using model::AuthorizationStatus;

// How often a change is applied afresh because another program has changed the file. Some file
// systems tell another identity each time, and the loop must end there too.
constexpr int maximumAttempts = 100;

struct VdirHandle : model::EventHandle {
    VdirHandle(std::string identifier, std::string name, icalendar::EventKey eventKey)
        : calendar(std::move(identifier))
        , file(std::move(name))
        , key(std::move(eventKey)) {}

    std::string calendar;
    std::string file;
    icalendar::EventKey key;
};

const VdirHandle& handleOf(const model::Event& event) {
    return static_cast<const VdirHandle&>(*event.handle);
}

model::Instant now() {
    return std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
}

// Gives an event that was found what only its place tells.
void complete(
    icalendar::FoundEvent& found, const CalendarDirectory& directory, const std::string& file) {
    // An event without UID is listed, and nothing addresses it.
    found.event.identifier = found.key.uid.empty() ? std::string()
                                                   : directory.calendar->identifier +
                                                         identifierSeparator + found.key.uid;
    found.event.calendar = directory.calendar;
    found.event.handle =
        std::make_shared<const VdirHandle>(directory.calendar->identifier, file, found.key);
}

model::Event completed(
    icalendar::FoundEvent found, const CalendarDirectory& directory, const std::string& file) {
    complete(found, directory, file);
    return std::move(found.event);
}

// One occurrence of a completed event. The last one of an event takes it with it.
model::Event eventOf(FoundInstance&& occurrence) {
    const std::shared_ptr<icalendar::FoundEvent> found = std::move(occurrence.event);
    model::Event event = found.use_count() == 1 ? std::move(found->event) : found->event;
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
bool comesBefore(const FoundInstance& left, const FoundInstance& right) {
    const model::Event& leftEvent = left.event->event;
    const model::Event& rightEvent = right.event->event;
    return std::tie(left.start, left.end, leftEvent.identifier, handleOf(leftEvent).file) <
           std::tie(right.start, right.end, rightEvent.identifier, handleOf(rightEvent).file);
}

// What is written must not be more than a reader takes.
bool isReadable(const std::string& text) {
    return text.size() <= files::FileReader::maximumSize;
}

// What the system could not tell is a failure of the platform.
template <class Read>
auto asPlatform(Read read) -> decltype(read()) {
    try {
        return read();
    } catch (const std::system_error& error) {
        throw model::PlatformError(error.what());
    }
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
    VdirStore(std::optional<std::filesystem::path> root, const files::ReadingThreads& threads)
        : path_(std::move(root))
        , threads_(threads) {}

    std::int64_t authorizationStatus() override {
        if (!path_) {
            return AuthorizationStatus::restricted;
        }
        return asPlatform([&]() -> std::int64_t {
            return openRoot() ? AuthorizationStatus::fullAccess : AuthorizationStatus::denied;
        });
    }

    void requestFullAccess(AccessCompletion completion) override {
        completion(authorizationStatus() == AuthorizationStatus::fullAccess, std::nullopt);
    }

    std::vector<model::Calendar> calendars() override {
        return asPlatform([&] {
            std::vector<model::Calendar> all;
            for (const CalendarDirectory& directory : allDirectories()) {
                all.push_back(*directory.calendar);
            }
            return all;
        });
    }

    std::optional<model::Calendar> calendar(std::string_view identifier) override {
        return asPlatform([&] {
            const CalendarDirectory* const directory = directoryOf(identifier);
            return directory ? std::optional(*directory->calendar) : std::nullopt;
        });
    }

    void forEachEvent(model::Instant start, model::Instant end,
        std::optional<std::span<const model::Calendar>> wanted,
        const std::function<void(model::Event)>& take) override {
        std::vector<FoundInstance> found = asPlatform([&] {
            return find(icalendar::RangeQuery(start, end),
                wanted ? directoriesOf(*wanted) : allDirectories());
        });
        std::stable_sort(found.begin(), found.end(), comesBefore);
        for (FoundInstance& occurrence : found) {
            take(eventOf(std::move(occurrence)));
        }
    }

    std::optional<model::Event> event(std::string_view identifier) override {
        return asPlatform([&]() -> std::optional<model::Event> {
            if (!openRoot()) {
                return std::nullopt;
            }
            for (const CalendarDirectory& directory : tree().ofEvent(identifier)) {
                const std::size_t prefix = directory.calendar->identifier.size() + 1;
                const std::optional<files::Directory> opened = openCalendar(directory);
                auto found = opened ? searchEvent(*opened, identifier.substr(prefix), threads_)
                                    : std::nullopt;
                if (found) {
                    return completed(std::move(found->event), directory, found->file);
                }
            }
            return std::nullopt;
        });
    }

    std::optional<model::SavedEvent> create(
        const model::Calendar& calendar, const model::EventChanges& changes) override {
        return refusedOnSystemError([&]() -> std::optional<model::SavedEvent> {
            const CalendarDirectory* directory = writableDirectory(calendar.identifier);
            const std::string uid = files::randomUid();
            const auto text = directory ? icalendar::newStream(uid, changes, now()) : std::nullopt;
            auto saved = text ? icalendar::findEvent(*text, uid) : std::nullopt;
            const auto opened = saved ? openCalendar(*directory) : std::nullopt;
            if (!opened || !isReadable(*text)) {
                return std::nullopt;
            }
            const std::string file = uid + std::string(eventSuffix);
            const files::DirectoryLock lock(*opened);
            files::createDurably(*opened, file, *text);
            return model::SavedEvent::of(completed(std::move(*saved), *directory, file));
        });
    }

    bool update(const model::Event& event, const model::EventChanges& changes) override {
        return change(event, [&](std::string_view text, const icalendar::EventKey& key) {
            return icalendar::updatedStream(text, key, changes, now());
        });
    }

    bool remove(const model::Event& event) override {
        return change(event, [&](std::string_view text, const icalendar::EventKey& key) {
            return icalendar::streamWithout(text, key, now());
        });
    }

  private:
    // Makes the root on the first run.
    const std::optional<files::Directory>& openRoot() {
        if (root_ || !path_) {
            return root_;
        }
        const std::filesystem::path& path = *path_;
        root_ = files::Directory::open(path.string());
        if (!root_ && errno == ENOENT) {
            makeRoot(path);
            root_ = files::Directory::open(path.string());
        }
        return root_;
    }

    // Makes the root, unless the system lets this process make none.
    static void makeRoot(const std::filesystem::path& path) {
        try {
            createStoreRoot(path);
        } catch (const std::system_error& error) {
            const int number = error.code().value();
            // Another first run may have been faster: what counts is that the root is there.
            if (number != EEXIST && number != EROFS && !files::isAnswer(number)) {
                throw;
            }
        }
    }

    CalendarDirectories& tree() {
        if (!tree_) {
            tree_.emplace(*openRoot());
        }
        return *tree_;
    }

    std::vector<CalendarDirectory> allDirectories() {
        return openRoot() ? tree().all() : std::vector<CalendarDirectory>();
    }

    // Those of these calendars that there are, each once.
    std::vector<CalendarDirectory> directoriesOf(std::span<const model::Calendar> calendars) {
        std::set<std::string_view> identifiers;
        for (const model::Calendar& calendar : calendars) {
            identifiers.insert(calendar.identifier);
        }
        std::vector<CalendarDirectory> found;
        for (const std::string_view identifier : identifiers) {
            if (const CalendarDirectory* const directory = directoryOf(identifier)) {
                found.push_back(*directory);
            }
        }
        return found;
    }

    // Looked up once for each identifier. Returns null when there is none.
    const CalendarDirectory* directoryOf(std::string_view identifier) {
        auto known = known_.find(identifier);
        if (known == known_.end()) {
            known = known_.emplace(identifier, openRoot() ? tree().find(identifier) : std::nullopt)
                        .first;
        }
        return known->second ? &*known->second : nullptr;
    }

    const CalendarDirectory* writableDirectory(std::string_view identifier) {
        const CalendarDirectory* const directory = directoryOf(identifier);
        return directory && directory->calendar->allowsContentModifications ? directory : nullptr;
    }

    // Returns nullopt when it is gone, or this process may not read it.
    std::optional<files::Directory> openCalendar(const CalendarDirectory& directory) const {
        return root_->openDirectory(directory.path);
    }

    // What the query finds in these calendars.
    std::vector<FoundInstance> find(
        const icalendar::RangeQuery& query, std::span<const CalendarDirectory> calendars) const {
        std::vector<FoundInstance> found;
        if (calendars.empty()) {
            return found;
        }
        for (auto& [key, inFile] : readRange(*root_, calendars, query, threads_)) {
            for (FoundInstance& occurrence : inFile) {
                if (!occurrence.event->event.identifier) {
                    complete(*occurrence.event, calendars[key.first], key.second);
                }
                found.push_back(std::move(occurrence));
            }
        }
        return found;
    }

    // Applies a change to the event's file as it is under the lock, afresh when another program
    // changes the file at the same time.
    template <class Change>
    bool change(const model::Event& event, Change makeText) {
        const VdirHandle& handle = handleOf(event);
        return refusedOnSystemError([&] {
            const CalendarDirectory* directory = writableDirectory(handle.calendar);
            const std::optional<files::Directory> opened =
                directory ? openCalendar(*directory) : std::nullopt;
            if (!opened) {
                return false;
            }
            const files::DirectoryLock lock(*opened);
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
        files::FileContent content;
    };

    // The event may have moved to another file since it was read.
    std::optional<CurrentFile> currentFile(
        const files::Directory& directory, const VdirHandle& handle) const {
        auto content = files::readForChange(directory, handle.file);
        if (content && icalendar::findEvent(content->text, handle.key.uid)) {
            return CurrentFile{handle.file, std::move(*content)};
        }
        const auto found = searchEvent(directory, handle.key.uid, threads_);
        auto moved = found ? files::readForChange(directory, found->file) : std::nullopt;
        return moved ? std::optional(CurrentFile{found->file, std::move(*moved)}) : std::nullopt;
    }

    // False when another program has changed the file since it was read.
    static bool save(
        const files::Directory& directory, const CurrentFile& current, const std::string& text) {
        return text.empty() ? files::removeDurably(directory, current.name, current.content)
                            : files::replaceDurably(directory, current.name, text, current.content);
    }

    std::optional<std::filesystem::path> path_;
    files::ReadingThreads threads_;
    std::optional<files::Directory> root_;
    std::optional<CalendarDirectories> tree_;
    std::map<std::string, std::optional<CalendarDirectory>, std::less<>> known_;
};

} // namespace

std::unique_ptr<CalendarStore> openVdirStore(
    std::optional<std::filesystem::path> root, const files::ReadingThreads& threads) {
    return std::make_unique<VdirStore>(std::move(root), threads);
}

} // namespace quenbrook::stores::vdir

namespace quenbrook::stores {

std::unique_ptr<CalendarStore> openCalendarStore() {
    return vdir::openVdirStore(vdir::defaultStoreRoot());
}

} // namespace quenbrook::stores
