#include "dm/console/InputLine.h"

#include "dm/console/KeyCodes.h"

#include <algorithm>

namespace dm {

void InputLine::handleKey(int key, char character, bool insertCharacter)
{
    switch (key) {
    case keys::kBackspace:
        backspace();
        break;
    case keys::kDelete:
        text.erase(cursor, 1);
        break;
    case keys::kEscape:
        text.clear();
        cursor = 0;
        break;
    case keys::kLeft:
        cursor -= cursor > 0 ? 1 : 0;
        break;
    case keys::kRight:
        cursor += cursor < text.length() ? 1 : 0;
        break;
    case keys::kHome:
        cursor = 0;
        break;
    case keys::kEnd:
        moveCursorToEnd();
        break;
    default:
        if (insertCharacter && character != '\0')
            insert(character);
    }
}

void InputLine::backspace()
{
    if (cursor > 0)
        text.erase(--cursor, 1);
}

void InputLine::insert(char character)
{
    text.insert(cursor, character);
    ++cursor;
}

// Puts the new text together beside the old one: inserting a long text character by character would
// move what follows the cursor each time.
void InputLine::appendText(std::string_view added)
{
    zu::InplaceString<128> whole(text.c_str(), cursor);
    for (const char character : added) {
        if (character != '\t')
            whole += character == '\r' || character == '\n' ? ' ' : character;
    }
    const size_t newCursor = whole.length();
    whole.append(text.c_str() + cursor, text.length() - cursor);
    text = std::move(whole);
    cursor = newCursor;
}

void InputLine::setText(std::string_view newText, bool cursorToEnd)
{
    text.assign(newText.data(), newText.size());
    cursor = cursorToEnd ? text.length() : std::min(cursor, text.length());
}

void InputLine::setCursor(int position)
{
    cursor = position > 0 ? std::min(static_cast<size_t>(position), text.length()) : 0;
}

} // namespace dm
