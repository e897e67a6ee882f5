/// The file that keeps printed lines and commands from run to run.
///
/// For the lines, then for the commands: counter (int), limit (unsigned int), how many follow
/// (int), the texts in the order of their slots; as zu::FileStream writes them.
///
/// What a file says is not repaired, and not trusted either: see LineStore.
#pragma once

#include "dm/console/CommandHistory.h"
#include "dm/console/TextPane.h"

#include <zul/InplaceString.h>
#include <zul/String.h>
#include <zul/Vector.h>

namespace dm::console {

/// What the file keeps of a store: taken in microseconds, so that a lock need not be held while
/// the file is written. Keeps its memory.
struct StoreImage
{
    template <size_t N>
    void take(const LineStore<N>& store)
    {
        counter = store.getCounter();
        limit = store.getLimit();
        lengths.clear();
        texts.clear();
        for (const auto& line : store.getSlots()) {
            lengths.push_back(static_cast<u32>(line.length()));
            texts.append(line);
        }
    }

    u32 counter = 0;
    u32 limit = 0;
    zu::Vector<u32> lengths;
    zu::String texts; ///< one behind the other
};

/// In the folder that the host has set for writing.
zu::InplaceString<256> consoleCachePath();

/// False, both stores untouched, when there is no file.
///
/// Errors: zu::StreamException when it ends too early or claims what cannot be,
/// zu::FileException_FileOpenFailed when it cannot be opened; both stores are untouched then.
bool readConsoleCache(const char* path, TextPane::Store& lines, CommandHistory::Store& commands);

/// Writes beside the old file and puts the new one in its place at the end, so that whatever fails,
/// or if the program ends on the way, the old one stays. It is not brought to the disk at once,
/// which takes longer than a frame.
///
/// Errors: zu::FileException_FileOpenFailed when the file cannot be made or put in its place,
/// zu::FileException when it cannot be written; nothing is left behind.
void writeConsoleCache(const char* path, const StoreImage& lines, const StoreImage& commands);

} // namespace dm::console
