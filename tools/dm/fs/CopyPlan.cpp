#include "tools/dm/fs/CopyPlan.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace tool {

namespace fs = std::filesystem;

void requireSendableSize(const std::string& path, std::uint64_t bytes)
{
    if (bytes > RemoteFiles::kMaxFileBytes)
        throw FileError("'" + path + "' is too large: the protocol carries positions up to 2 GiB");
}

void CopyPlan::add(const std::string& below, std::uint64_t fileBytes, Problems& problems)
{
    problems.attempt([&] {
        requireSendableSize(below, fileBytes);
        files.push_back({below, fileBytes});
        bytes += fileBytes;
    });
}

CopyPlan planGet(RemoteFiles& files, const std::string& root, Problems& problems)
{
    CopyPlan plan;
    walk(files, root, problems, [&](const std::string& below, const RemoteFiles::Entry& entry) {
        if (entry.isFolder)
            plan.folders.push_back(below);
        else
            plan.add(below, entry.size, problems);
    });
    return plan;
}

namespace {

/// Whether the link ends at a file inside the folder.
bool leadsToFileInside(const fs::path& link, const fs::path& root)
{
    std::error_code error;
    const fs::path target = fs::canonical(link, error);
    if (error || !fs::is_regular_file(target, error))
        return false;
    const fs::path whole = fs::canonical(root, error);
    return std::mismatch(whole.begin(), whole.end(), target.begin(), target.end()).first ==
           whole.end();
}

class PutPlanner
{
public:
    PutPlanner(const fs::path& rootFolder, Problems& sharedProblems)
        : root(rootFolder)
        , problems(sharedProblems)
    {
    }

    CopyPlan make()
    {
        addFolder("", 0);
        return std::move(plan);
    }

private:
    void addFolder(const std::string& below, unsigned depth)
    {
        std::error_code error;
        std::vector<fs::directory_entry> entries;
        for (fs::directory_iterator at(root / below, error), end; !error && at != end;
             at.increment(error))
            entries.push_back(*at);
        if (error)
            problems.fail("cannot read '" + (root / below).string() + "': " + error.message());
        std::sort(entries.begin(), entries.end());
        for (const fs::directory_entry& entry : entries)
            addEntry(entry, below, depth);
    }

    void addEntry(const fs::directory_entry& entry, const std::string& folder, unsigned depth)
    {
        const std::string name = entry.path().filename().string();
        const std::string below = join(folder, name);
        const std::string shown = entry.path().string();
        std::error_code error;
        if (!isPlainName(name) || !whyNotSendable(name).empty())
            problems.fail("'" + shown + "' is left out: a file server cannot be told its name");
        else if (entry.is_symlink(error) && !leadsToFileInside(entry.path(), root))
            problems.note("'" + shown + "' is left out: it is a link to no file in the folder");
        else if (entry.is_directory(error) && depth + 1 < zu::FileSystem::kMaxFolderDepth) {
            plan.folders.push_back(below);
            addFolder(below, depth + 1);
        } else if (entry.is_directory(error))
            problems.fail("'" + shown + "' is too deep: what is in it is left out");
        else if (entry.is_regular_file(error))
            plan.add(below, entry.file_size(error), problems);
        else
            problems.note("'" + shown + "' is left out: it is neither file nor folder");
    }

    const fs::path root;
    Problems& problems;
    CopyPlan plan;
};

} // namespace

CopyPlan planPut(const fs::path& root, Problems& problems)
{
    return PutPlanner(root, problems).make();
}

} // namespace tool
