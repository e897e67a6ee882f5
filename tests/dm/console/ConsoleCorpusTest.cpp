/// What the console's fuzzers start from, and what is left when it is damaged.
#include "fuzz/ConsoleCache.h"
#include "fuzz/ConsoleKeys.h"
#include "fuzz/ConsoleText.h"
#include "support/SourceTree.h"

#include <gtest/gtest.h>

namespace {

using Check = void (*)(const std::uint8_t*, size_t);

void checkAll(const char* corpus, Check check)
{
    for (std::string input : support::corpus(corpus)) {
        const auto* const bytes = reinterpret_cast<const std::uint8_t*>(input.data());
        for (size_t size = 0; size <= input.size(); ++size)
            check(bytes, size);
        for (char& byte : input)
            for (int bit = 0; bit < 8; ++bit) {
                byte = static_cast<char>(byte ^ (1 << bit));
                check(bytes, input.size());
                byte = static_cast<char>(byte ^ (1 << bit));
            }
    }
}

TEST(ConsoleCorpus, TextsAreCutColouredAndWrapped)
{
    checkAll("console_text", fuzz::checkConsoleText);
}

TEST(ConsoleCorpus, CacheFilesCutAnywhereAndWithAnyBitWrongAreSurvived)
{
    checkAll("console_cache", fuzz::checkConsoleCache);
}

TEST(ConsoleCorpus, KeystrokesKeepTheConsoleInOrder)
{
    for (const std::string& input : support::corpus("console_keys"))
        fuzz::playConsoleKeys(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
}

} // namespace
