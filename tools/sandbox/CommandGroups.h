/// The commands, by what they are about. Each function adds its own to the table; what it is handed
/// must live as long as the table.
#pragma once

namespace dm {
class Console;
}

namespace sandbox {

class Background;
class Commands;
class Output;
class Pipes;
class Variables;

/// help, find, alias, unalias, aliases, bind, unbind, binds, echo, clear, history
void addConsoleCommands(Commands& commands, const Variables& variables, dm::Console& console,
                        Output& output);

/// set, get, toggle; and a variable's name alone. Makes the names known words.
void addVariableCommands(Commands& commands, Variables& variables, dm::Console& console,
                         Output& output);

/// exec, ls, cat, read, write, dump: through the installed file system.
void addFileCommands(Commands& commands, Background& background, Output& output);

/// pipes, open, notify, call, ping
void addPipeCommands(Commands& commands, Pipes& pipes, Background& background, Output& output);

/// profile
void addProfileCommand(Commands& commands, Output& output);

} // namespace sandbox
