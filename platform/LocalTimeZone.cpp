#include "platform/LocalTimeZone.h"

#include <cstdlib>
#include <filesystem>
#include <string_view>

namespace quenbrook::platform {
namespace {

std::string withoutPathToZoneData(const std::string& path) {
    constexpr std::string_view folder = "zoneinfo/";
    const std::size_t at = path.rfind(folder);
    return at == std::string::npos ? path : path.substr(at + folder.size());
}

} // namespace

std::string localTimeZoneName() {
    if (const char* variable = std::getenv("TZ")) {
        // A leading colon means that the name of a file follows.
        const std::string_view value = variable;
        return withoutPathToZoneData(std::string(value.substr(value.starts_with(':') ? 1 : 0)));
    }
    std::error_code error;
    return withoutPathToZoneData(std::filesystem::canonical("/etc/localtime", error).string());
}

} // namespace quenbrook::platform
