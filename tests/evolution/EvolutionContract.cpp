#include "stores/CalendarStore.h"
#include "tests/contract/SeedText.h"
#include "tests/contract/StoreHarness.h"
#include "tests/evolution/Desktop.h"

#include <array>
#include <cmath>
#include <iomanip>
#include <map>
#include <sstream>

namespace quenbrook::contract {
namespace {

// Backends of the types of accounts. What one of type 3 has is CalDAV.
constexpr std::array<const char*, 6> backends{
    "local", "ews", "caldav", "caldav", "webcal", "contacts"};

std::string colorText(const model::Color& color) {
    std::ostringstream text;
    text << '#' << std::hex << std::setfill('0');
    for (const double component : color) {
        text << std::setw(2) << std::lround(component * 255.0);
    }
    return text.str();
}

class EvolutionHarness final : public StoreHarness {
  public:
    ~EvolutionHarness() override {
        // With an account goes what is below it.
        for (const std::string& uid : roots_) {
            desktop().removeSource(uid);
        }
    }

    StoreCapabilities capabilities() const override {
        return {.keepsFractionalSeconds = false,
            .keepsBlanks = false,
            .keepsNul = false,
            .keepsLastModified = false,
            .keepsOrderOfDays = false,
            .tellsMobileMe = false};
    }

    std::string addCalendar(const CalendarSeed& seed) override {
        const std::string uid = newUid(seed.name);
        evolution::SourceSeed source{.uid = uid, .name = seed.title};
        if (seed.source) {
            source.parent = account(*seed.source);
            source.backend = backends.at(static_cast<std::size_t>(seed.source->type));
        }
        if (seed.color) {
            source.color = colorText(*seed.color);
        }
        if (source.backend == "caldav") {
            source.resourcePath = evolution::makeCalDavCalendar(uid);
        }
        desktop().addSource(source);
        if (source.parent.empty()) {
            roots_.push_back(uid);
        }
        return uid;
    }

    std::string addEvent(const std::string& calendarIdentifier, const EventSeed& seed) override {
        desktop().addEvent(calendarIdentifier, seedText(seed));
        return calendarIdentifier + ":" + seed.name;
    }

    std::unique_ptr<stores::CalendarStore> openStore() override {
        return stores::openCalendarStore();
    }

  private:
    // One for the whole run: what starts a service takes time.
    static evolution::Desktop& desktop() {
        static evolution::Desktop instance;
        return instance;
    }

    // The service remembers what a calendar of the same name once held.
    static std::string newUid(const std::string& name) {
        static int number = 0;
        return name + "-" + std::to_string(++number);
    }

    std::string account(const model::Source& source) {
        const auto [account, isNew] = accounts_.emplace(source.title, newUid("account"));
        if (isNew) {
            desktop().addSource({.uid = account->second, .name = source.title, .backend = ""});
            roots_.push_back(account->second);
        }
        return account->second;
    }

    std::map<std::string, std::string> accounts_;
    std::vector<std::string> roots_;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Evolution, StoreContract,
    testing::Values(HarnessFactory{[] { return std::make_unique<EvolutionHarness>(); }}));

} // namespace quenbrook::contract
