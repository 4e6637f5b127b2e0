#include "files/RandomUid.h"

#include "files/SystemCall.h"

#include <array>

#include <sys/random.h>
#include <unistd.h>

namespace quenbrook::files {

std::string randomUid() {
    std::array<unsigned char, 16> bytes{};
    throwOnError("getentropy", [&] { return ::getentropy(bytes.data(), bytes.size()); });
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string uid;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            uid += '-';
        }
        uid += digits[bytes[i] >> 4];
        uid += digits[bytes[i] & 0x0F];
    }
    return uid;
}

} // namespace quenbrook::files
