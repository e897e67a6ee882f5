/// One function a row, each in a file of its own.
#pragma once

#include "bench/Row.h"

namespace bench {

Row roundTripRow();
Row blockingRoundTripRow();
Row manyThreadsRow();
Row mediumResponseRow();
Row largeResponseRow();
Row notificationRow();
Row idleServerRow();
Row idleConnectionsRow();
Row systemCallsRow();
Row smallFanOutRow();
Row largeFanOutRow();
Row hubForwardRow();
Row hubMeshRow();
Row idleHubRow();
Row jobsRow();
Row fileStatRow();
Row smallFilesRow();
Row largeFileInPartsRow();
Row wholeLargeFileRow();
Row largeFileWriteRow();
Row fileServerMemoryRow();
Row fileFindRow();
Row recordedZoneRow();
Row idleZoneRow();
Row profileSnapshotRow();
Row idlePrintRow();
Row printedLinesRow();
Row printTailRow();
Row printMemoryRow();
Row consolePrintRow();
Row consoleWrapRow();
Row consoleFrameRow();
Row consoleNewLineRow();
Row consoleThreadsRow();
Row consoleAllocationsRow();
Row consoleSaveRow();

} // namespace bench
