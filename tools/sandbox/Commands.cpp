#include "tools/sandbox/Commands.h"

#include "tools/sandbox/Keys.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace sandbox {

namespace {

/// What is being typed, on both sides of the cursor.
struct Typed
{
    std::string before;
    std::string after;
};

// The window does not tell where its cursor is, but inserts there.
Typed takeTyped(dm::ScrollingTextWindow& window)
{
    const std::string line(window.getText().view());
    if (line.empty())
        return {};
    window.appendText("\x01");
    const std::string_view marked = window.getText().view();
    const auto cursor = std::mismatch(line.begin(), line.end(), marked.begin()).first;
    return {std::string(line.begin(), cursor), std::string(cursor, line.end())};
}

void giveBack(dm::ScrollingTextWindow& window, const Typed& typed)
{
    window.setText(zu::InplaceString<256>(typed.after.data(), typed.after.size()));
    if (!typed.after.empty())
        window.appendInput(kKeyHome, 0, false, false, false);
    window.appendText(zu::InplaceString<256>(typed.before.data(), typed.before.size()));
}

} // namespace

Commands::Commands(dm::Console& owner, Output& words)
    : console(owner)
    , output(words)
{
}

Commands::~Commands() = default;

void Commands::add(Command command)
{
    console.getScrollingTextWindow()->addKnownWord(command.name.c_str(), command.isFunction);
    std::string name = command.name;
    table.emplace(std::move(name), std::move(command));
}

const Command* Commands::find(const std::string& name) const
{
    const auto found = table.find(name);
    return found == table.end() ? nullptr : &found->second;
}

void Commands::executeCommand(const zu::InplaceString<128>& command)
{
    const std::string text(command.c_str(), command.length());
    const Command* const known = isPaused ? find(parseCommand(text).name) : nullptr;
    if (expanded)
        expanded->push_back({text, false, depth});
    else if (known && known->overtakes)
        runCommand(text);
    else
        queue({text, false, 0});
}

void Commands::runLine(const std::string& line) { queue({line, true, 0}); }

void Commands::queue(Entry entry)
{
    if (waiting.size() < kMaxChain)
        waiting.push_back(std::move(entry));
    else
        output.print("too much waits for a file; this does not run: " + entry.text);
    runWaiting();
}

std::string Commands::runAndCapture(const std::string& line)
{
    output.beginCapture();
    runLine(line);
    return output.endCapture();
}

void Commands::resume(const std::vector<std::string>& lines)
{
    isPaused = false;
    if (depth == kMaxDepth) {
        giveUp("files that run files go too deep");
    } else {
        std::vector<Entry> entries;
        for (const std::string& line : lines)
            entries.push_back({line, true, depth + 1});
        waiting.insert(waiting.begin(), entries.begin(), entries.end());
    }
    runWaiting();
}

void Commands::remember(const std::string& line)
{
    if (history.size() == dm::kMaxConsoleCommands)
        history.pop_front();
    history.push_back(line);
}

// A command may end up here again, by way of the console or of resume: then it has only queued, and
// the loop that is running goes on with it.
void Commands::runWaiting()
{
    if (isRunning)
        return;
    isRunning = true;
    while (!waiting.empty() && !isPaused) {
        const Entry entry = std::move(waiting.front());
        waiting.pop_front();
        if (++chain > kMaxChain)
            giveUp("a file runs too much");
        else
            runEntry(entry);
    }
    if (waiting.empty() && !isPaused)
        chain = 0;
    isRunning = false;
}

void Commands::runEntry(const Entry& entry)
{
    depth = entry.depth;
    if (entry.isLine)
        expandLine(entry);
    else
        runCommand(entry.text);
}

void Commands::runCommand(const std::string& text)
{
    const CommandText parsed = parseCommand(text);
    if (parsed.name.empty())
        return;
    output.note("> " + text);
    try {
        if (const Command* const command = find(parsed.name))
            command->run(parsed);
        else if (!fallback || !fallback(parsed))
            output.print("\"" + parsed.name + "\" is neither a command nor a variable; try help");
    } catch (const std::exception& error) {
        output.print(parsed.name + ": " + error.what());
    }
}

// The console does it, because aliases are its own: it calls executeCommand for each command.
void Commands::expandLine(const Entry& entry)
{
    std::vector<Entry> commands;
    dm::ScrollingTextWindow& window = *console.getScrollingTextWindow();
    const Typed typed = takeTyped(window);
    window.setText(zu::InplaceString<256>(entry.text.data(), entry.text.size()));
    expanded = &commands;
    try {
        console.processCommand(false);
    } catch (const std::exception& error) {
        output.print(error.what());
    }
    expanded = nullptr;
    giveBack(window, typed);
    waiting.insert(waiting.begin(), commands.begin(), commands.end());
}

void Commands::giveUp(const char* why)
{
    output.print(std::string("stopped: ") + why);
    waiting.clear();
    chain = 0;
}

} // namespace sandbox
