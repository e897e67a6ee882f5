/// The line being typed: its text and a cursor between its characters.
///
///     handleKey(0, 'a', true)  on  "h|t"  ->  "ha|t"
///
/// Every operation leaves the cursor within the text. There is no limit to the text but memory.
#pragma once

#include <zul/InplaceString.h>

#include <string_view>

namespace dm {

class InputLine
{
public:
    /// Backspace, Delete, Escape (empties the line), Left, Right, Home and End edit and move; any
    /// other key inserts what it types.
    ///
    ///   character         0 types nothing; all others are inserted, control characters too.
    ///   insertCharacter   false: keys that do not edit do nothing.
    void handleKey(int key, char character, bool insertCharacter);

    /// Inserts at the cursor: line ends as spaces, no tabs, everything else as it is. May be the
    /// line's own text.
    void appendText(std::string_view text);

    /// Replaces the text, which may be a part of it.
    ///
    ///   cursorToEnd   false: the cursor stays where it is, if the text reaches that far.
    void setText(std::string_view text, bool cursorToEnd);

    const zu::InplaceString<128>& getText() const { return text; }

    /// From 0 to the text's length: before which character the cursor stands.
    int getCursor() const { return static_cast<int>(cursor); }
    /// What is outside the text goes to its nearest end.
    void setCursor(int position);
    void moveCursorToEnd() { cursor = text.length(); }
    bool isCursorAtEnd() const { return cursor == text.length(); }

private:
    void backspace();
    void insert(char character);

    zu::InplaceString<128> text;
    size_t cursor = 0;
};

} // namespace dm
