#pragma once

#include <string>
#include <string_view>

namespace sandbox {

/// The console's characters are single bytes; files, the clipboard and the keyboard have UTF-8.
/// What Latin-1 does not have becomes '?', and so does a byte that is no UTF-8.
std::string toLatin1(std::string_view utf8);
std::string toUtf8(std::string_view latin1);

} // namespace sandbox
