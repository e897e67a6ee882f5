#include "dm/monitor/MonitorLog.h"

#include "dm/monitor/MonitorPackets.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace dm {

namespace {

constexpr u32 kBlockBytes = 64 * 1024;

// A longer packet gets a block of its own, filled before the lock is taken.
constexpr u32 kLargePayloadBytes = 8 * 1024;

// Places looked at under the lock in one go.
constexpr u32 kKeptPerScan = 64;

// In front of each payload.
struct EntryHead
{
    u32 payloadBytes;
    int id;
};

bool isText(int id) { return id == static_cast<int>(MonitorPacketId::Text); }

} // namespace

MonitorLog::Block::Block(u32 size)
    : bytes(std::make_unique_for_overwrite<zu::u8[]>(size))
    , capacity(size)
{
}

void MonitorLog::Block::write(net::Packet& packet, u32 payloadBytes)
{
    const EntryHead head{payloadBytes, packet.getID()};
    std::memcpy(bytes.get() + used, &head, sizeof head);
    packet.setPos(0);
    packet.read(bytes.get() + used + sizeof head, payloadBytes);
    used += static_cast<u32>(sizeof head) + payloadBytes;
}

void MonitorLog::start(u32 limitBytes, std::shared_ptr<net::WaitSet> newSender)
{
    stop();
    const std::lock_guard guard(lock);
    limit = limitBytes;
    sender = std::move(newSender);
    keeping.store(true, std::memory_order_release);
}

void MonitorLog::stop()
{
    const std::lock_guard guard(lock);
    keeping.store(false, std::memory_order_release);
    sender.reset();
    blocks.clear();
    totalBytes = 0;
    unseenBytes = 0;
    wakeUpSent = false;
    inPlaceValues.clear();
}

void MonitorLog::append(net::Packet& packet, u32 placeBytes)
{
    const u32 payloadBytes = packet.getSize();
    if (!packet.good() || payloadBytes > net::kMaxPayloadBytes || !isKeeping())
        return;
    const u32 bytes = static_cast<u32>(sizeof(EntryHead)) + payloadBytes;
    SharedBlock ownBlock;
    if (payloadBytes > kLargePayloadBytes) {
        ownBlock = std::make_shared<Block>(bytes);
        ownBlock->write(packet, payloadBytes);
    }
    std::shared_ptr<net::WaitSet> toWake;
    {
        const std::lock_guard guard(lock);
        if (!isKeeping())
            return;
        if (ownBlock)
            addBlock(std::move(ownBlock));
        else
            roomFor(bytes).write(packet, payloadBytes);
        const u64 entry = entries++;
        lines += isText(packet.getID()) ? 1 : 0;
        if (placeBytes > 0)
            keepInPlace(packet, placeBytes, entry);
        toWake = dueWakeUp(bytes);
    }
    if (toWake)
        toWake->wake();
}

MonitorLog::Block& MonitorLog::roomFor(u32 bytes)
{
    if (blocks.empty() || blocks.back()->capacity - blocks.back()->used < bytes)
        addBlock(std::make_shared<Block>(kBlockBytes));
    return *blocks.back();
}

void MonitorLog::addBlock(SharedBlock block)
{
    // The oldest goes, and stays with the readers that are in the middle of it.
    for (; totalBytes + block->capacity > limit; blocks.pop_front())
        totalBytes -= blocks.front()->capacity;
    block->number = nextNumber;
    block->firstEntry = entries;
    block->firstLine = lines;
    const u32 capacity = block->capacity;
    blocks.push_back(std::move(block));
    totalBytes += capacity;
    ++nextNumber;
}

void MonitorLog::keepInPlace(net::Packet& packet, u32 placeBytes, u64 entry)
{
    const u32 bytes = packet.getSize();
    packet.setPos(0);
    if (const auto* payload = reinterpret_cast<const char*>(packet.view(bytes)))
        inPlaceValues.keep({payload, placeBytes}, {payload + placeBytes, bytes - placeBytes},
                           entry);
}

// A sender that does not sleep looks by itself every few milliseconds. It is woken only when it
// might otherwise come too late, which no packet of a usual game does.
std::shared_ptr<net::WaitSet> MonitorLog::dueWakeUp(u32 bytes)
{
    unseenBytes += bytes;
    if (wakeUpSent || unseenBytes < limit / 8)
        return nullptr;
    wakeUpSent = true;
    return sender;
}

LogReader MonitorLog::openReader()
{
    const std::lock_guard guard(lock);
    LogReader reader;
    reader.log = this;
    reader.nextNumber = nextNumber;
    reader.nextEntry = entries;
    reader.nextLine = lines;
    if (!blocks.empty()) {
        reader.block = blocks.back();
        reader.offset = reader.published = reader.block->used;
    }
    return reader;
}

bool LogReader::next(net::Packet& packet)
{
    if (offset == published && lostLines == 0 && keptCount == 0 && !findMore())
        return false;
    if (lostLines > 0) {
        writeLostLines(packet, std::exchange(lostLines, 0));
        return true;
    }
    if (!nextKept(packet))
        takeEntry(packet);
    return true;
}

// Goes on in the block, if it has grown, or to the next one that the log still has.
bool LogReader::findMore()
{
    const std::lock_guard guard(log->lock);
    log->unseenBytes = 0;
    log->wakeUpSent = false;
    if (block && block->used > published) {
        published = block->used;
        return true;
    }
    if (log->blocks.empty() || log->blocks.back()->number < nextNumber)
        return false;
    const u64 oldest = log->blocks.front()->number;
    MonitorLog::SharedBlock found = log->blocks[nextNumber > oldest ? nextNumber - oldest : 0];
    if (found->number != nextNumber)
        skipTo(*found);
    block = std::move(found);
    nextNumber = block->number + 1;
    offset = 0;
    published = block->used;
    return true;
}

// Under the log's lock.
void LogReader::skipTo(const MonitorLog::Block& oldest)
{
    lostLines = oldest.firstLine - nextLine;
    lostFrom = nextEntry;
    lostUntil = oldest.firstEntry;
    keptCount = log->inPlaceValues.size();
    keptIndex = 0;
    nextEntry = oldest.firstEntry;
    nextLine = oldest.firstLine;
}

bool LogReader::nextKept(net::Packet& packet)
{
    while (keptCount > 0) {
        if (scanKept(packet))
            return true;
    }
    return false;
}

// What has been set again since comes with the entries that are still there.
bool LogReader::scanKept(net::Packet& packet)
{
    const std::lock_guard guard(log->lock);
    const u32 count = std::min(keptCount, log->inPlaceValues.size());
    const u32 end = std::min(count, keptIndex + kKeptPerScan);
    for (; keptIndex < end; ++keptIndex) {
        const auto& [place, value] = log->inPlaceValues[keptIndex];
        if (value.entry < lostFrom || value.entry >= lostUntil)
            continue;
        ++keptIndex;
        packet.reset(static_cast<int>(MonitorPacketId::InPlace));
        packet.write(place.data(), static_cast<u32>(place.size()));
        packet.write(value.text.data(), static_cast<u32>(value.text.size()));
        return true;
    }
    if (keptIndex >= count)
        keptCount = 0;
    return false;
}

void LogReader::takeEntry(net::Packet& packet)
{
    EntryHead head;
    std::memcpy(&head, block->bytes.get() + offset, sizeof head);
    const zu::u8* payload = block->bytes.get() + offset + sizeof head;
    offset += static_cast<u32>(sizeof head) + head.payloadBytes;
    ++nextEntry;
    nextLine += isText(head.id) ? 1 : 0;

    packet.reset(head.id);
    if (head.payloadBytes <= net::kNominalPayloadBytes) {
        packet.lend(payload, head.payloadBytes);
        return;
    }
    for (u32 written = 0; written < head.payloadBytes;)
        written += packet.write(payload + written, head.payloadBytes - written);
}

} // namespace dm
