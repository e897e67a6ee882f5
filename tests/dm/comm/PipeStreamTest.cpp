/// The fuzzer's code over its corpus, and over what can easily be made of that.
#include "fuzz/PipeStream.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

namespace {

std::vector<std::string> corpus()
{
    const auto root = std::filesystem::path(__FILE__).parent_path() / "../../..";
    std::vector<std::string> inputs;
    for (const auto& entry : std::filesystem::directory_iterator(root / "fuzz/corpus/pipe_stream"))
    {
        std::ifstream file(entry.path(), std::ios::binary);
        inputs.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return inputs;
}

std::string account(const std::string& bytes, size_t pieceBytes)
{
    return fuzz::runPipeStream(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(),
                               pieceBytes);
}

} // namespace

TEST(PipeStream, MeansTheSameInWhateverPiecesItArrives)
{
    ASSERT_FALSE(corpus().empty());
    for (const std::string& input : corpus()) {
        const std::string whole = account(input, input.size());
        for (size_t piece = 1; piece < input.size(); piece += piece < 64 ? 1 : 13)
            ASSERT_EQ(account(input, piece), whole) << piece;
    }
}

TEST(PipeStream, SurvivesTruncationAndDamage)
{
    std::mt19937 random(20240607);
    for (const std::string& input : corpus()) {
        for (size_t size = 0; size < input.size(); ++size)
            account(input.substr(0, size), 4096);
        for (int round = 0; round < 300; ++round) {
            std::string damaged = input;
            for (int change = 0; change < 3; ++change)
                damaged[random() % damaged.size()] = static_cast<char>(random());
            ASSERT_EQ(account(damaged, 3), account(damaged, 4096));
        }
    }
}
