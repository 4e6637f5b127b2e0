#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

// What stands behind the stand-in for EventKit, as tests see it: what the calendars hold, how the
// framework shall behave, what it was asked, and which of its objects are alive.
//
// Texts are UTF-16, unpaired surrogates allowed, as in NSString. Dates are seconds since 1970, UTC.
namespace quenbrook::standin {

struct Source {
    std::u16string title;
    std::int64_t type = 0;

    bool operator==(const Source&) const = default;
};

struct Color {
    // In the colour's own space; one or two components make a grey, more are red, green and blue.
    std::vector<double> components;
    // Whether the conversion to another space yields a colour at all.
    bool isConvertible = true;
    // Whether the conversion leaves the components as they are instead of making sRGB of a grey.
    bool keepsComponents = false;

    bool operator==(const Color&) const = default;
};

struct Calendar {
    std::u16string identifier;
    std::u16string title;
    bool allowsContentModifications = true;
    std::optional<Source> source;
    std::optional<Color> color;

    bool operator==(const Calendar&) const = default;
};

struct Participant {
    // A URL's ASCII text; absent: no URL.
    std::optional<std::string> url;
    std::optional<std::u16string> name;
    std::int64_t status = 0;

    bool operator==(const Participant&) const = default;
};

struct Alarm {
    double relativeOffset = 0;
    std::optional<double> absoluteDate;

    bool operator==(const Alarm&) const = default;
};

struct RuleEnd {
    std::uint64_t occurrenceCount = 0;
    std::optional<double> endDate;

    bool operator==(const RuleEnd&) const = default;
};

struct DayOfWeek {
    std::int64_t day = 1;
    std::int64_t weekNumber = 0;

    bool operator==(const DayOfWeek&) const = default;
};

struct Rule {
    std::int64_t frequency = 0;
    std::int64_t interval = 1;
    std::optional<RuleEnd> end;
    // Each list absent: nil.
    std::optional<std::vector<DayOfWeek>> daysOfTheWeek;
    std::optional<std::vector<std::int64_t>> daysOfTheMonth;
    std::optional<std::vector<std::int64_t>> monthsOfTheYear;
    std::optional<std::vector<std::int64_t>> setPositions;

    bool operator==(const Rule&) const = default;
};

struct Event {
    std::optional<std::u16string> identifier;
    // What a server knows it by; absent: the identifier.
    std::optional<std::u16string> externalIdentifier;
    std::optional<std::u16string> calendar;
    std::optional<std::u16string> title;
    std::optional<double> startDate;
    std::optional<double> endDate;
    bool isAllDay = false;
    std::optional<std::u16string> location;
    std::optional<std::u16string> notes;
    // Each list absent: nil.
    std::optional<std::vector<Participant>> attendees;
    std::optional<std::vector<Alarm>> alarms;
    std::optional<std::vector<Rule>> recurrenceRules;
    std::optional<double> lastModifiedDate;
    std::int64_t availability = 0;
    // Of a series: what was removed of it, by the starts that its rule gave, and what was changed.
    std::vector<double> removedOccurrences;
    std::vector<Event> changedOccurrences;
    // Of an occurrence: the start that the rule gave.
    std::optional<double> originalStart;

    bool operator==(const Event&) const = default;
};

// Asked by requestFullAccessToEventsWithCompletion:.
struct Prompt {
    bool granted = true;
    // The localized description of the error that the completion receives.
    std::optional<std::u16string> error;
    // The completion runs on another thread, after the call has returned.
    bool answersLate = false;
    // Otherwise the system refuses by itself, for a host without a usage text say, and remembers no
    // answer.
    bool isShown = true;
};

// All that outlives a store object. The one World alive is the one that the framework sees. A
// series stands in it as the event that it was made from (Series.h).
class World {
  public:
    World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;
    // Waits for the answer of a prompt that is still open.
    ~World();

    // Aborts when there is none.
    static World& current();

    // In the order in which the framework hands them out.
    std::vector<Calendar> calendars;
    std::vector<Event> events;
    // Told of every event saved or removed, and of every answer to the prompt.
    std::function<void()> whenChanged;

    // 3, full access, alone lets the calendars be seen and changed. An answer to the prompt sets
    // it.
    std::int64_t authorizationStatus = 3;
    Prompt prompt;
    bool refusesSaves = false;
    bool refusesRemovals = false;
    // A save answers NO without an error, as it also does when there is nothing to save.
    bool savesNothingWithoutError = false;
    bool removesNothingWithoutError = false;
    // What the documentation leaves open. An identifier leads to the first occurrence of all,
    // though it was removed; otherwise to the first that stands.
    bool leadsToRemovedOccurrences = false;
    // The occurrences that a query finds have identifiers of their own, and share the external one.
    bool namesOccurrencesApart = false;
    // A store made before the user granted access shows nothing until it is reset.
    bool hidesUntilReset = false;
    // Whatever is saved has another identifier from then on.
    bool changesIdentifiers = false;
    bool lacksTheSRGBSpace = false;
    bool answersNilForLists = false;

    // Every call of the framework in order: class, selector, and what was passed where it matters,
    // as in "EKEvent setTitle: Lunch". Functions of CoreGraphics are there by their names.
    std::vector<std::string> calls;
    // The call, by its place in `calls`, that raises an NSException instead of doing anything.
    // Functions of CoreGraphics never do.
    std::optional<std::size_t> raisingCall;
    static constexpr std::u16string_view reasonOfExceptions = u"the stand-in was told to raise";

    // Told of every call before anything is done.
    std::function<void()> atEachCall;

    // How often the last store was released while its calendars or events were still alive.
    int objectsThatOutlivedTheirStore = 0;

    // Records a call; says whether it is to raise.
    bool record(std::string call);
    Event* find(std::u16string_view identifier);
    const Calendar* calendar(std::u16string_view identifier) const;
    std::u16string newIdentifier();
    std::uint64_t newStoreNumber() { return ++stores_; }
    bool isOpen() const { return authorizationStatus == 3; }

    // Runs `answer` at once or on a thread of its own, as the prompt says.
    void answerPrompt(std::function<void()> answer);
    void waitForAnswers();

  private:
    int identifiers_ = 0;
    std::uint64_t stores_ = 0;
    std::vector<std::thread> answers_;
};

// The objects of the framework that are alive, by class; CoreGraphics' objects and copied blocks
// are counted as well. From any thread.
std::map<std::string, int> liveObjects();
void countBirth(const void* object, std::string kind);
// Aborts when no such object is alive: it was released once too often.
void countDeath(const void* object);

} // namespace quenbrook::standin
