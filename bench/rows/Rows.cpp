#include "bench/rows/Rows.h"

namespace bench {

std::vector<Row> allRows()
{
    return {roundTripRow(),
            blockingRoundTripRow(),
            manyThreadsRow(),
            mediumResponseRow(),
            largeResponseRow(),
            notificationRow(),
            idleServerRow(),
            idleConnectionsRow(),
            systemCallsRow(),
            smallFanOutRow(),
            largeFanOutRow(),
            hubForwardRow(),
            hubMeshRow(),
            idleHubRow(),
            jobsRow(),
            fileStatRow(),
            smallFilesRow(),
            largeFileInPartsRow(),
            wholeLargeFileRow(),
            largeFileWriteRow(),
            fileServerMemoryRow(),
            fileFindRow(),
            recordedZoneRow(),
            idleZoneRow(),
            profileSnapshotRow(),
            idlePrintRow(),
            printedLinesRow(),
            printTailRow(),
            printMemoryRow(),
            consolePrintRow(),
            consoleWrapRow(),
            consoleFrameRow(),
            consoleNewLineRow(),
            consoleThreadsRow(),
            consoleAllocationsRow(),
            consoleSaveRow()};
}

} // namespace bench
