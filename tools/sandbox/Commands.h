/// The console's commands: a table of what there is, and the order in which it is run.
///
///     Commands commands(console, output);
///     commands.add({"quit", "", "Ends the game.", [&](const CommandText&) { isOver = true; }});
///     console.setIOInterface(&commands);
///
/// A command that waits for a file (exec) holds up those behind it until pause is over; meanwhile
/// the game goes on.
///
/// Threads: the main thread's.
#pragma once

#include "tools/sandbox/CommandText.h"
#include "tools/sandbox/Output.h"

#include <dm/console.h>

#include <deque>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace sandbox {

/// For the person at the console: what was wrong with a command.
class CommandError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

struct Command
{
    std::string name; ///< in lower case
    std::string arguments;
    std::string help; ///< sentences; the first one is the summary
    std::function<void(const CommandText&)> run;
    bool isFunction = false; ///< is completed with parentheses
    bool overtakes = false;  ///< does not wait behind those that wait
};

class Commands : public dm::IOInterface
{
public:
    /// How deep files that run files may go.
    static constexpr int kMaxDepth = 8;
    /// What one line may set off in all, and how much may wait.
    static constexpr size_t kMaxChain = 10000;

    Commands(dm::Console& owner, Output& words);
    ~Commands() override;
    Commands(const Commands&) = delete;
    Commands& operator=(const Commands&) = delete;

    /// The name becomes a known word of the console.
    void add(Command command);
    const Command* find(const std::string& name) const;
    const std::map<std::string, Command>& all() const { return table; }

    /// What is asked when no command has the name; returns whether it knew what to do.
    void setFallback(std::function<bool(const CommandText&)> handler)
    {
        fallback = std::move(handler);
    }

    /// Runs the command, or queues it behind those that wait. Never throws.
    void executeCommand(const zu::InplaceString<128>& command) override;

    /// Runs a line as if it had been typed, but neither shows nor keeps it. What is being typed
    /// stays, with its cursor.
    void runLine(const std::string& line);

    /// The same, and what was printed meanwhile.
    std::string runAndCapture(const std::string& line);

    /// For a command that reads further lines: nothing runs until `resume`, which has these lines
    /// run before all that waits.
    void pause() { isPaused = true; }
    void resume(const std::vector<std::string>& lines);

    /// The lines entered by hand, oldest first, at most dm::kMaxConsoleCommands.
    void remember(const std::string& line);
    const std::deque<std::string>& entered() const { return history; }

private:
    struct Entry
    {
        std::string text;
        bool isLine = false; // aliases and ';' have yet to be looked at
        int depth = 0;
    };

    void queue(Entry entry);
    void runWaiting();
    void runEntry(const Entry& entry);
    void runCommand(const std::string& text);
    void expandLine(const Entry& entry);
    void giveUp(const char* why);

    dm::Console& console;
    Output& output;
    std::map<std::string, Command> table;
    std::function<bool(const CommandText&)> fallback;
    std::deque<std::string> history;

    std::deque<Entry> waiting;
    std::vector<Entry>* expanded = nullptr; // while a line is cut up: its commands
    int depth = 0;                          // of what runs
    size_t chain = 0;                       // entries run since nothing waited
    bool isRunning = false;
    bool isPaused = false;
};

} // namespace sandbox
