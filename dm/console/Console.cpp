#include "dm/console/CommandSplit.h"
#include "dm/console/KeyCodes.h"
#include "dm/console/WindowParts.h"

#include <dm/console.h>

#include <cstdarg>

namespace dm {

Console* Console::sm_pInstance = nullptr;

Console::Console(ShapeEngineInterface* shapeEngine, float margin)
{
    sm_pInstance = this; // the drawing interface may ask for it while the window measures
    try {
        scrollingTextWindow = std::make_unique<ScrollingTextWindow>(shapeEngine, margin);
    } catch (...) {
        sm_pInstance = nullptr;
        throw;
    }
    scrollingTextWindow->setVisibility(visible);
}

Console::~Console()
{
    scrollingTextWindow.reset();
    sm_pInstance = nullptr;
}

Console* Console::getInstance() { return sm_pInstance; }

void Console::deliverKeystroke(int key, char character, bool alt, bool control, bool shift)
{
    if (key == keys::kConsole) {
        visible = !visible;
        scrollingTextWindow->setVisibility(visible);
    } else if (key == keys::kEnter) {
        if (!alt)
            processCommand(true);
    } else if (visible) {
        scrollingTextWindow->appendInput(key, character, alt, control, shift);
    } else if (const auto bound = bindings.find(static_cast<unsigned char>(character));
               bound != bindings.end())
    {
        setText(bound->second);
        processCommand(false);
    }
}

void Console::bind(unsigned char key, const zu::InplaceString<128>& command)
{
    bindings.insert_or_assign(key, command);
}

void Console::unbind(unsigned char key)
{
    if (key == 0)
        bindings.clear();
    else
        bindings.erase(key);
}

const BindingMap& Console::getBindingsMap() const { return bindings; }

// The words are this call's own: a command may run another command line, or its own binding.
void Console::processCommand(bool interactive)
{
    WordList words;
    scrollingTextWindow->parseCommandLine(words, interactive);
    endWithSemicolon(words);
    processParsedCommandLine(words, interactive);
}

void Console::processParsedCommandLine(const WordList& words, bool echo)
{
    CommandSplit split(words);
    zu::InplaceString<128> command;
    while (split.next(command)) {
        if (echo)
            scrollingTextWindow->printWithPrefix(true, "%s\n", echoText(command).c_str());
        if (ioInterface)
            ioInterface->executeCommand(command);
        else
            scrollingTextWindow->print(
                "ERROR: Unable to process command, no IO interface attached\n");
    }
}

void Console::setIOInterface(IOInterface* newInterface) { ioInterface = newInterface; }

void Console::update()
{
    if (saveTimer.getElapsed() <= 1.0)
        return;
    saveTimer.restart(); // first: a save that throws is not to be tried again each frame
    scrollingTextWindow->save();
}

void Console::render() { scrollingTextWindow->renderVisibleText(); }

void Console::print(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const console::PrintText text(format, arguments);
    va_end(arguments);
    if (scrollingTextWindow)
        scrollingTextWindow->printString(text.characters);
}

void Console::clear() { scrollingTextWindow->clear(); }

void Console::close()
{
    visible = false;
    scrollingTextWindow->setVisibility(false);
}

bool Console::isVisible() const { return visible; }

void Console::setText(const zu::InplaceString<128>& text) { scrollingTextWindow->setText(text); }

ScrollingTextWindow* Console::getScrollingTextWindow() { return scrollingTextWindow.get(); }

} // namespace dm
