/// The command line of `dm fs`; what its sub-commands do is in fs/.
#include "tools/dm/Commands.h"
#include "tools/dm/CommonOptions.h"
#include "tools/dm/fs/FsCommands.h"
#include "tools/dm/fs/NoLocalFiles.h"

#include <dm/fs.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tool {

namespace {

struct FsOptions
{
    SessionOptions session;
    Format format = Format::Text;
    ProgressLine::Mode progress = ProgressLine::Mode::Automatic;

    // Of the sub-command that was chosen.
    std::function<void(const FsTask&)> work;
    ListOptions list;
    TransferOptions transfer;
    std::vector<std::string> paths;
    std::string pattern;
    bool isRecursive = false;
    bool withParents = false;
    bool isHashed = false;
};

/// The folders with the paths at their ends, which NetworkFileSystem keeps to itself.
std::vector<MappedFolder> askForFolders(ClientSession& session)
{
    std::vector<char> list(dm::NetworkFileSystem::kMaxListBytes);
    dm::uint32 size = 0;
    session.run([&](dm::CommunicationPipe& pipe) {
        pipe.sendRequest("getMappedFolders", 0, list.data(), static_cast<dm::uint32>(list.size()),
                         &size, nullptr, 0);
    });
    return readMappedFolders({list.data(), std::min<std::size_t>(size, list.size())});
}

ExitCode run(const FsOptions& options)
{
    CopyMeter meter(options.progress);
    Problems problems(meter);
    ClientSession session(options.session, &meter);
    NoLocalFiles noFiles;
    dm::NetworkFileSystem network(noFiles);
    RemoteFiles files(session, network, askForFolders(session), problems);
    const FsTask task{files, problems, meter, options.format};
    session.runSeries([&] { problems.attempt([&] { options.work(task); }); });
    return problems.count() == 0 ? ExitCode::Ok : ExitCode::File;
}

/// Adds one sub-command, with the options that all have.
class SubCommands
{
public:
    SubCommands(CLI::App& fsCommand, std::shared_ptr<FsOptions> fsOptions, Action& chosenAction)
        : fs(fsCommand)
        , options(std::move(fsOptions))
        , action(chosenAction)
    {
    }

    CLI::App& add(const char* name, const char* purpose, const std::string& footer,
                  std::function<void(const FsTask&)> work)
    {
        CLI::App* const command = fs.add_subcommand(name, purpose);
        addTimeoutOption(*command, options->session);
        command->footer(footer + "\n" + kExitCodeHelp);
        command->callback([work = std::move(work), shared = options, &target = action] {
            shared->work = work;
            target = [shared] { return run(*shared); };
        });
        return *command;
    }

private:
    CLI::App& fs;
    const std::shared_ptr<FsOptions> options;
    Action& action;
};

void addLooking(SubCommands& commands, FsOptions& options)
{
    addFormatOption(commands.add("folders", "Lists the server's folders, with where they are.",
                                 "Example: dm fs 127.0.0.1:3510 folders\n",
                                 [](const FsTask& task) { printFolders(task); }),
                    options.format);

    CLI::App& list =
        commands.add("ls", "Lists a folder.", "Example: dm fs 127.0.0.1:3510 ls -lR data/levels\n",
                     [&](const FsTask& task) { printList(task, options.list); });
    list.add_option("PATH", options.list.path, "A folder or file; none: the server's folders");
    list.add_flag("-l", options.list.isLong, "Shows sizes and times (UTC) too");
    list.add_flag("-R", options.list.isRecursive, "Shows what is in the folders below too");
    addFormatOption(list, options.format);

    CLI::App& stat = commands.add("stat", "Tells about files and folders.",
                                  "Example: dm fs 127.0.0.1:3510 stat data/levels/one.map\n",
                                  [&](const FsTask& task) { printInfo(task, options.paths); });
    stat.add_option("PATH", options.paths, "Files and folders")->required();
    addFormatOption(stat, options.format);

    commands
        .add("cat", "Writes files to standard output.",
             "On a terminal, control characters are spelled out.\n\n"
             "Example: dm fs 127.0.0.1:3510 cat data/readme.txt\n",
             [&](const FsTask& task) { printContent(task, options.paths); })
        .add_option("PATH", options.paths, "Files")
        ->required();

    CLI::App& find = commands.add(
        "find", "Finds files by name below a folder, however deep.",
        "* stands for any characters, ? for one; letter case does not count. One answer holds\n"
        "640 KiB of paths: a warning tells when there may be more.\n\n"
        "Example: dm fs 127.0.0.1:3510 find 'data/levels/*.map'\n",
        [&](const FsTask& task) { printFound(task, options.pattern); });
    find.add_option("PATTERN", options.pattern, "FOLDER/WILDCARD, in quotes for the shell")
        ->required();
    addFormatOption(find, options.format);
}

void addChanging(SubCommands& commands, FsOptions& options)
{
    CLI::App& remove = commands.add(
        "rm", "Deletes files.",
        "A mapped folder itself stays.\n\n"
        "Example: dm fs 127.0.0.1:3510 rm -r data/levels/old\n",
        [&](const FsTask& task) { removePaths(task, options.paths, options.isRecursive); });
    remove.add_option("PATH", options.paths, "Files; with -r folders too")->required();
    remove.add_flag("-r", options.isRecursive, "Deletes folders with all that is in them");

    const auto addPair = [&](CLI::App& command, const char* targetHelp) {
        command.add_option("FROM", options.transfer.source, "What there is")->required();
        command.add_option("TO", options.transfer.target, targetHelp)->required();
    };
    addPair(commands.add("mv", "Moves or renames a file or folder at the server.",
                         "Example: dm fs 127.0.0.1:3510 mv data/a.map data/levels/b.map\n",
                         [&](const FsTask& task) {
                             movePath(task, options.transfer.source, options.transfer.target);
                         }),
            "Its new path, or the folder to move it into; a file there is replaced");
    addPair(
        commands.add("cp", "Copies a file at the server.",
                     "No byte moves here meanwhile: for large files give a longer --timeout.\n\n"
                     "Example: dm fs 127.0.0.1:3510 cp data/a.map data/b.map\n",
                     [&](const FsTask& task) {
                         copyPath(task, options.transfer.source, options.transfer.target);
                     }),
        "The copy's path, or the folder to copy it into; a file there is replaced");

    CLI::App& make = commands.add(
        "mkdir", "Makes folders. One that is there already is no mistake.",
        "Example: dm fs 127.0.0.1:3510 mkdir -p data/levels/new/night\n",
        [&](const FsTask& task) { makeFolders(task, options.paths, options.withParents); });
    make.add_option("PATH", options.paths, "The folders")->required();
    make.add_flag("-p", options.withParents, "Makes the folders above it too");
}

void addTransfer(CLI::App& command, FsOptions& options)
{
    command.add_flag("-r", options.isRecursive, "Copies a folder with all that is in it");
    command.add_flag("--check", options.isHashed,
                     "Reads the copy back and compares its SHA-256 with the source's, besides\n"
                     "the size");
    addFormatOption(command, options.format);
    addProgressOption(command, options.progress);
}

TransferOptions transferOf(const FsOptions& options)
{
    TransferOptions transfer = options.transfer;
    transfer.isRecursive = options.isRecursive;
    transfer.check = options.isHashed ? Copier::Check::Hash : Copier::Check::Size;
    return transfer;
}

constexpr const char* kTransferHelp =
    "A file appears whole or what was there stays, also when the copy is interrupted. What\n"
    "cannot be copied is told, and the rest goes on. With -r the target becomes the copy: what\n"
    "is in the one folder comes into the other, which is made if need be. Files of 2 GiB and\n"
    "more are refused: the protocol carries positions up to 2 GiB.\n";

void addTransfers(SubCommands& commands, FsOptions& options)
{
    CLI::App& get =
        commands.add("get", "Copies a file or folder from the server to this machine.",
                     std::string(kTransferHelp) +
                         "\nExamples:\n"
                         "  dm fs 127.0.0.1:3510 get data/levels/one.map\n"
                         "  dm fs 127.0.0.1:3510 get -r --check data/levels backup/levels\n",
                     [&](const FsTask& task) { getPath(task, transferOf(options)); });
    get.add_option("REMOTE", options.transfer.source, "A file; with -r a folder too")->required();
    get.add_option("LOCAL", options.transfer.target,
                   "The copy, or for a file the folder it comes into; none: of the same\n"
                   "name, here");
    addTransfer(get, options);

    CLI::App& put =
        commands.add("put", "Copies a file or folder from this machine to the server.",
                     std::string(kTransferHelp) +
                         "Links to files in the folder are copied as files, others are left out.\n"
                         "\nExamples:\n"
                         "  dm fs 127.0.0.1:3510 put one.map data/levels\n"
                         "  dm fs 127.0.0.1:3510 put -r levels data/levels\n",
                     [&](const FsTask& task) { putPath(task, transferOf(options)); });
    put.add_option("LOCAL", options.transfer.source, "A file; with -r a folder too")->required();
    put.add_option("REMOTE", options.transfer.target,
                   "The copy, or for a file the folder it comes into")
        ->required();
    addTransfer(put, options);
}

} // namespace

void addFsCommand(CLI::App& app, Action& action)
{
    auto options = std::make_shared<FsOptions>();
    options->session.pipeName = dm::NetworkFileSystem::kPipeName;
    options->session.progress = ProgressLine::Mode::Never;
    options->session.sendsOn = true;
    CLI::App* const command =
        app.add_subcommand("fs", "Looks at, copies and changes the files of a file server.");
    addAddress(*command, options->session);
    command->require_subcommand(1);
    command->footer("PATHs begin with one of the server's folders, as in data/levels/one.map;\n"
                    "`folders` lists them. `dm fs SUBCOMMAND --help` has examples.\n\n"
                    "Example: dm fs 127.0.0.1:3510 ls data/levels\n\n" +
                    std::string(kExitCodeHelp));
    SubCommands commands(*command, options, action);
    addLooking(commands, *options);
    addChanging(commands, *options);
    addTransfers(commands, *options);
}

} // namespace tool
