#include "platform/evolution/EvolutionStore.h"

#include "platform/RandomUid.h"
#include "platform/evolution/CalendarLock.h"
#include "platform/evolution/RangeReading.h"
#include "platform/evolution/SavedFile.h"
#include "platform/evolution/SeriesText.h"
#include "platform/evolution/Session.h"
#include "platform/icalendar/CalendarEdit.h"
#include "platform/icalendar/CalendarReader.h"
#include "platform/icalendar/EventTexts.h"

#include <algorithm>
#include <system_error>
#include <tuple>

namespace quenbrook::platform::evolution {
namespace {

constexpr std::int64_t restricted = 1;
constexpr std::int64_t fullAccess = 3;

constexpr char identifierSeparator = ':';

// All that one write may take, its turn included.
constexpr std::chrono::seconds patienceWithWrites{10};
// Until a change that was answered is seen in the file of a local calendar.
constexpr std::chrono::seconds patienceWithFiles{1};
// How often a change is applied afresh because somebody else has changed the event on its server.
constexpr int maximumAttempts = 10;

struct EvolutionHandle : EventHandle {
    EvolutionHandle(std::string identifier, icalendar::EventKey eventKey)
        : calendar(std::move(identifier))
        , key(std::move(eventKey)) {}

    std::string calendar;
    icalendar::EventKey key;
};

const EvolutionHandle& handleOf(const Event& event) {
    return static_cast<const EvolutionHandle&>(*event.handle);
}

Instant now() {
    return std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
}

Event completed(icalendar::FoundEvent found, const FactoryCalendar& calendar) {
    Event event = std::move(found.event);
    event.identifier = calendar.identifier() + identifierSeparator + found.key.uid;
    event.calendar = calendar.calendar();
    event.handle =
        std::make_shared<const EvolutionHandle>(calendar.identifier(), std::move(found.key));
    return event;
}

bool comesBefore(const Event& left, const Event& right) {
    return std::tie(left.start, left.end, *left.identifier) <
           std::tie(right.start, right.end, *right.identifier);
}

std::string savedIn(const FactoryCalendar& calendar, Deadline deadline) {
    const auto& file = calendar.source().file;
    return file ? *file : calendar.property(deadline, "CacheDir") + "/calendar.ics";
}

// The service answers before it writes the file of a local calendar.
void confirmSaved(const FactoryCalendar& calendar, Deadline deadline) {
    if (!calendar.source().isLocal) {
        return;
    }
    const std::string revision = calendar.property(deadline, "Revision");
    const Deadline patience = std::min(deadline, Clock::now() + patienceWithFiles);
    if (!waitUntilSaved(savedIn(calendar, deadline), revision, patience)) {
        // It keeps the change for as long as it lives.
        calendar.property(deadline, "Revision");
    }
}

// Any error on the way to a write refuses the write.
template <class Write>
auto refusedOnError(Write write) -> decltype(write()) {
    try {
        return write();
    } catch (const BusError&) {
        return {};
    } catch (const std::system_error&) {
        return {};
    }
}

class EvolutionStore : public CalendarStore {
  public:
    std::int64_t authorizationStatus() override {
        try {
            session();
            return fullAccess;
        } catch (const BusError&) {
            return restricted;
        }
    }

    void requestFullAccess(AccessCompletion completion) override {
        completion(authorizationStatus() == fullAccess, std::nullopt);
    }

    std::vector<Calendar> calendars() override {
        const std::vector<FactoryCalendar*> every = wanted(std::nullopt);
        open(every);
        std::vector<Calendar> all;
        all.reserve(every.size());
        for (const FactoryCalendar* calendar : every) {
            all.push_back(*calendar->calendar());
        }
        return all;
    }

    std::optional<Calendar> calendar(std::string_view identifier) override {
        const FactoryCalendar* found = opened(identifier);
        return found ? std::optional(*found->calendar()) : std::nullopt;
    }

    std::vector<Event> events(
        Instant start, Instant end, std::optional<std::span<const Calendar>> calendars) override {
        std::vector<std::unique_ptr<RangeReading>> readings;
        std::vector<Undertaking> undertakings;
        for (FactoryCalendar* calendar : wanted(calendars)) {
            readings.push_back(std::make_unique<RangeReading>(*calendar, start, end));
            const RangeReading* reading = readings.back().get();
            undertakings.push_back({calendar, [reading] { return reading->isDone(); }});
        }
        session().wait(undertakings);
        std::vector<Event> found;
        for (const auto& reading : readings) {
            for (icalendar::FoundEvent& event : reading->events()) {
                found.push_back(completed(std::move(event), reading->calendar()));
            }
        }
        std::stable_sort(found.begin(), found.end(), comesBefore);
        return found;
    }

    std::optional<Event> event(std::string_view identifier) override {
        for (const auto& each : session().calendars()) {
            const std::string& calendar = each->identifier();
            const bool isInside = identifier.size() > calendar.size() + 1 &&
                                  identifier.starts_with(calendar) &&
                                  identifier[calendar.size()] == identifierSeparator;
            if (!isInside) {
                continue;
            }
            if (auto found = search(*each, std::string(identifier.substr(calendar.size() + 1)))) {
                return found;
            }
        }
        return std::nullopt;
    }

    std::optional<Event> create(const Calendar& calendar, const EventChanges& changes) override {
        return refusedOnError([&]() -> std::optional<Event> {
            const Deadline deadline = Clock::now() + patienceWithWrites;
            const FactoryCalendar* target = writable(calendar.identifier);
            const std::string uid = randomUid();
            const auto stream = target ? icalendar::newStream(uid, changes, now()) : std::nullopt;
            if (!stream) {
                return std::nullopt;
            }
            const std::string event = icalendar::eventTexts(*stream, uid).front().text;
            icalendar::StreamAssembly saved;
            saved.add(event);
            auto found = icalendar::findEvent(saved.stream(), uid);
            if (!found) {
                return std::nullopt;
            }
            createEvent(*target, event, deadline);
            confirmSaved(*target, deadline);
            return completed(std::move(*found), *target);
        });
    }

    bool update(const Event& event, const EventChanges& changes) override {
        return change(event, SeriesText::Dropped::forgotten,
            [&](std::string_view text, const icalendar::EventKey& key) {
                return icalendar::updatedStream(text, key, changes, now());
            });
    }

    bool remove(const Event& event) override {
        return change(event, SeriesText::Dropped::excluded,
            [&](std::string_view text, const icalendar::EventKey& key) {
                return icalendar::streamWithout(text, key, now());
            });
    }

  private:
    Session& session() {
        if (!session_) {
            session_ = std::make_unique<Session>();
        }
        return *session_;
    }

    // Those of these calendars that there are, or all, in the store's order.
    std::vector<FactoryCalendar*> wanted(std::optional<std::span<const Calendar>> calendars) {
        std::vector<FactoryCalendar*> found;
        for (const auto& each : session().calendars()) {
            const auto isEach = [&](const Calendar& calendar) {
                return calendar.identifier == each->identifier();
            };
            if (!calendars || std::any_of(calendars->begin(), calendars->end(), isEach)) {
                found.push_back(each.get());
            }
        }
        return found;
    }

    // One that cannot be opened is still a calendar; but of a service that died nobody knows what
    // it would have told.
    void open(std::span<FactoryCalendar* const> calendars) {
        session().open(calendars);
        for (const FactoryCalendar* each : calendars) {
            const auto& error = each->error();
            if (error && error->isSilence() && !each->source().isRemote) {
                throw BusError(*error);
            }
        }
    }

    // Null when there is no such calendar.
    FactoryCalendar* opened(std::string_view identifier) {
        FactoryCalendar* found = session().calendar(identifier);
        if (found != nullptr) {
            open(std::span(&found, 1));
        }
        return found;
    }

    const FactoryCalendar* writable(std::string_view identifier) {
        const FactoryCalendar* found = opened(identifier);
        return found && found->calendar()->allowsContentModifications ? found : nullptr;
    }

    std::optional<Event> search(FactoryCalendar& calendar, const std::string& uid) {
        // A text of the bus ends where a NUL stands.
        if (uid.find('\0') != std::string::npos) {
            return std::nullopt;
        }
        opened(calendar.identifier());
        if (!calendar.isOpen()) {
            // A server that does not answer has not said that there is no such event.
            if (calendar.error()->isSilence()) {
                throw BusError(*calendar.error());
            }
            return std::nullopt;
        }
        const auto series = SeriesText::read(calendar, uid, session().readingDeadline(calendar));
        auto found = series ? icalendar::findEvent(series->stream(), uid) : std::nullopt;
        return found ? std::optional(completed(std::move(*found), calendar)) : std::nullopt;
    }

    // Applies a change to the event as it is under the lock, afresh when somebody else changes it
    // on its server at the same time.
    template <class Change>
    bool change(const Event& event, SeriesText::Dropped dropped, Change makeText) {
        const EvolutionHandle& handle = handleOf(event);
        return refusedOnError([&] {
            const Deadline deadline = Clock::now() + patienceWithWrites;
            const FactoryCalendar* calendar = writable(handle.calendar);
            const bool isChanged = calendar != nullptr &&
                                   changeLocked(*calendar, handle.key, dropped, makeText, deadline);
            if (!isChanged) {
                return false;
            }
            confirmSaved(*calendar, deadline);
            return true;
        });
    }

    template <class Change>
    static bool changeLocked(const FactoryCalendar& calendar, const icalendar::EventKey& key,
        SeriesText::Dropped dropped, Change makeText, Deadline deadline) {
        const CalendarLock lock(calendar.identifier(), deadline);
        for (int attempt = 0; attempt < maximumAttempts; ++attempt) {
            const auto series = SeriesText::read(calendar, key.uid, deadline);
            const auto text = series ? makeText(series->stream(), key) : std::nullopt;
            if (!text) {
                return false;
            }
            try {
                series->replace(calendar, *text, dropped, deadline);
                return true;
            } catch (const BusError& error) {
                if (!isConflict(error)) {
                    throw;
                }
                series->awaitOther(calendar, deadline);
            }
        }
        return false;
    }

    std::unique_ptr<Session> session_;
};

} // namespace

std::unique_ptr<CalendarStore> openEvolutionStore() {
    return std::make_unique<EvolutionStore>();
}

} // namespace quenbrook::platform::evolution

namespace quenbrook::platform {

std::unique_ptr<CalendarStore> openCalendarStore() {
    return evolution::openEvolutionStore();
}

} // namespace quenbrook::platform
