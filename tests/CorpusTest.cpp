/// What the fuzzers start from: whole, cut anywhere, and damaged.
#include "fuzz/Checks.h"
#include "support/RandomSeed.h"
#include "support/SourceTree.h"

#include <algorithm>

namespace {

struct Fuzzer
{
    const char* name;
    void (*check)(const std::uint8_t* data, size_t size);
};

const Fuzzer kFuzzers[] = {
    {"portable_path", fuzz::checkPortablePath},   {"profile_snapshot", fuzz::checkProfileSnapshot},
    {"pipe_stream", fuzz::checkPipeStream},       {"file_list", fuzz::checkFileList},
    {"monitor_stream", fuzz::checkMonitorStream}, {"console_text", fuzz::checkConsoleText},
    {"console_cache", fuzz::checkConsoleCache},   {"command_line", fuzz::checkCommandLine},
    {"recording", fuzz::checkRecording},
};

class Corpus : public testing::TestWithParam<Fuzzer>
{
};

INSTANTIATE_TEST_SUITE_P(Of, Corpus, testing::ValuesIn(kFuzzers),
                         [](const auto& fuzzer) { return fuzzer.param.name; });

TEST_P(Corpus, IsSurvivedCutAnywhereAndWithAnythingWrong)
{
    std::mt19937 random(support::randomSeed());
    for (std::string input : support::corpus(GetParam().name)) {
        const std::string whole = input;
        const auto check = [&](size_t size) {
            const std::vector<std::uint8_t> exact(input.data(), input.data() + size);
            GetParam().check(exact.data(), size);
        };
        for (size_t size = 0; size <= whole.size(); ++size)
            check(size);
        for (size_t bit = 0; bit < 8 * whole.size(); ++bit) {
            input[bit / 8] = static_cast<char>(input[bit / 8] ^ 1 << bit % 8);
            check(whole.size());
            input = whole;
        }
        for (int round = 0; round < 300; ++round, input = whole) {
            for (int change = 0; change < 3; ++change)
                input[random() % whole.size()] = static_cast<char>(random());
            check(round % 2 != 0 ? random() % whole.size() : whole.size());
        }
    }
}

TEST(KeystrokesCorpus, KeepsTheConsoleInOrder)
{
    std::mt19937 random(support::randomSeed());
    std::vector<std::string> scripts = support::corpus("console_keys");
    for (int count = 0; count < 20; ++count)
        std::generate_n(std::back_inserter(scripts.emplace_back()), 500, [&] {
            return static_cast<char>(random() % 64);
        }); // half of them keys and odd geometry
    for (const std::string& script : scripts)
        fuzz::playConsoleKeys(reinterpret_cast<const std::uint8_t*>(script.data()), script.size());
}

} // namespace
