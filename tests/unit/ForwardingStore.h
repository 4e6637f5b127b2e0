#pragma once

#include "stores/CalendarStore.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace quenbrook::tests {

// Hands every call on to a store that outlives it, so that a test keeps the store it gave away.
// Tests override single operations to answer as no other store does.
class ForwardingStore : public stores::CalendarStore {
  public:
    explicit ForwardingStore(stores::CalendarStore& store)
        : store_(store) {}

    std::int64_t authorizationStatus() override { return store_.authorizationStatus(); }
    void requestFullAccess(stores::AccessCompletion completion) override {
        store_.requestFullAccess(std::move(completion));
    }
    std::vector<model::Calendar> calendars() override { return store_.calendars(); }
    std::optional<model::Calendar> calendar(std::string_view identifier) override {
        return store_.calendar(identifier);
    }
    void forEachEvent(model::Instant start, model::Instant end,
        std::optional<std::span<const model::Calendar>> calendars,
        const std::function<void(model::Event)>& take) override {
        store_.forEachEvent(start, end, calendars, take);
    }
    std::optional<model::Event> event(std::string_view identifier) override {
        return store_.event(identifier);
    }
    std::optional<model::SavedEvent> create(
        const model::Calendar& calendar, const model::EventChanges& changes) override {
        return store_.create(calendar, changes);
    }
    bool update(const model::Event& event, const model::EventChanges& changes) override {
        return store_.update(event, changes);
    }
    bool remove(const model::Event& event) override { return store_.remove(event); }

  private:
    stores::CalendarStore& store_;
};

// A store that finds an event by another spelling of its identifier: in the other case.
class LenientStore final : public ForwardingStore {
  public:
    using ForwardingStore::ForwardingStore;
    std::optional<model::Event> event(std::string_view identifier) override {
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
