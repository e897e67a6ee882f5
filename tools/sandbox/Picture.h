#pragma once

#include <string>

namespace sandbox {

/// Writes a PNG file. `pixels` are rows of red, green, blue and opacity, a byte each, without gaps.
/// Throws SdlError when the file cannot be written.
void writePicture(const std::string& path, const void* pixels, int width, int height);

} // namespace sandbox
