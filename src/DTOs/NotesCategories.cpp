#include "src/DTOs/NotesCategories.h"

namespace quenbrook {

// Every match begins with the tag, letter by letter, so only where the tag stands is the engine
// asked, and notes without it (nearly all) cost a plain search and no compiled pattern.
bool TagPattern::occursIn(std::string_view text) {
    std::size_t at = text.find(tag_);
    while (at != std::string_view::npos) {
        if (!expression_) {
            expression_.emplace("\\b" + std::string(tag_) + std::string(rest_));
        }
        if (expression_->matchesAt(text, at)) {
            return true;
        }
        at = text.find(tag_, at + 1);
    }
    return false;
}

std::optional<std::vector<std::string>> NotesCategories::fromNotes(
    const std::optional<std::string>& notes) {
    if (!notes || notes->empty()) {
        return std::nullopt;
    }
    std::vector<std::string> categories;
    if (syncMarker_.occursIn(*notes)) {
        categories.emplace_back("velmoria-sync");
    }
    if (optOut_.occursIn(*notes)) {
        categories.emplace_back("no-sync");
    }
    if (categories.empty()) {
        return std::nullopt;
    }
    return categories;
}

} // namespace quenbrook
