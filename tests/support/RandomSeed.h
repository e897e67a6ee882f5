/// The seed of a random test: printed, and taken from DM_TEST_SEED to repeat a failure.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

namespace support {

inline unsigned randomSeed()
{
    const char* given = std::getenv("DM_TEST_SEED");
    const unsigned seed = given ? static_cast<unsigned>(std::stoul(given)) : std::random_device{}();
    std::printf("repeat with DM_TEST_SEED=%u\n", seed);
    return seed;
}

} // namespace support
