#pragma once

#include "platform/CalendarStore.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace quenbrook::tests {

// Hands every call on to a store that outlives it, so that a test keeps the store it gave away.
// Tests override single operations to answer as no other store does.
class ForwardingStore : public platform::CalendarStore {
  public:
    explicit ForwardingStore(platform::CalendarStore& store)
        : store_(store) {}

    std::int64_t authorizationStatus() override { return store_.authorizationStatus(); }
    void requestFullAccess(platform::AccessCompletion completion) override {
        store_.requestFullAccess(std::move(completion));
    }
    std::vector<platform::Calendar> calendars() override { return store_.calendars(); }
    std::optional<platform::Calendar> calendar(std::string_view identifier) override {
        return store_.calendar(identifier);
    }
    std::vector<platform::Event> events(platform::Instant start, platform::Instant end,
        std::optional<std::span<const platform::Calendar>> calendars) override {
        return store_.events(start, end, calendars);
    }
    std::optional<platform::Event> event(std::string_view identifier) override {
        return store_.event(identifier);
    }
    std::optional<platform::Event> create(
        const platform::Calendar& calendar, const platform::EventChanges& changes) override {
        return store_.create(calendar, changes);
    }
    bool update(const platform::Event& event, const platform::EventChanges& changes) override {
        return store_.update(event, changes);
    }
    bool remove(const platform::Event& event) override { return store_.remove(event); }

  private:
    platform::CalendarStore& store_;
};

// A store that finds an event by another spelling of its identifier: in the other case.
class LenientStore final : public ForwardingStore {
  public:
    using ForwardingStore::ForwardingStore;
    std::optional<platform::Event> event(std::string_view identifier) override {
        std::string other(identifier);
        for (char& letter : other) {
            if ((letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z')) {
                letter = static_cast<char>(letter ^ ('a' ^ 'A'));
            }
        }
        return ForwardingStore::event(other);
    }
};

} // namespace quenbrook::tests
