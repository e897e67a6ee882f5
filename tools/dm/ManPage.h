#pragma once

#include "tools/dm/CommandDescription.h"

#include <string>

namespace tool {

/// "dm-fs-ls", which the page's file is named after and `man` finds.
std::string manPageName(const CommandDescription& command);

/// The command's page for `man`. Of the footer's paragraphs, those that begin with "Example:" or
/// "Examples:", and "Exit codes:", have a section of their own; lines that begin with blanks are
/// kept as they are, others are filled.
///
///   root   the tree that the command is in, whose pages it refers to.
std::string toManPage(const CommandDescription& command, const CommandDescription& root);

/// Writes the pages of the tree into the folder, which is made if need be. Throws ToolError.
void writeManPages(const CommandDescription& root, const std::string& folder);

} // namespace tool
