#pragma once

#include <filesystem>
#include <optional>

namespace quenbrook::stores::vdir {

// Where the calendars of this user are: $XDG_DATA_HOME/quenbrook/calendars when that variable holds
// an absolute path, else ~/.local/share/quenbrook/calendars. Nothing without a home.
std::optional<std::filesystem::path> defaultStoreRoot();

// Makes a root that does not exist, readable to its owner only, with one account that holds one
// empty calendar. It appears as a whole or not at all, and never replaces what is there. Throws
// std::system_error when it cannot be made.
void createStoreRoot(const std::filesystem::path& root);

} // namespace quenbrook::stores::vdir
