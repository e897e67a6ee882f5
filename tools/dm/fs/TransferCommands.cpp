/// get and put: they copy between this machine and the server.
#include "tools/dm/CommonOptions.h"
#include "tools/dm/Files.h"
#include "tools/dm/Text.h"
#include "tools/dm/fs/CopyPlan.h"
#include "tools/dm/fs/FsCommands.h"

#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <system_error>

namespace tool {

namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;
using Kind = RemoteFiles::Kind;

/// Makes one folder of a copied tree. A link in the way is not followed: what a server calls its
/// folders must not lead out of the target through a link that is there.
void makeLocalFolder(const fs::path& path)
{
    std::error_code error;
    const fs::file_status status = fs::symlink_status(path, error);
    if (fs::is_symlink(status))
        throw FileError("'" + path.string() + "' is a link, which is not followed");
    if (!fs::is_directory(status) && !fs::create_directory(path, error))
        throw FileError("cannot make the folder '" + path.string() + "': " + error.message());
}

/// The same for all on the way: a link above is followed by whoever looks at what is below it.
void makeLocalFolders(fs::path path, const fs::path& below)
{
    for (const fs::path& name : below) {
        path /= name;
        makeLocalFolder(path);
    }
}

void requireNoLinkOrDevice(const fs::path& path)
{
    std::error_code error;
    const fs::file_status status = fs::symlink_status(path, error);
    if (fs::exists(status) && !fs::is_regular_file(status))
        throw FileError("'" + path.string() + "' is there and no file: it is not replaced");
}

/// Copies one file after the other, as the plan says, and tells how it went.
class Transfer
{
public:
    Transfer(const FsTask& fsTask, const TransferOptions& transferOptions)
        : task(fsTask)
        , options(transferOptions)
        , copier(task.files, task.meter, task.problems, options.check)
    {
    }

    void getTree(const fs::path& target)
    {
        std::error_code error;
        if (!fs::is_directory(target, error))
            makeLocalFolder(target);
        const CopyPlan plan = planGet(task.files, options.source, task.problems);
        for (const std::string& below : plan.folders)
            task.problems.attempt([&] { makeLocalFolders(target, below); });
        run(plan, [&](const std::string& below) {
            const fs::path local = target / below;
            makeLocalFolders(target, fs::path(below).parent_path()); // or refuses once more
            requireNoLinkOrDevice(local);
            copier.get(join(options.source, below), local.string());
        });
    }

    void putTree(const std::string& target)
    {
        const CopyPlan plan = planPut(options.source, task.problems);
        makeRemoteFolder(target);
        for (const std::string& below : plan.folders)
            task.problems.attempt([&] { makeRemoteFolder(join(target, below)); });
        run(plan, [&](const std::string& below) {
            copier.put((fs::path(options.source) / below).string(), join(target, below));
        });
    }

    void getFile(const std::string& target)
    {
        run(single(task.files.sizeOf(options.source)),
            [&](const std::string&) { copier.get(options.source, target); });
    }

    void putFile(const std::string& target)
    {
        std::error_code error;
        const auto size = fs::file_size(options.source, error);
        run(single(error ? 0 : size),
            [&](const std::string&) { copier.put(options.source, target); });
    }

    void printSummary() const
    {
        const std::chrono::duration<double> elapsed = Clock::now() - start;
        if (task.format == Format::Json) {
            nlohmann::ordered_json object;
            object["files"] = files;
            object["bytes"] = bytes;
            object["failures"] = task.problems.count();
            object["checked"] = options.check == Copier::Check::Hash ? "hash" : "size";
            object["seconds"] = elapsed.count();
            printJsonLine(object);
        } else if (options.isRecursive) {
            const std::string line = std::to_string(files) + (files == 1 ? " file, " : " files, ") +
                                     describeSize(static_cast<double>(bytes)) + " copied\n";
            writeOutput(line.data(), line.size());
        }
    }

private:
    static CopyPlan single(std::uint64_t size)
    {
        CopyPlan plan;
        plan.files.push_back({"", size});
        plan.bytes = size;
        return plan;
    }

    template <typename Copy>
    void run(const CopyPlan& plan, Copy copy)
    {
        task.meter.begin(plan.files.size(), plan.bytes);
        for (const CopyPlan::File& file : plan.files) {
            task.problems.attempt<ToolError>([&] {
                copy(file.below);
                ++files;
                bytes += file.bytes;
            });
            task.meter.endFile(file.bytes);
        }
    }

    void makeRemoteFolder(const std::string& path)
    {
        if (!task.files.makeFolder(path) && task.files.kindOf(path) != Kind::Folder)
            throw FileError("cannot make the folder '" + path +
                            "' at the server: does the one above it exist, and may it be written?");
    }

    const FsTask& task;
    const TransferOptions& options;
    Copier copier;
    const Clock::time_point start = Clock::now();
    std::uint64_t files = 0;
    std::uint64_t bytes = 0;
};

/// Under which name a copy goes by itself.
std::string nameOf(const std::string& path)
{
    const std::string name(lastName(path));
    if (!isPlainName(name))
        throw FileError("'" + path + "' ends in no name: say where the copy is to go");
    return name;
}

void requireRecursion(const TransferOptions& options)
{
    if (!options.isRecursive)
        throw FileError("'" + options.source + "' is a folder: copy it with -r");
}

} // namespace

void getPath(const FsTask& task, const TransferOptions& options)
{
    task.files.check(options.source);
    const Kind kind = task.files.kindOf(options.source);
    if (kind == Kind::Missing)
        throw FileError("'" + options.source + "' does not exist");
    Transfer transfer(task, options);
    std::string target = options.target.empty() ? nameOf(options.source) : options.target;
    if (kind == Kind::Folder) {
        requireRecursion(options);
        transfer.getTree(target);
    } else {
        std::error_code error;
        if (fs::is_directory(target, error))
            target = (fs::path(target) / nameOf(options.source)).string();
        transfer.getFile(target);
    }
    transfer.printSummary();
}

void putPath(const FsTask& task, const TransferOptions& options)
{
    task.files.check(options.target);
    std::error_code error;
    Transfer transfer(task, options);
    if (fs::is_directory(options.source, error)) {
        requireRecursion(options);
        transfer.putTree(options.target);
    } else {
        std::string target = options.target;
        if (task.files.kindOf(target) == Kind::Folder)
            target = join(target, nameOf(options.source));
        else
            requireNameAtEnd(target);
        task.files.check(target);
        transfer.putFile(target);
    }
    transfer.printSummary();
}

} // namespace tool
