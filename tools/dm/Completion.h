#pragma once

#include "tools/dm/CommandDescription.h"

#include <string>

namespace tool {

/// The scripts with which a shell completes command lines of the root command and of all below it:
/// commands, options, choices, and names of files and folders. They find the command that the line
/// has so far by its words, with what options take left out.
///
/// The shells' own functions do the rest; nothing else needs to be installed.
///
///   shell   bash, fish or zsh.
std::string toCompletion(const CommandDescription& root, const std::string& shell);

std::string toBashCompletion(const CommandDescription& root);
std::string toFishCompletion(const CommandDescription& root);
std::string toZshCompletion(const CommandDescription& root);

} // namespace tool
