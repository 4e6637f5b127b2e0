#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace quenbrook::stores::evolution {

// Under which names the bus has the services of Evolution Data Server.
struct Services {
    std::string registry;
    std::string factory;
    // What knows the contacts. Nullopt when there is none.
    std::optional<std::string> addressBooks;
};

// The services among names that the bus knows: those that speak the oldest known version of their
// interface, else the newest one later than that. Returns nullopt when the registry or the factory
// is missing.
std::optional<Services> findServices(std::span<const std::string> names);

} // namespace quenbrook::stores::evolution
