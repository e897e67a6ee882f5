/// The fuzzer's code over its corpus, and over what can easily be made of that.
#include "fuzz/PipeStream.h"

#include "support/SourceTree.h"

#include <random>

namespace {

std::string account(const std::string& bytes, size_t pieceBytes)
{
    return fuzz::runPipeStream(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(),
                               pieceBytes);
}

} // namespace

TEST(PipeStream, MeansTheSameInWhateverPiecesItArrives)
{
    for (const std::string& input : support::corpus("pipe_stream")) {
        const std::string whole = account(input, input.size());
        for (size_t piece = 1; piece < input.size(); piece += piece < 64 ? 1 : 13)
            ASSERT_EQ(account(input, piece), whole) << piece;
    }
}

TEST(PipeStream, SurvivesTruncationAndDamage)
{
    std::mt19937 random(20240607);
    for (const std::string& input : support::corpus("pipe_stream")) {
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
