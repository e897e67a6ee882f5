#include "tools/sandbox/Picture.h"

#include "tools/sandbox/Sdl.h"

#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STB_IMAGE_WRITE_STATIC
#include <stb_image_write.h>

namespace sandbox {

void writePicture(const std::string& path, const void* pixels, int width, int height)
{
    constexpr int kBytesPerPixel = 4;
    if (stbi_write_png(path.c_str(), width, height, kBytesPerPixel, pixels,
                       width * kBytesPerPixel) == 0)
        throw SdlError("cannot write the picture " + path);
}

} // namespace sandbox
