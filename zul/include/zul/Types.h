/// The integer names that the exported interfaces are written in.
#pragma once

#include <cstddef>

namespace zu {

using u8 = unsigned char;
using u16 = unsigned short;
using u32 = unsigned int;
using u64 = unsigned long long;
using s8 = signed char;
using s16 = short;
using s32 = int;
using s64 = long long;

using uint8 = u8;
using uint32 = u32;

static_assert(sizeof(u16) == 2 && sizeof(u32) == 4 && sizeof(u64) == 8);

} // namespace zu
