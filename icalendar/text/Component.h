#pragma once

#include "icalendar/text/ContentLine.h"
#include "icalendar/text/TextRange.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quenbrook::icalendar {

// One property and where its physical lines stand in the text, line endings included. Its views are
// of the unfolded text that the ParsedComponent owns.
struct Property : ContentLine {
    TextRange range;
};

// One component with what stands in it, a part of a ParsedComponent and valid as long as that is.
// Everything knows its place in the text, so that an edit can leave the rest of the text as it is,
// to the byte.
struct Component {
    std::string_view name;
    std::vector<Property> properties;
    std::vector<Component> components;
    // From the BEGIN line to the end of the END line.
    TextRange range;
    // Where the END line begins.
    std::size_t bodyEnd = 0;

    // The first property of that name; null when there is none.
    const Property* first(std::string_view propertyName) const;
};

// A component together with the unfolded text that its views point into; the text that was parsed
// may go. Moving it is safe.
class ParsedComponent {
  public:
    // Parses `text[range]`, which must run from a BEGIN line to the end of its END line. Lines that
    // are no content lines stand in no property and are otherwise passed over. Returns
    // nullopt when components are not properly nested, are more than 8 deep, or hold more than
    // 200,000 lines (what one hostile event may cost).
    static std::optional<ParsedComponent> parse(std::string_view text, TextRange range);

    const Component& operator*() const { return root_; }
    const Component* operator->() const { return &root_; }

  private:
    std::unique_ptr<char[]> unfolded_;
    Component root_;
};

} // namespace quenbrook::icalendar
