#include "icalendar/time/LocalTimeZone.h"

#include <cstdlib>
#include <filesystem>
#include <string_view>

namespace quenbrook::icalendar {
namespace {

std::string withoutPathToZoneData(const std::string& path) {
    constexpr std::string_view folder = "zoneinfo/";
    const std::size_t at = path.rfind(folder);
    return at == std::string::npos ? path : path.substr(at + folder.size());
}

// Where a file that is itself no part of the zone data leads to.
std::string nameOfFile(const std::string& path) {
    std::error_code error;
    return withoutPathToZoneData(std::filesystem::canonical(path, error).string());
}

} // namespace

std::string localTimeZoneName() {
    constexpr const char* machinesOwn = "/etc/localtime";
    const char* const variable = std::getenv("TZ");
    if (!variable) {
        return nameOfFile(machinesOwn);
    }
    // A leading colon means that the name of a file follows.
    const std::string_view value = variable;
    const std::string name =
        withoutPathToZoneData(std::string(value.substr(value.starts_with(':') ? 1 : 0)));
    // The zone data may have a link to the machine's own file: nobody else knows what it means.
    return name == "localtime"     ? nameOfFile(machinesOwn)
           : name.starts_with('/') ? nameOfFile(name)
                                   : name;
}

} // namespace quenbrook::icalendar
