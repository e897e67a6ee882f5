#include "bench/MeasureFiles.h"
#include "bench/rows/Rows.h"
#include "bench/support/TestFiles.h"

namespace bench {
namespace {

Row readingRow(size_t partBytes)
{
    Row row;
    row.unit = "MB/s";
    for (const FileContender& contender : {dmFiles(), rawTcpFile(), nginxFiles()})
        row.contenders.push_back({contender.name, [contender, partBytes](const Settings& settings) {
                                      return readMegabytesPerSecond(contender, settings, partBytes);
                                  }});
    return row;
}

} // namespace

Row largeFileInPartsRow()
{
    Row row = readingRow(1 << 20);
    row.name = "fileread1g";
    row.title = "a file of 1 GiB read in parts of 1 MiB";
    row.thresholds = {{"tcp", 0.7}, {"nginx", 1.0}};
    return row;
}

Row wholeLargeFileRow()
{
    Row row = readingRow(TestFiles::kLargeFileBytes);
    row.name = "fileread1g-whole";
    row.title = "a file of 1 GiB read at once";
    row.thresholds = {{"tcp", 0.6}};
    return row;
}

} // namespace bench
