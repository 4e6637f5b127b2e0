#include "stores/evolution/Zones.h"

namespace quenbrook::stores::evolution {

std::vector<std::string> zonesToFetch(const icalendar::StreamAssembly& components) {
    std::vector<std::string> zones = components.undefinedZones();
    std::erase_if(zones, [](const std::string& name) {
        return name.empty() || name.starts_with("/freeassociation.sourceforge.net/") ||
               name.find('\0') != std::string::npos;
    });
    return zones;
}

} // namespace quenbrook::stores::evolution
