#include "src/Subcommands.h"
#include "unicode/Text.h"

namespace quenbrook {
namespace {

constexpr std::size_t longestEcho = 64;

// A carriage return and a line feed are one user-perceived character, and a line break like each of
// them; of several code points, every other one holds something besides ASCII.
bool isEchoed(std::string_view character) {
    if (character.size() != 1) {
        return false;
    }
    const auto byte = static_cast<unsigned char>(character.front());
    const bool lineBreak = byte >= 0x0A && byte <= 0x0D;
    return byte < 0x80 && !lineBreak;
}

} // namespace

std::string subcommandEcho(std::string_view word) {
    const std::string text = unicode::repairedUTF8(word);
    std::string echo;
    for (const std::string_view character : unicode::graphemeClusters(text, longestEcho)) {
        if (isEchoed(character)) {
            echo.append(character);
        }
    }
    return echo;
}

} // namespace quenbrook
