#include "icalendar/text/ComponentEdit.h"

#include <gtest/gtest.h>

namespace quenbrook::icalendar {
namespace {

struct LineEndCase {
    std::string_view text;
    std::string_view lineEnd;
};
constexpr LineEndCase lineEndCases[] = {
    {"", "\r\n"},
    {"a", "\r\n"},
    {"a\r\nb\n", "\r\n"},
    {"a\nb\r\n", "\n"},
    {"\n", "\n"},
    {"\r\n", "\r\n"},
    {"a\rb\n", "\n"},
};

TEST(LineEnds, AreThoseOfTheFirstLine) {
    for (const LineEndCase& row : lineEndCases) {
        EXPECT_EQ(lineEndOf(row.text), row.lineEnd) << row.text;
    }
}

TEST(TextEdits, ReplaceAndInsertInTheOrderOfTheText) {
    TextEdit edit("0123456789");
    EXPECT_EQ(edit.result(), "0123456789");
    edit.replace({7, 9}, "x");
    edit.insert(2, "a");
    edit.insert(2, "b");
    edit.replace({2, 4}, "y");
    edit.insert(10, "end");
    edit.insert(0, "begin");
    edit.replace({4, 5}, "");
    EXPECT_EQ(edit.result(), "begin01aby56x9end");
    EXPECT_EQ(edit.result({4, 7}), "56");
}

constexpr std::string_view editedComponent =
    "BEGIN:VEVENT\r\nA:1\r\nB;P=1:x\r\n y\r\nA:2\r\njunk\r\nBEGIN:C\r\nA:in\r\nEND:C\r\n"
    "BEGIN:D\r\nEND:D\r\nBEGIN:c\r\nEND:c\r\nZ:last\r\nEND:VEVENT\r\n";

class ComponentEdits : public testing::Test {
  protected:
    std::string result() const { return edit_.result(); }

    ParsedComponent component_ =
        *ParsedComponent::parse(editedComponent, {0, editedComponent.size()});
    TextEdit edit_{editedComponent};
    ComponentEdit properties_{editedComponent, *component_, edit_};
};

TEST_F(ComponentEdits, SetAPropertyInItsPlaceOnce) {
    properties_.set("a", "A:new");
    EXPECT_EQ(result(),
        "BEGIN:VEVENT\r\nA:new\r\nB;P=1:x\r\n y\r\njunk\r\nBEGIN:C\r\nA:in\r\nEND:C\r\n"
        "BEGIN:D\r\nEND:D\r\nBEGIN:c\r\nEND:c\r\nZ:last\r\nEND:VEVENT\r\n");
}

TEST_F(ComponentEdits, AddPropertiesBeforeTheComponentsInOrder) {
    properties_.set("X", "X:1");
    properties_.add("Y:" + std::string(75, 'y'));
    EXPECT_EQ(result(),
        "BEGIN:VEVENT\r\nA:1\r\nB;P=1:x\r\n y\r\nA:2\r\njunk\r\nX:1\r\nY:" + std::string(73, 'y') +
            "\r\n yy\r\nBEGIN:C\r\nA:in\r\nEND:C\r\nBEGIN:D\r\nEND:D\r\nBEGIN:c\r\nEND:c\r\n"
            "Z:last\r\nEND:VEVENT\r\n");
}

TEST_F(ComponentEdits, RemovePropertiesAndComponentsByName) {
    properties_.remove("A");
    properties_.remove("Q");
    properties_.removeComponents("C");
    properties_.addComponents("BEGIN:N\r\nEND:N\r\n");
    EXPECT_EQ(result(), "BEGIN:VEVENT\r\nB;P=1:x\r\n y\r\njunk\r\nBEGIN:D\r\nEND:D\r\nZ:last\r\n"
                        "BEGIN:N\r\nEND:N\r\nEND:VEVENT\r\n");
}

TEST_F(ComponentEdits, AddAPropertyBesideAComponentThatGoes) {
    properties_.removeComponents("C");
    properties_.add("X:1");
    EXPECT_EQ(result(), "BEGIN:VEVENT\r\nA:1\r\nB;P=1:x\r\n y\r\nA:2\r\njunk\r\nX:1\r\n"
                        "BEGIN:D\r\nEND:D\r\nZ:last\r\nEND:VEVENT\r\n");
}

} // namespace
} // namespace quenbrook::icalendar
