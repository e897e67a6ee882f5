#include "dm/fs/FileCommands.h"
#include "dm/fs/ListAnswers.h"
#include "fuzz/Checks.h"

#include <memory>
#include <string_view>

namespace fuzz {

void checkFileList(const std::uint8_t* data, size_t size)
{
    // On the heap and of their own size, so that a sanitizer sees what is read beyond them.
    const std::unique_ptr<char[]> bytes(new char[size]);
    std::string_view(reinterpret_cast<const char*>(data), size).copy(bytes.get(), size);
    const std::string_view list(bytes.get(), size);

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

    const zu::String answer(bytes.get(), size);
    require(dm::readWritten(answer, 4096) <= 4096);
    require(dm::readSize(answer) >> 63 == 0);
    dm::readTime(answer);
    dm::readYes(answer);
}

} // namespace fuzz
