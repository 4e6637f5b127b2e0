#include "stores/vdir/VdirStore.h"
#include "tests/contract/SeedText.h"
#include "tests/contract/StoreHarness.h"
#include "tests/support/TemporaryFolder.h"

#include <array>
#include <cmath>
#include <fstream>
#include <iomanip>
#include <map>
#include <sstream>

namespace quenbrook::contract {
namespace {

constexpr std::array<const char*, 6> accountTypes{
    "local", "exchange", "caldav", "mobileme", "subscription", "birthdays"};
template <typename Words>
const char* word(const Words& words, std::int64_t number) {
    return words.at(static_cast<std::size_t>(number));
}

std::string fileText(const EventSeed& seed) {
    return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Contract//EN\r\n" + seedText(seed) +
           "END:VCALENDAR\r\n";
}

void write(const std::filesystem::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

class VdirHarness final : public StoreHarness {
  public:
    StoreCapabilities capabilities() const override {
        return {.keepsFractionalSeconds = false, .keepsNul = false};
    }

    std::string addCalendar(const CalendarSeed& seed) override {
        const std::string identifier =
            (seed.source ? accountFolder(*seed.source) + "/" : "") + seed.name;
        const auto folder = root_.path() / identifier;
        std::filesystem::create_directory(folder);
        write(folder / "displayname", seed.title + "\n");
        if (seed.color) {
            std::ostringstream text;
            text << '#' << std::hex << std::setfill('0');
            for (const double component : *seed.color) {
                text << std::setw(2) << std::lround(component * 255.0);
            }
            write(folder / "color", text.str());
        }
        return identifier;
    }

    std::string addEvent(const std::string& calendarIdentifier, const EventSeed& seed) override {
        write(root_.path() / calendarIdentifier / (seed.name + ".ics"), fileText(seed));
        return calendarIdentifier + ":" + seed.name;
    }

    std::unique_ptr<stores::CalendarStore> openStore() override {
        return stores::vdir::openVdirStore(root_.path());
    }

  private:
    std::string accountFolder(const model::Source& source) {
        const auto [account, isNew] =
            accounts_.emplace(source.title, "account-" + std::to_string(accounts_.size()));
        if (isNew) {
            const auto folder = root_.path() / account->second;
            std::filesystem::create_directory(folder);
            write(folder / "displayname", source.title);
            write(folder / "type", word(accountTypes, source.type));
        }
        return account->second;
    }

    support::TemporaryFolder root_;
    std::map<std::string, std::string> accounts_;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Vdir, StoreContract,
    testing::Values(HarnessFactory{[] { return std::make_unique<VdirHarness>(); }}));

} // namespace quenbrook::contract
