#include "tests/eventkit/stand-in/World.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace quenbrook::standin {
namespace {

World* currentWorld = nullptr;

struct LiveObjects {
    std::mutex mutex;
    std::unordered_map<const void*, std::string> kinds;
};

// Never destroyed: objects may die while the process exits.
LiveObjects& live() {
    static auto* objects = new LiveObjects;
    return *objects;
}

[[noreturn]] void fail(const char* message) {
    std::fprintf(stderr, "stand-in: %s\n", message);
    std::abort();
}

} // namespace

World::World() {
    if (currentWorld != nullptr) {
        fail("a second world");
    }
    currentWorld = this;
}

World::~World() {
    waitForAnswers();
    currentWorld = nullptr;
}

World& World::current() {
    if (currentWorld == nullptr) {
        fail("no world");
    }
    return *currentWorld;
}

bool World::record(std::string call) {
    calls.push_back(std::move(call));
    if (atEachCall) {
        atEachCall();
    }
    return raisingCall == calls.size() - 1;
}

Event* World::find(std::u16string_view identifier) {
    const auto found = std::find_if(events.begin(), events.end(),
        [&](const Event& event) { return event.identifier == identifier; });
    return found == events.end() ? nullptr : &*found;
}

const Calendar* World::calendar(std::u16string_view identifier) const {
    const auto found = std::find_if(calendars.begin(), calendars.end(),
        [&](const Calendar& calendar) { return calendar.identifier == identifier; });
    return found == calendars.end() ? nullptr : &*found;
}

std::u16string World::newIdentifier() {
    std::u16string identifier;
    do {
        const std::string digits = std::to_string(++identifiers_);
        identifier = u"EVENT-" + std::u16string(digits.begin(), digits.end());
    } while (find(identifier) != nullptr);
    return identifier;
}

void World::answerPrompt(std::function<void()> answer) {
    if (prompt.answersLate) {
        answers_.emplace_back(std::move(answer));
    } else {
        answer();
    }
}

void World::waitForAnswers() {
    for (std::thread& answer : std::exchange(answers_, {})) {
        answer.join();
    }
}

std::map<std::string, int> liveObjects() {
    const std::lock_guard lock(live().mutex);
    std::map<std::string, int> counts;
    for (const auto& [object, kind] : live().kinds) {
        ++counts[kind];
    }
    return counts;
}

void countBirth(const void* object, std::string kind) {
    const std::lock_guard lock(live().mutex);
    live().kinds[object] = std::move(kind);
}

void countDeath(const void* object) {
    const std::lock_guard lock(live().mutex);
    if (live().kinds.erase(object) == 0) {
        fail("an object was released once too often");
    }
}

} // namespace quenbrook::standin
