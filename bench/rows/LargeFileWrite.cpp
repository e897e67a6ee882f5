#include "bench/MeasureFiles.h"
#include "bench/contenders/FileServer.h"
#include "bench/rows/Rows.h"
#include "bench/support/TestFiles.h"

#include <stdexcept>

namespace bench {
namespace {

constexpr size_t kPartBytes = 1 << 20;

std::filesystem::path target() { return TestFiles::get().root() / TestFiles::kWrittenFile; }

/// Each pass makes the file anew; taking it away again is not measured, nor is what the disk does
/// with it later.
template <typename Write>
double megabytesPerSecond(const Settings& settings, Write write)
{
    return perSecond(settings, [&](Stopwatch& watch) {
        watch.inside(write);
        std::vector<char> end(kPartBytes);
        const uint64_t position = TestFiles::kLargeFileBytes - end.size();
        TestFiles::check(position, end, LocalFile(target()).read(position, end.data(), end.size()));
        std::filesystem::remove(target());
        return static_cast<double>(TestFiles::kLargeFileBytes) / 1e6;
    });
}

double write(const Settings& settings)
{
    std::vector<char> content(TestFiles::kLargeFileBytes);
    LocalFile(TestFiles::get().large()).read(0, content.data(), content.size());
    const FileServer server(FileServer::Access::Write);
    Game game(server.port());
    return megabytesPerSecond(settings, [&] {
        GameFile file(game, TestFiles::kWrittenFile, zu::File::Write);
        for (size_t position = 0; position < content.size(); position += kPartBytes)
            if (file.write(content.data() + position, kPartBytes) != kPartBytes)
                throw std::runtime_error("not all was written");
    });
}

double copy(const Settings& settings)
{
    const std::string source = TestFiles::get().large();
    return megabytesPerSecond(settings, [&] {
        // Really copied, also where the disk could do without.
        ChildProcess process({"cp", "--reflink=never", source, target()});
        if (!process.succeeds())
            throw std::runtime_error("cp failed");
    });
}

} // namespace

Row largeFileWriteRow()
{
    Row row;
    row.name = "filewrite1g";
    row.title = "a file of 1 GiB written in parts of 1 MiB";
    row.unit = "MB/s";
    row.contenders = {{"dm-files", write}, {"cp", copy}};
    return row;
}

} // namespace bench
