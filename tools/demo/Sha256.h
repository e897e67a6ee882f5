#pragma once

#include <cstddef>
#include <string>

namespace demo {

/// The SHA-256 of the bytes in lower-case hexadecimal digits, as sha256sum prints it.
std::string sha256(const void* data, std::size_t size);

} // namespace demo
