#include "tools/ToolFixture.h"

#include <algorithm>
#include <regex>
#include <set>

namespace {

using Names = std::set<std::string>;

/// --help is what people see; the manual pages and completions must say the same.
class Documents : public ToolFixture
{
protected:
    static std::string run(Words words, const std::string& flag)
    {
        if (words.size() > 1) // a word stands between the commands
            words.insert(words.begin() + 1, "localhost:1");
        return dm(words + Words{flag}).output;
    }

    static std::string help(const Words& words) { return run(words, "--help"); }

    /// Of all commands, the words that choose them.
    static std::vector<Words> allCommands(const Words& words = {})
    {
        std::vector<Words> commands{words};
        const std::string text = help(words);
        const size_t list = text.find("\nSubcommands:\n");
        if (list == std::string::npos)
            return commands;
        std::istringstream lines(text.substr(list + 14));
        for (std::string line; std::getline(lines, line) && line.starts_with("  ");) {
            const std::string name = line.substr(2, line.find(' ', 2) - 2);
            for (const Words& below : allCommands(words + Words{name}))
                commands.push_back(below);
        }
        return commands;
    }

    static std::string join(const Words& words, const std::string& between)
    {
        std::string text = "dm";
        for (const std::string& word : words)
            text += between + word;
        return text;
    }

    /// What the expression's first group is in the text.
    static Names find(const std::string& text, const std::string& expression)
    {
        const std::regex regex(expression, std::regex::ECMAScript | std::regex::multiline);
        Names names;
        for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end;
             ++match)
            names.insert((*match)[1]);
        return names;
    }

    static std::string between(const std::string& text, const std::string& begin,
                               const std::string& end)
    {
        const size_t at = text.find(begin);
        return at == std::string::npos ? "" : text.substr(at, text.find(end, at) - at);
    }

    static Names helpOptions(const Words& words)
    {
        std::string entries;
        for (const std::string& entry : find(help(words), "^ +(-[^ ]+)"))
            entries += " " + entry;
        return find(entries, "[ ,](-[^ ,]+)");
    }

    static Names manOptions(const Words& words)
    {
        const std::string page = std::regex_replace(dm(Words{"man"} + words).output,
                                                    std::regex(R"(\\f[BIR]|\\(?=-))"), "");
        std::string titles;
        for (const std::string& title : find(page, "^\\.TP\n(-.*)$"))
            titles += " " + title;
        return find(titles, "[ ,](-[^ ,]+)");
    }

    Words complete(const Words& words) const
    {
        ChildProcess bash(Words{"bash", "-c",
                                "source \"$0\"; COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); _dm; "
                                "printf '%s\\n' \"${COMPREPLY[@]}\"",
                                path("bash"), "dm"} +
                          words);
        std::istringstream lines(bash.readRest());
        EXPECT_EQ(bash.readErrorRest(), "");
        Words found;
        for (std::string line; std::getline(lines, line);)
            found.push_back(line);
        return found;
    }

    Names bashOptions(const Words& words) const
    {
        const Words found = complete(words + Words{"-"});
        return Names(found.begin(), found.end());
    }

    Names zshOptions(const Words& words) const
    {
        return find(between(read("zsh"), "\n_" + join(words, "_") + "() {", "\n}\n"),
                    R"(^ +'(?:\([^)]*\)|\*)(-[^\[=]+)=?\[)");
    }

    Names fishOptions(const Words& words) const
    {
        Names names;
        const std::string begin = "^complete -c dm -n '__dm_command_is " + join(words, " ") + "'";
        for (const std::string& line : find(read("fish"), begin + "(.*) -d ")) {
            for (const std::string& letter : find(line, " -s (\\S)"))
                names.insert("-" + letter);
            for (const std::string& name : find(line, " -l (\\S+)"))
                names.insert("--" + name);
        }
        return names;
    }

    void writeScripts() const
    {
        for (const char* shell : {"bash", "zsh", "fish"})
            write(shell, dm({"completion", shell}).output);
    }

    static bool isInstalled(const std::string& program)
    {
        return ChildProcess({"sh", "-c", "command -v " + program}).wait() == 0;
    }
};

TEST_F(Documents, HelpPagesAndCompletionsNameTheSameOptions)
{
    writeScripts();
    const std::string version = dm({"--version"}).output;
    EXPECT_TRUE(std::regex_match(
        version, std::regex("dm [0-9.]+, commit ([0-9a-f]{12}|unknown), pipe protocol 2\n")))
        << version;
    const std::vector<Words> commands = allCommands();
    EXPECT_GT(commands.size(), 20u);
    for (const Words& words : commands) {
        SCOPED_TRACE(join(words, " "));
        const Names options = helpOptions(words);
        EXPECT_TRUE(options.count("--help") && options.count("--version"));
        EXPECT_EQ(manOptions(words), options);
        EXPECT_EQ(bashOptions(words), options);
        EXPECT_EQ(zshOptions(words), options);
        EXPECT_EQ(fishOptions(words), options);
        const std::string text = help(words);
        EXPECT_NE(text.find("\nExample"), std::string::npos);
        EXPECT_NE(text.find("\nExit codes: 0 ok, "), std::string::npos);
        if (words == Words{"pipes"}) // which tells more
            continue;
        EXPECT_EQ(run(words, "--version"), version);
    }
}

TEST_F(Documents, BashCompletesCommandsChoicesAndFiles)
{
    writeScripts();
    write("a file", "");
    EXPECT_EQ(complete({"comp"}), Words{"completion"});
    EXPECT_EQ(complete({"fs", "127.0.0.1", ":", "3510", "fo"}), Words{"folders"});
    EXPECT_EQ(complete({"call", "--timeout", "fs", "--format", "=", ""}), (Words{"text", "json"}));
    EXPECT_EQ(complete({"call", "--out", path("a ")}), Words{path("a file")});
    EXPECT_EQ(complete({"run", path("a ")}), Words{path("a file")});
    EXPECT_EQ(complete({"call", "--value", ""}), Words{""}); // any
}

TEST_F(Documents, AreAcceptedByTheProgramsThatReadThem)
{
    writeScripts();
    for (const char* shell : {"bash", "zsh", "fish"}) {
        if (!isInstalled(shell))
            continue;
        ChildProcess process({shell, "-n", path(shell)});
        EXPECT_EQ(process.wait(), 0) << shell;
        EXPECT_EQ(process.readErrorRest(), "");
    }
    ASSERT_EQ(dm({"man", "--into", path("pages")}).exitCode, 0);
    EXPECT_TRUE(std::filesystem::exists(path("pages/dm-fs-ls.1")));
    if (!isInstalled("groff"))
        GTEST_SKIP() << "groff is not installed";
    for (const auto& page : std::filesystem::directory_iterator(path("pages"))) {
        ChildProcess groff({"groff", "-man", "-ww", "-z", "-Tutf8", page.path().string()});
        EXPECT_EQ(groff.readErrorRest(), "") << page.path();
        EXPECT_EQ(groff.wait(), 0);
    }
}

TEST_F(Documents, ColoursAreForTerminalsWithoutNoColor)
{
    if (!isInstalled("script"))
        GTEST_SKIP() << "no command that runs another on a terminal";
    const auto onTerminal = [](const ChildProcess::Environment& environment) {
        ChildProcess tool({"script", "-qec", "'" DM_TOOL_PATH "' man nothing", "/dev/null"},
                          environment);
        tool.closeInput();
        return tool.readRest();
    };
    const std::string red = "\x1b[31mdm:\x1b[0m ";
    EXPECT_NE(onTerminal({{"TERM", "xterm"}, {"NO_COLOR", ""}}).find(red), std::string::npos);
    EXPECT_EQ(onTerminal({{"TERM", "xterm"}, {"NO_COLOR", "1"}}).find('\x1b'), std::string::npos);
    EXPECT_EQ(dm({"nothing"}).errors,
              "dm: there is no command 'nothing': `dm --help` tells more\n");
}

} // namespace
