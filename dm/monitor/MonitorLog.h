/// What has been printed and not yet overwritten: one log for all tools, in bounded memory.
///
/// Whoever prints appends a packet; each tool has a LogReader that follows at its own speed. So
/// printing costs the same for one tool and for a hundred, and a tool that does not read costs
/// nothing: when the log is full, its oldest block goes, whoever has not read it yet.
///
/// Packets lie in blocks, whose published bytes never change. A reader shares the block that it is
/// in the middle of, so it reads without the lock and always gets to that block's end. The memory
/// in use is the limit, one block a reader, which may be one long packet, and the in-place values.
///
/// Threads: any. A reader belongs to one thread.
/// Locks: a leaf, held for a copy of one small packet at a time.
#pragma once

#include "dm/common/LockOrder.h"
#include "dm/monitor/InPlaceValues.h"

#include <zul/WaitSet.h>

#include <atomic>
#include <deque>
#include <memory>
#include <vector>

namespace dm {

class LogReader;

class MonitorLog
{
public:
    MonitorLog() = default;
    MonitorLog(const MonitorLog&) = delete;
    MonitorLog& operator=(const MonitorLog&) = delete;

    /// Begins to keep what is appended, up to limitBytes. What it had is forgotten.
    ///
    ///   sender   woken when much has been appended since the last reader looked.
    void start(u32 limitBytes, std::shared_ptr<net::WaitSet> sender);

    /// Keeps nothing more, and frees what nobody is reading.
    void stop();

    /// Whether there is any point in making a packet. Cheap; append knows for certain.
    bool isKeeping() const { return keeping.load(std::memory_order_acquire); }

    /// Copies the packet to the end of the log, which moves its position. Nothing happens when it
    /// cannot be sent or the log is stopped.
    ///
    ///   placeBytes   of an in-place value, as writeInPlace returned it: its newest value is kept.
    void append(net::Packet& packet, u32 placeBytes = 0);

    /// A reader of everything that is appended from now on.
    LogReader openReader();

private:
    friend class LogReader;

    struct Block
    {
        explicit Block(u32 size);

        // The caller has made sure of the room.
        void write(net::Packet& packet, u32 payloadBytes);

        const std::unique_ptr<zu::u8[]> bytes;
        const u32 capacity;

        // Under lock.
        u32 used = 0;
        u64 number = 0;
        u64 firstEntry = 0;
        u64 firstLine = 0;
    };
    using SharedBlock = std::shared_ptr<Block>; // the log's, and of readers in the middle of it

    Block& roomFor(u32 bytes);
    void addBlock(SharedBlock block);
    void keepInPlace(net::Packet& packet, u32 placeBytes, u64 entry);
    std::shared_ptr<net::WaitSet> dueWakeUp(u32 bytes);

    std::atomic<bool> keeping{false};

    LeafMutex lock;

    // Under lock.
    u32 limit = kDefaultMonitorBacklogBytes;
    std::shared_ptr<net::WaitSet> sender; // whoever still wakes it shares it
    std::deque<SharedBlock> blocks;       // numbered without a gap, oldest first
    u64 totalBytes = 0;                   // capacity of the blocks
    u64 nextNumber = 0;
    u64 entries = 0; // appended so far
    u64 lines = 0;   // of them texts
    u32 unseenBytes = 0;
    bool wakeUpSent = false;
    InPlaceValues inPlaceValues;
};

/// A tool's place in the log: gives it its next packet, and what it must know when packets are
/// gone.
///
/// After a loss come, in this order: a line that says how many lines were lost, if any were; the
/// newest of each in-place value among what was lost; then the oldest packets that are there.
class LogReader
{
public:
    LogReader() = default;

    /// Makes the packet the next one for the tool; false when there is none now. The packet may
    /// borrow its bytes: they are good until the next call.
    bool next(net::Packet& packet);

private:
    friend class MonitorLog;

    bool findMore();
    void skipTo(const MonitorLog::Block& block);
    bool nextKept(net::Packet& packet);
    bool scanKept(net::Packet& packet);
    void takeEntry(net::Packet& packet);

    MonitorLog* log = nullptr;

    // The block being read and its published bytes.
    MonitorLog::SharedBlock block;
    u32 offset = 0;
    u32 published = 0;

    // What comes next in the log.
    u64 nextNumber = 0;
    u64 nextEntry = 0;
    u64 nextLine = 0;

    // What the tool is still to be told after a loss.
    u64 lostLines = 0;
    u64 lostFrom = 0; // the entries lost
    u64 lostUntil = 0;
    u32 keptIndex = 0;
    u32 keptCount = 0; // places that there were at the loss
};

} // namespace dm
