#pragma once

#include "unicode/Text.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quenbrook {

// A regular expression that is compiled when a text first needs it.
class TagPattern {
  public:
    // A word boundary, the plain text `tag`, then the pattern `rest`. Both must outlive the object.
    constexpr TagPattern(std::string_view tag, std::string_view rest)
        : tag_(tag)
        , rest_(rest) {}

    bool occursIn(std::string_view text);

  private:
    std::string_view tag_;
    std::string_view rest_;
    std::optional<unicode::RegularExpression> expression_;
};

// The categories that an event's notes carry: "velmoria-sync" for a sync marker, then "no-sync" for
// the opt-out tag.
class NotesCategories {
  public:
    // Returns nullopt when there are none.
    std::optional<std::vector<std::string>> fromNotes(const std::optional<std::string>& notes);

  private:
    TagPattern syncMarker_{"velmoria-sync-id:",
        R"([0-9a-fA-F]{8}-[0-9a-fA-F]{4}-[0-9a-fA-F]{4}-[0-9a-fA-F]{4}-[0-9a-fA-F]{12}\b)"};
    TagPattern optOut_{"no-sync", R"(\b)"};
};

} // namespace quenbrook
