#include "dm/console/Aliases.h"
#include "dm/console/KeyCodes.h"
#include "dm/console/WindowParts.h"

namespace dm {

const zu::String& ScrollingTextWindow::getText() const { return parts->inputLine.getText(); }

void ScrollingTextWindow::setText(const zu::String& text)
{
    parts->inputLine.setText(text.view(), true);
}

void ScrollingTextWindow::appendText(const zu::String& text)
{
    parts->inputLine.appendText(text.view());
}

void ScrollingTextWindow::appendInput(int key, char character, bool alt, bool control, bool shift)
{
    parts->keyRepeat.press(key, shift);
    const int up = key == keys::kPageUp || key == keys::kUp || key == keys::kHome ? 1 : -1;
    switch (key) {
    case keys::kTab:
        if (!alt)
            completeCommand(!shift, parts->keyRepeat.isFirst());
        return;
    case keys::kPageUp:
    case keys::kPageDown:
        scroll(up * (static_cast<int>(getLinesOnScreen()) - 1));
        return;
    case keys::kUp:
    case keys::kDown:
        if (control)
            scroll(up);
        else
            scrollCommands(up);
        return;
    case keys::kHome:
    case keys::kEnd:
        if (!control)
            break;
        scroll(up * static_cast<int>(getConsoleLineCount()));
        return;
    }
    parts->inputLine.handleKey(key, character, true);
}

void ScrollingTextWindow::addToCommandStack(const zu::InplaceString<128>& command)
{
    parts->history.add(command);
    const console::WindowLock::DrawGuard guard(parts->lock);
    parts->cacheDirty = true;
}

void ScrollingTextWindow::scrollCommands(int delta)
{
    if (const zu::String* const command = parts->history.browse(delta))
        parts->inputLine.setText(command->view(), true);
}

void ScrollingTextWindow::completeCommand(bool forward, bool restart)
{
    parts->knownWords.complete(parts->inputLine, forward, restart);
}

void ScrollingTextWindow::parseCommandLine(WordList& words, bool addToStack)
{
    const zu::InplaceString<128>& line = parts->inputLine.getText();
    if (line.empty())
        return;
    if (addToStack)
        addToCommandStack(line);
    WordList typed;
    tokenizeLine(typed, line);
    parts->inputLine.setText("", false);
    resolveAliases(words, typed);
}

void ScrollingTextWindow::resolveAliases(WordList& out, const WordList& in) const
{
    dm::resolveAliases(out, in, parts->aliases);
}

const AliasMap& ScrollingTextWindow::getAliasesMap() const { return parts->aliases; }

AliasMap& ScrollingTextWindow::accessAliasesMap() { return parts->aliases; }

void ScrollingTextWindow::checkAliasValidity(const zu::InplaceString<256>& name,
                                             const zu::String& text) const
{
    dm::checkAliasValidity(parts->aliases, name, text);
}

void ScrollingTextWindow::addKnownWord(const char* word, bool isFunction)
{
    parts->knownWords.add(word, isFunction);
}

void ScrollingTextWindow::removeKnownWord(const char* word) { parts->knownWords.remove(word); }

void ScrollingTextWindow::removeAllKnownWords() { parts->knownWords.removeAll(); }

} // namespace dm
