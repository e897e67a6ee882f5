#include "bench/MeasureFiles.h"

#include "bench/support/TestFiles.h"

#include <stdexcept>

namespace bench {

double questionsPerSecond(const FileContender& contender, const Settings& settings)
{
    constexpr size_t kQuestions = 1000;
    const std::vector<std::string>& paths = TestFiles::get().small();
    const auto files = contender.reach();
    size_t next = 0;
    return perSecond(settings, [&](Stopwatch& watch) {
        size_t found = 0;
        watch.inside([&] {
            for (size_t i = 0; i < kQuestions; ++i, next = (next + 1) % paths.size())
                found += files->exists(paths[next]) ? 1 : 0;
        });
        if (found != kQuestions)
            throw std::runtime_error("a file was not found");
        return static_cast<double>(kQuestions);
    });
}

double smallFilesPerSecond(const FileContender& contender, const Settings& settings)
{
    const std::vector<std::string>& paths = TestFiles::get().small();
    const auto files = contender.reach();
    std::vector<char> content(TestFiles::kSmallFileBytes);
    return perSecond(settings, [&](Stopwatch& watch) {
        watch.inside([&] {
            uint64_t position = 0;
            for (const std::string& path : paths) {
                TestFiles::check(position, content, files->read(path, content));
                position += content.size();
            }
        });
        return static_cast<double>(paths.size());
    });
}

double readMegabytesPerSecond(const FileContender& contender, const Settings& settings,
                              size_t partBytes)
{
    TestFiles::get().large();
    const auto file = contender.openLarge();
    std::vector<char> part(partBytes);
    return perSecond(settings, [&](Stopwatch& watch) {
        watch.inside([&] {
            for (uint64_t position = 0; position < TestFiles::kLargeFileBytes;
                 position += partBytes)
                TestFiles::check(position, part, file->read(position, part));
        });
        return static_cast<double>(TestFiles::kLargeFileBytes) / 1e6;
    });
}

} // namespace bench
