#include "stores/evolution/Services.h"

#include <charconv>

namespace quenbrook::stores::evolution {
namespace {

// A name ends in the version of the interface that the service speaks.
struct Versioned {
    std::string_view prefix;
    // The first version with the calls that are made here.
    unsigned known;
};
constexpr Versioned registryService{"org.gnome.evolution.dataserver.Sources", 5};
constexpr Versioned calendarService{"org.gnome.evolution.dataserver.Calendar", 8};
constexpr Versioned addressBookService{"org.gnome.evolution.dataserver.AddressBook", 10};

std::optional<unsigned> versionOf(std::string_view name, std::string_view prefix) {
    if (!name.starts_with(prefix)) {
        return std::nullopt;
    }
    const std::string_view digits = name.substr(prefix.size());
    unsigned version = 0;
    const auto [rest, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), version);
    const bool isNumber = error == std::errc() && rest == digits.data() + digits.size();
    return isNumber ? std::optional(version) : std::nullopt;
}

std::optional<std::string> find(std::span<const std::string> names, const Versioned& service) {
    std::optional<unsigned> best;
    for (const std::string& name : names) {
        const auto version = versionOf(name, service.prefix);
        if (version && *version >= service.known && best != service.known &&
            (!best || *version == service.known || *version > *best)) {
            best = version;
        }
    }
    return best ? std::optional(std::string(service.prefix) + std::to_string(*best)) : std::nullopt;
}

} // namespace

std::optional<Services> findServices(std::span<const std::string> names) {
    auto foundRegistry = find(names, registryService);
    auto foundFactory = find(names, calendarService);
    if (!foundRegistry || !foundFactory) {
        return std::nullopt;
    }
    return Services{
        std::move(*foundRegistry), std::move(*foundFactory), find(names, addressBookService)};
}

} // namespace quenbrook::stores::evolution
