#include "fuzz/Checks.h"
#include "tools/fileserver/CommandRunner.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>

namespace fuzz {

namespace {

using namespace fileserver;
namespace fs = std::filesystem;

constexpr std::string_view kSecret = "CANARY";

void make(const fs::path& path, std::string_view content)
{
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

// Nothing but the one file with this content.
bool holds(const fs::path& folder, const char* name, std::string_view content)
{
    std::ifstream file(folder / name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {}) == content &&
           std::distance(fs::directory_iterator(folder), {}) == 1;
}

// A folder for games with links that lead out of it to the canary, all of it gone at the end.
class Tree
{
public:
    Tree()
    {
        std::random_device random;
        root = fs::temp_directory_path() / ("dm-fuzz-" + std::to_string(random()));
        make(root / "out/canary", kSecret);
        make(root / "stock/c", "public");
        maps.reset(new FolderMaps({zu::ConfinedFolder::Links::FollowBeneath}));
        makeData();
        std::string error;
        require(maps->add({"data", (root / "data").string(), true}, error) &&
                    maps->add({"stock", (root / "stock").string(), false}, error),
                error.c_str(), "");
        runner.reset(new CommandRunner(*maps, {.hidesHostPaths = true}));
    }
    ~Tree()
    {
        std::error_code ignored;
        fs::remove_all(root, ignored);
    }
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

    void makeData()
    {
        fs::remove_all(root / "data");
        make(root / "data/a/b", "public");
        make(root / "data/c", "public");
        fs::create_symlink("..", root / "data/up");
        fs::create_symlink(root / "out/canary", root / "data/out");
        fs::create_symlink("a", root / "data/l");
    }

    bool isUntouched() const
    {
        return holds(root / "out", "canary", kSecret) && holds(root / "stock", "c", "public") &&
               std::distance(fs::directory_iterator(root), {}) == 3;
    }

    fs::path root;
    std::unique_ptr<FolderMaps> maps;
    std::unique_ptr<CommandRunner> runner;
};

// As a game prints it.
std::string print(const CommandSyntax& command, const ParsedCommand& parsed)
{
    std::string line(command.name);
    const auto append = [&line](std::string_view text) {
        line.append(" \"").append(text).append("\"");
    };
    if (command.arguments == Arguments::RangeAndPath)
        line += ' ' + std::to_string(parsed.position) + ' ' + std::to_string(parsed.count);
    if (command.arguments != Arguments::None)
        append(parsed.path);
    if (command.arguments == Arguments::TwoPaths)
        append(parsed.secondPath);
    if (command.arguments == Arguments::Search) {
        append(parsed.filter);
        line += parsed.isRecursive ? " 1" : " 0";
    }
    return line;
}

void checkText(const CommandSyntax* command, const CommandReport& report, const Answer& answer,
               std::string_view line)
{
    const AnswerKind kind = command != nullptr ? command->answer : AnswerKind::YesNo;
    const bool hasData = kind == AnswerKind::Data || kind == AnswerKind::List;
    const std::string& text = answer.text;
    if (hasData || kind == AnswerKind::YesNo)
        require(text == (report.succeeded ? "true" : "false"), "neither yes nor no", line);
    else
        require(text.find_first_not_of("0123456789- ") == text.npos, "no number", line);
    require(hasData || answer.data.empty(), "data nobody asked for", line);
}

void checkAnswer(const Tree& tree, const Answer& answer, std::string_view line)
{
    std::string told(answer.data.begin(), answer.data.end());
    if (answer.content) {
        char bytes[4096];
        const dm::uint32 count = std::min<dm::uint32>(answer.content->size, sizeof bytes);
        require(answer.content->read(0, bytes, count), "no content", line);
        told.append(bytes, count);
    }
    require(told.find(kSecret) == told.npos && told.find("canary") == told.npos, "told", line);
    require(told.find(tree.root.filename().string()) == told.npos, "a path of ours", line);
}

} // namespace

void checkCommandLine(const std::uint8_t* data, size_t size)
{
    static Tree s_tree;
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const size_t end = std::min(input.find('\n'), size);
    const std::string_view line = input.substr(0, end);
    const std::string_view bytes = input.substr(std::min(end + 1, size));

    CommandReport report;
    const Answer answer = s_tree.runner->run(line, bytes.data(), bytes.size(), {}, report);
    const CommandSyntax* const command = findCommand(line);
    ParsedCommand parsed;
    const char* error = nullptr;
    if (command != nullptr && parse(*command, line, parsed, error))
        require(print(*command, parsed) == line, "read as something else", line);
    else
        require(!report.succeeded && !report.warning.empty(), "taken for a command", line);
    checkText(command, report, answer, line);
    checkAnswer(s_tree, answer, line);
    require(s_tree.isUntouched(), "touched", line);
    if (report.succeeded && command->access == Access::Write)
        s_tree.makeData();
}

} // namespace fuzz
