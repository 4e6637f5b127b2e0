#include "files/RandomUid.h"
#include "icalendar/CalendarEdit.h"
#include "icalendar/CalendarReader.h"
#include "icalendar/EventTexts.h"
#include "stores/CalendarStore.h"
#include "stores/evolution/CalendarLock.h"
#include "stores/evolution/LibicalValues.h"
#include "stores/evolution/RangeReading.h"
#include "stores/evolution/SavedFile.h"
#include "stores/evolution/SeriesText.h"
#include "stores/evolution/Session.h"

#include <algorithm>
#include <system_error>
#include <tuple>

namespace quenbrook::stores::evolution {
namespace {

using model::AuthorizationStatus;

constexpr char identifierSeparator = ':';

// Until a change that was answered is seen in the file of a local calendar.
constexpr std::chrono::seconds timeoutOfFiles{1};
// How often a change is applied afresh because somebody else has changed the event on its server.
constexpr int maximumAttempts = 10;

struct EvolutionHandle : model::EventHandle {
    EvolutionHandle(std::string identifier, icalendar::EventKey eventKey)
        : calendar(std::move(identifier))
        , key(std::move(eventKey)) {}

    std::string calendar;
    icalendar::EventKey key;
};

const EvolutionHandle& handleOf(const model::Event& event) {
    return static_cast<const EvolutionHandle&>(*event.handle);
}

model::Instant now() {
    return std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
}

model::Event completed(icalendar::FoundEvent found, const FactoryCalendar& calendar) {
    model::Event event = std::move(found.event);
    // An event without UID is listed, and nothing addresses it.
    event.identifier = found.key.uid.empty()
                           ? std::string()
                           : calendar.identifier() + identifierSeparator + found.key.uid;
    event.calendar = calendar.calendar();
    event.handle =
        std::make_shared<const EvolutionHandle>(calendar.identifier(), std::move(found.key));
    return event;
}

bool comesBefore(const model::Event& left, const model::Event& right) {
    return std::tie(left.start, left.end, *left.identifier) <
           std::tie(right.start, right.end, *right.identifier);
}

std::string savedIn(const FactoryCalendar& calendar, Deadline deadline) {
    const auto& file = calendar.source().file;
    return file ? *file : calendar.property(deadline, "CacheDir") + "/calendar.ics";
}

// The service answers before it writes the file of a local calendar. Whatever goes wrong here, the
// change may be lost or not.
void confirmSaved(const CalendarWrite& write) {
    const FactoryCalendar& calendar = write.calendar();
    const Deadline deadline = write.deadline();
    if (!calendar.source().isLocal) {
        return;
    }
    const std::string revision = calendar.property(deadline, "Revision");
    const Deadline end = std::min(deadline, Clock::now() + timeoutOfFiles);
    if (!waitUntilSaved(savedIn(calendar, deadline), revision, end)) {
        // It keeps the change for as long as it lives.
        calendar.property(deadline, "Revision");
    }
}

// Any error on the way to a change refuses it. After that it is not known what has become of it.
template <class Change>
auto refusedOnError(const CalendarWrite& write, Change change) -> decltype(change()) {
    try {
        auto changed = change();
        if (!changed && write.mayHaveChanged()) {
            throw model::PlatformError("made in part");
        }
        return changed;
    } catch (const BusError&) {
        if (write.mayHaveChanged()) {
            throw;
        }
        return {};
    } catch (const std::system_error& error) {
        if (write.mayHaveChanged()) {
            throw model::PlatformError(error.what());
        }
        return {};
    }
}

// The store over Evolution Data Server, the service that keeps the calendars of a Linux desktop,
// reached through the session's message bus. Nothing is touched before the first operation; the
// calendars are listed once, by the first operation that needs them.
class EvolutionStore : public CalendarStore {
  public:
    std::int64_t authorizationStatus() override {
        try {
            session();
            return AuthorizationStatus::fullAccess;
        } catch (const BusError&) {
            return AuthorizationStatus::restricted;
        }
    }

    void requestFullAccess(AccessCompletion completion) override {
        completion(authorizationStatus() == AuthorizationStatus::fullAccess, std::nullopt);
    }

    std::vector<model::Calendar> calendars() override {
        const std::vector<FactoryCalendar*> every = wanted(std::nullopt);
        session().open(every);
        std::vector<model::Calendar> all;
        all.reserve(every.size());
        for (const FactoryCalendar* calendar : every) {
            checkOpened(*calendar);
            all.push_back(*calendar->calendar());
        }
        return all;
    }

    std::optional<model::Calendar> calendar(std::string_view identifier) override {
        const FactoryCalendar* found = opened(identifier);
        return found ? std::optional(*found->calendar()) : std::nullopt;
    }

    void forEachEvent(model::Instant start, model::Instant end,
        std::optional<std::span<const model::Calendar>> calendars,
        const std::function<void(model::Event)>& take) override {
        auto readings = read(wanted(calendars), start, end);
        for (auto& reading : readings) {
            FactoryCalendar& calendar = reading->calendar();
            if (!calendar.source().isBirthdays || !reading->isEmpty() || reading->error()) {
                continue;
            }
            if (!session().awaitBirthdays(calendar) && calendars) {
                throw BusError(DBUS_ERROR_TIMEOUT);
            }
            reading = std::move(read({&calendar}, start, end).front());
        }
        std::vector<model::Event> found;
        for (const auto& reading : readings) {
            const FactoryCalendar& calendar = reading->calendar();
            const auto& error = reading->error();
            // A server that is away must not hide what other calendars have, as long as nobody asks
            // for its calendar.
            const bool mayBeMissing = error && !calendars && calendar.source().isRemote &&
                                      !calendar.isInDoubtAfter(*error);
            if (error && !mayBeMissing) {
                throw BusError(*error);
            }
            for (icalendar::FoundEvent& event : reading->events()) {
                found.push_back(completed(std::move(event), calendar));
            }
        }
        std::stable_sort(found.begin(), found.end(), comesBefore);
        for (model::Event& each : found) {
            take(std::move(each));
        }
    }

    std::optional<model::Event> event(std::string_view identifier) override {
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

    std::optional<model::SavedEvent> create(
        const model::Calendar& calendar, const model::EventChanges& changes) override {
        FactoryCalendar* target = writable(calendar.identifier);
        if (target == nullptr) {
            return std::nullopt;
        }
        CalendarWrite write(*target, session().eventBudget().deadline());
        return refusedOnError(write, [&]() -> std::optional<model::SavedEvent> {
            session().checkCredentials(write);
            const std::string uid = files::randomUid();
            const auto stream = icalendar::newStream(uid, changes, now());
            if (!stream) {
                return std::nullopt;
            }
            const std::string event =
                icalendar::eventTexts(*stream, uid, valueForLibical).front().text;
            icalendar::StreamAssembly saved;
            saved.add(event);
            auto found = icalendar::findEvent(saved.stream(), uid);
            if (!found) {
                return std::nullopt;
            }
            try {
                createEvent(write, event);
            } catch (const BusError& error) {
                if (!error.isUndelivered()) {
                    throw;
                }
                target->reopenAfter(error, write.deadline());
                createEvent(write, event);
            }
            session().checkCredentials(write);
            confirmSaved(write);
            return model::SavedEvent::of(completed(std::move(*found), *target));
        });
    }

    bool update(const model::Event& event, const model::EventChanges& changes) override {
        return change(event, SeriesText::Dropped::forgotten,
            [&](std::string_view text, const icalendar::EventKey& key) {
                return icalendar::updatedStream(text, key, changes, now());
            });
    }

    bool remove(const model::Event& event) override {
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
    std::vector<FactoryCalendar*> wanted(
        std::optional<std::span<const model::Calendar>> calendars) {
        std::vector<FactoryCalendar*> found;
        for (const auto& each : session().calendars()) {
            const auto isEach = [&](const model::Calendar& calendar) {
                return calendar.identifier == each->identifier();
            };
            if (!calendars || std::any_of(calendars->begin(), calendars->end(), isEach)) {
                found.push_back(each.get());
            }
        }
        return found;
    }

    // Reads them at once. What is returned must not outlive the session.
    std::vector<std::unique_ptr<RangeReading>> read(
        const std::vector<FactoryCalendar*>& calendars, model::Instant start, model::Instant end) {
        std::vector<std::unique_ptr<RangeReading>> readings;
        std::vector<Undertaking> undertakings;
        for (FactoryCalendar* calendar : calendars) {
            readings.push_back(std::make_unique<RangeReading>(*calendar, start, end));
            const RangeReading* reading = readings.back().get();
            undertakings.push_back({calendar, [reading] { return reading->isDone(); }});
        }
        session().wait(undertakings);
        return readings;
    }

    // One that cannot be opened is still a calendar; but of a service that died nobody knows what
    // it would have told.
    static void checkOpened(const FactoryCalendar& calendar) {
        const auto& error = calendar.error();
        if (error && calendar.isInDoubtAfter(*error)) {
            throw BusError(*error);
        }
    }

    // Returns null when there is no such calendar.
    FactoryCalendar* opened(std::string_view identifier) {
        FactoryCalendar* found = session().calendar(identifier);
        if (found != nullptr) {
            session().open(*found);
            checkOpened(*found);
        }
        return found;
    }

    FactoryCalendar* writable(std::string_view identifier) {
        FactoryCalendar* found = opened(identifier);
        return found && found->calendar()->allowsContentModifications ? found : nullptr;
    }

    std::optional<model::Event> search(FactoryCalendar& calendar, const std::string& uid) {
        // A text of the bus ends where a NUL stands.
        if (uid.find('\0') != std::string::npos) {
            return std::nullopt;
        }
        session().open(calendar);
        // Who cannot look has not said that there is no such event.
        if (!calendar.isOpen()) {
            throw BusError(*calendar.error());
        }
        TimeBudget& budget = session().readingBudget(calendar);
        const auto read = [&] {
            return budget.spend([&] { return SeriesText::read(calendar, uid, budget.deadline()); });
        };
        auto series = read();
        if (!series && calendar.source().isBirthdays) {
            const bool areThere = session().awaitBirthdays(calendar);
            series = read();
            if (!series && !areThere) {
                throw BusError(DBUS_ERROR_TIMEOUT);
            }
        }
        auto found = series ? icalendar::findEvent(series->stream(), uid) : std::nullopt;
        return found ? std::optional(completed(std::move(*found), calendar)) : std::nullopt;
    }

    // Applies a change to the event as it is under the lock, afresh when somebody else changes it
    // on its server at the same time.
    template <class Change>
    bool change(const model::Event& event, SeriesText::Dropped dropped, Change makeText) {
        const EvolutionHandle& handle = handleOf(event);
        FactoryCalendar* calendar = writable(handle.calendar);
        if (calendar == nullptr) {
            return false;
        }
        CalendarWrite write(*calendar, session().eventBudget().deadline());
        return refusedOnError(write, [&] {
            session().checkCredentials(write);
            if (!changeLocked(write, handle.key, dropped, makeText)) {
                return false;
            }
            session().checkCredentials(write);
            confirmSaved(write);
            return true;
        });
    }

    template <class Change>
    static bool changeLocked(CalendarWrite& write, const icalendar::EventKey& key,
        SeriesText::Dropped dropped, Change makeText) {
        FactoryCalendar& calendar = write.calendar();
        const Deadline deadline = write.deadline();
        const CalendarLock lock(calendar.identifier(), deadline);
        for (int attempt = 0; attempt < maximumAttempts; ++attempt) {
            const auto series = SeriesText::read(calendar, key.uid, deadline);
            const auto text = series ? makeText(series->stream(), key) : std::nullopt;
            if (!text) {
                return false;
            }
            try {
                series->replace(write, *text, dropped);
                return true;
            } catch (const BusError& error) {
                if (error.isUndelivered()) {
                    calendar.reopenAfter(error, deadline);
                } else if (isConflict(error)) {
                    series->awaitOther(calendar, deadline);
                } else {
                    throw;
                }
            }
        }
        return false;
    }

    std::unique_ptr<Session> session_;
};

} // namespace

} // namespace quenbrook::stores::evolution

namespace quenbrook::stores {

std::unique_ptr<CalendarStore> openCalendarStore() {
    return std::make_unique<evolution::EvolutionStore>();
}

} // namespace quenbrook::stores
