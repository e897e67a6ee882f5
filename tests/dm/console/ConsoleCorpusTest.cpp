/// What the console's fuzzers start from, and what is left when it is damaged.
#include "fuzz/Console.h"
#include "support/RandomSeed.h"
#include "support/SourceTree.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace {

using Check = void (*)(const std::uint8_t*, size_t);

void checkAll(const char* corpus, Check check, bool isDamaged)
{
    for (std::string input : support::corpus(corpus)) {
        const auto* const bytes = reinterpret_cast<const std::uint8_t*>(input.data());
        check(bytes, input.size());
        for (size_t i = 0; isDamaged && i < input.size(); ++i) {
            check(bytes, i);
            for (const int bit : {1, 2, 4, 8, 16, 32, 64, 128}) {
                input[i] = static_cast<char>(input[i] ^ bit);
                check(bytes, input.size());
                input[i] = static_cast<char>(input[i] ^ bit);
            }
        }
    }
}

TEST(ConsoleCorpus, TextsAreCutColouredAndWrapped)
{
    checkAll("console_text", fuzz::checkConsoleText, true);
}

TEST(ConsoleCorpus, CacheFilesCutAnywhereAndWithAnyBitWrongAreSurvived)
{
    checkAll("console_cache", fuzz::checkConsoleCache, true);
}

TEST(ConsoleCorpus, KeystrokesKeepTheConsoleInOrder)
{
    checkAll("console_keys", fuzz::playConsoleKeys, false);
    std::mt19937 random(support::randomSeed());
    for (int script = 0; script < 20; ++script) {
        std::uint8_t bytes[500]; // half of them keys and odd geometry
        std::generate(std::begin(bytes), std::end(bytes),
                      [&random] { return static_cast<std::uint8_t>(random() % 64); });
        fuzz::playConsoleKeys(bytes, sizeof bytes);
    }
}

} // namespace
