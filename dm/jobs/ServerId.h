#pragma once

#include <dm/comm.h>

namespace dm {

/// What an endpoint that listens presents as its id: all bits set.
inline constexpr uint32 kServerId = 0xFFFFFFFF;

} // namespace dm
