#include "dm/console/KeyCodes.h"
#include "fuzz/Checks.h"
#include "tests/support/MemoryFiles.h"
#include "tests/support/RecordingShapes.h"

namespace fuzz {

void checkConsoleCache(const std::uint8_t* data, size_t size)
{
    support::MemoryFiles files;
    std::string& cache = files.contents["./consolecache.bin"];
    cache.assign(data, data + size);
    support::RecordingShapes shapes;
    try {
        dm::ScrollingTextWindow window(&shapes, 0);
        window.setVisibility(true);
        for (const int key : {dm::keys::kUp, dm::keys::kUp, dm::keys::kDown, dm::keys::kDown})
            window.appendInput(key, 0, false, false, false);
        for (const int key : {dm::keys::kHome, dm::keys::kEnd}) {
            window.appendInput(key, 0, false, true, false);
            window.renderVisibleText();
            window.printWithPrefix(true, "new\n");
            window.addToCommandStack("command");
        }
        window.renderVisibleText();
        const auto rows = shapes.rows();
        require(std::find(rows.begin() + 1, rows.end(), ">new") != rows.end());
        window.save();
    } catch (const zu::StreamException&) {
        require(cache.size() == size);
    }
    require(files.contents.size() == 1);
    if (!cache.empty() && cache.size() != size) // what was saved is read again
        dm::ScrollingTextWindow(&shapes, 0);
}

} // namespace fuzz
