#include "dm/fs/FileCommands.h"
#include "dm/fs/ListAnswers.h"
#include "fuzz/Checks.h"

namespace fuzz {

void checkFileList(const std::uint8_t* data, size_t size)
{
    const std::string_view list(reinterpret_cast<const char*>(data), size);
    size_t nameBytes = 0;
    const auto files = dm::readFileEntries(list);
    for (const dm::FileEntry& entry : files)
        nameBytes += entry.name.length() + 1;
    const auto paths = dm::readPathEntries(list);
    for (const zu::String& path : paths)
        require(path.length() <= 511);
    const auto folders = dm::readMappedFolders(list);
    require(files.size() == paths.size() && paths.size() == folders.size());
    require(files.size() <= size && files.capacity() <= 2 * size + 1 && nameBytes <= size + 1);

    const zu::String answer(list.data(), size);
    require(dm::readWritten(answer, 4096) <= 4096);
    require(dm::readSize(answer) >> 63 == 0);
    dm::readTime(answer);
    dm::readYes(answer);
}

} // namespace fuzz
