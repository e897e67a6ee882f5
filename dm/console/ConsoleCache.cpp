#include "dm/console/ConsoleCache.h"

#include <zul/File.h>
#include <zul/FileStream.h>
#include <zul/FileSystem.h>
#include <zul/FileUtils.h>

#include <algorithm>
#include <random>
#include <string_view>
#include <utility>

namespace dm::console {

namespace {

template <size_t N>
LineStore<N> readStore(zu::FileStream& stream)
{
    int counter = 0;
    unsigned int limit = 0;
    int count = 0;
    stream >> counter >> limit >> count;
    if (count < 0)
        throw zu::StreamException("The console's cache claims less than no lines");

    // One by one, whatever was claimed: a file that is shorter ends the loop. What no store holds
    // is read, because more follows, and dropped.
    zu::Vector<typename LineStore<N>::Line> slots;
    slots.reserve(std::min(static_cast<size_t>(count), size_t{kMaxConsoleLines}));
    typename LineStore<N>::Line line;
    for (int i = 0; i < count; ++i) {
        stream >> line;
        if (slots.size() < kLargestLineStore)
            slots.push_back(line);
    }
    LineStore<N> store(limit);
    store.restore(static_cast<u32>(counter), limit, std::move(slots));
    return store;
}

void writeStore(zu::FileStream& stream, const StoreImage& store)
{
    stream << static_cast<int>(store.counter) << static_cast<unsigned int>(store.limit)
           << static_cast<int>(store.lengths.size());
    zu::InplaceString<384> line;
    const char* text = store.texts.data();
    for (const u32 length : store.lengths) {
        line.assign(text, length);
        stream << line;
        text += length;
    }
}

} // namespace

zu::InplaceString<256> consoleCachePath()
{
    return zu::str("%s%s", zu::File::getFileSysPathForWrite(), "consolecache.bin");
}

bool readConsoleCache(const char* path, TextPane::Store& lines, CommandHistory::Store& commands)
{
    if (!zu::FileUtils::fileExists(path))
        return false;
    zu::File file(path, zu::File::Read);
    zu::FileStream stream(file);
    auto readLines = readStore<384>(stream);
    auto readCommands = readStore<256>(stream);
    file.close();
    lines = std::move(readLines);
    commands = std::move(readCommands);
    return true;
}

void writeConsoleCache(const char* path, const StoreImage& lines, const StoreImage& commands)
{
    // A name of its own for each save: two games may share the folder.
    zu::FileSystem& files = zu::FileSystem::get();
    const auto temporary = zu::str("%s.%08x", path, std::random_device()());
    try {
        zu::File file(temporary.c_str(), zu::File::Write, files);
        zu::FileStream stream(file);
        writeStore(stream, lines);
        writeStore(stream, commands);
        file.close();
        if (!files.moveFile(temporary.c_str(), path, true)) {
            zu::FileException_FileOpenFailed error;
            error.setError("Cannot put the file \"%s\" in its place", path);
            throw error;
        }
    } catch (...) {
        files.deleteFile(temporary.c_str());
        throw;
    }
}

} // namespace dm::console
