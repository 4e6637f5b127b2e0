#pragma once

#include "icalendar/text/Component.h"

#include <string>
#include <string_view>
#include <vector>

namespace quenbrook::icalendar {

// The line ending of a stream: that of its first line, CRLF when it has none.
std::string_view lineEndOf(std::string_view text);

// A change of stretches of a text that leaves the rest as it is, to the byte.
class TextEdit {
  public:
    // `text` must outlive this.
    explicit TextEdit(std::string_view text)
        : text_(text) {}

    // Stretches that are replaced must not overlap. Insertions at one place keep their order.
    void replace(TextRange range, std::string replacement);
    void insert(std::size_t position, std::string insertion) {
        replace({position, position}, std::move(insertion));
    }

    // The changed text of a stretch whose ends no replacement crosses.
    std::string result(TextRange range) const;
    std::string result() const { return result({0, text_.size()}); }

  private:
    struct Replacement {
        TextRange range;
        std::string text;
    };
    std::string_view text_;
    std::vector<Replacement> replacements_;
};

// Changes to the properties of one component: everything that is not named stays where it is, as it
// is written.
class ComponentEdit {
  public:
    // `text` is what the component was parsed from; it, the component and the edit must outlive
    // this.
    ComponentEdit(std::string_view text, const Component& component, TextEdit& edit);

    // Lines are whole properties, neither folded nor ended: both happens here. Names are compared
    // without regard to case.
    //
    // Puts one line in the place of the first property of that name, or after the last property;
    // further ones of the name go.
    void set(std::string_view name, std::string_view line);
    void add(std::string_view line);
    void remove(std::string_view name);
    // Removes the components of that name that stand directly in this one.
    void removeComponents(std::string_view name);
    // Adds whole components, with their line endings, before the end.
    void addComponents(std::string components);

  private:
    std::size_t afterProperties() const;

    const Component& component_;
    TextEdit& edit_;
    std::string_view lineEnd_;
};

} // namespace quenbrook::icalendar
