// Everything that a game can ask for, with every path that might lead out of a map.
#include "RunnerFixture.h"

using namespace fileserver;
using Links = zu::ConfinedFolder::Links;
using Texts = std::vector<std::string>;
namespace fs = std::filesystem;

namespace {

class HostilePaths : public RunnerFixture
{
protected:
    void makeTree()
    {
        for (const char* name : {"data", "stock"}) {
            fs::remove_all(folder / name);
            const std::string inside = std::string(name) + '/';
            make(inside + "file", "public");
            make(inside + "dir/file", "public");
            link("..", inside + "up");
            link("../out", inside + "sibling");
            link("../out/canary", inside + "leak");
            link(at("out"), inside + "absolute");
            link("../../out", inside + "dir/deep");
            link("..", inside + "dir/back");
            link("dir/back/sibling", inside + "chain");
            link("loop", inside + "loop");
            link("/proc/self/cwd", inside + "proc");
            link("../out/new", inside + "dangling");
        }
    }
    void link(const std::string& target, const std::string& name)
    {
        fs::create_symlink(target, folder / name);
    }

    // Ways to be written after the name of a map.
    Texts waysOut() const
    {
        const std::string out = at("out");
        Texts ways = {
            "..", "../out", "..\\out", "dir/../../out", "dir\\..\\..\\out", "./../out",
            "../../../..", "dir/..", "file/..", "file/../../out", "...", "..../out", ".. /out",
            " ../out", "..;/out", "../data/../out",
            // Through links.
            "up", "up/out", "sibling", "leak", "leak/", "absolute", "dir/deep", "dir/back/up/out",
            "chain", "loop", "proc", "proc/cwd", "proc/out", "dangling", "dangling/..",
            // Roots of all kinds, behind a map's name.
            out, "/" + out, "//" + out, "C:", "C:/out", "C:\\out", "c:..\\out", "/C:/out",
            "\\\\server\\share", "//server/share", "\\\\?\\C:\\out", "\\\\.\\pipe\\out",
            "/dev/null", "/proc/self/root" + out, "/proc/self/cwd", "file:///" + out, "~/out",
            "~root", "$HOME/out",
            // Other spellings of dots and separators.
            "%2e%2e/out", "%2e%2e%2fout", "..%2fout", "..%5cout", "%252e%252e/out", "..\xC0\xAFout",
            "\xC0\xAE\xC0\xAE/out", "..\xE0\x80\xAFout", "..\xF0\x80\x80\xAFout",
            "..\xEF\xBC\x8Fout", "\xEF\xBC\x8E\xEF\xBC\x8E/out", "..\xE2\x88\x95out",
            "..\xC1\x9Cout", "\xED\xA0\x80/out",
            // Bytes that end, hide or rewrite a name.
            std::string("..\0/out", 7), std::string("file\0/../../out", 15), "..\n/out", "\n../out",
            "..\r\n/out", "\x01", "\x1B[2J", "\x7F", "\xC2\x85",
            "\xC2\x9B"
            "2J",
            "\xFF\xFE..", "\xEF\xBB\xBF../out", "\xE2\x80\xAE../out", "..\t/out",
            // Quotes.
            "\"", "\"/../../out", "..\" \"data/../out", "file\" \"" + out, "\" 1", "../out\" \"",
            // Names that systems read differently.
            "file.", "file ", "file::$DATA", "file:stream", "dir.", "out.", "nul", "con/../../out",
            "aux.txt", "com1", "DIR~1/../../out", "*", "?", "..*", "*/../out", "`id`", "$(id)",
            "|id",
            // Too much.
            std::string(256, 'n'), std::string(5000, 'n'), std::string(300000, '/') + "../out"};
        std::string deep;
        std::string tower;
        for (int level = 0; level < 200; ++level) {
            deep += level % 2 != 0 ? "dir/../" : "./";
            tower += "d/";
        }
        ways.push_back(deep + "../out");
        ways.push_back(tower + "x");
        return ways;
    }

    Texts paths() const
    {
        Texts all = {"", "/", "\\", "//", ".", "..", "../out/canary", "out", "out/canary",
                     "/out/canary", at("out/canary"), at("data/file"), "C:/data/file",
                     "data:", "data..", "data../out", "data.", "data ", " data/file",
                     "dataout/canary", "datax/../out", "./data/../out", "data,", "data\n",
                     std::string("data\0/file", 10), "data\"", "\"data\"/../out",
                     // Near the name of a map.
                     "\xEF\xBB\xBF"
                     "data/../out",
                     "stock/../data/../out", "data\\..\\stock\\..\\out", "stockdata/../out", "DATA",
                     "Data\\"};
        for (const std::string& way : waysOut())
            for (const std::string& end : Texts{"", "/canary", "/new"}) {
                all.push_back("data/" + way + end);
                all.push_back("STOCK\\" + way + end);
            }
        return all;
    }

    // Every command, with the path wherever it takes one.
    static Texts linesFor(const std::string& path)
    {
        const std::string quoted = '"' + path + '"';
        Texts lines;
        for (const CommandSyntax& command : kCommands) {
            const auto add = [&](const Texts& arguments) {
                for (const std::string& text : arguments)
                    lines.push_back(std::string(command.name) + text);
            };
            if (command.arguments == Arguments::Path)
                add({' ' + quoted});
            else if (command.arguments == Arguments::TwoPaths)
                add({' ' + quoted + " \"data/got\"", " \"data/file\" " + quoted,
                     ' ' + quoted + ' ' + quoted});
            else if (command.arguments == Arguments::RangeAndPath)
                add({" 0 6 " + quoted, " 0 2147483647 " + quoted}); // which is not from memory
            else if (command.arguments == Arguments::Search)
                add({' ' + quoted + " \"*\" 1", " \"data\" " + quoted + " 1"});
            else
                add({quoted});
        }
        lines.push_back("findFiles \"" + path + "/*\"");
        return lines;
    }

    // Asks for it and judges what comes back. Whether anything was done.
    bool attack(const std::string& line)
    {
        const Answer answer = run(line, "attack");
        const std::string told = answer.text + dataOf(answer);
        EXPECT_EQ(told.find(kSecret), std::string::npos) << line;
        EXPECT_TRUE(told.find("canary") == std::string::npos || line.find("canary") != line.npos)
            << line;
        // Nor in what people read of it, but for what the game wrote itself.
        const std::string host = folder.filename().string();
        if (line.find(host) == std::string::npos) {
            EXPECT_EQ((told + report.warning + report.reason).find(host), std::string::npos)
                << line;
        }
        return report.succeeded && report.command->access == Access::Write;
    }

    // What lies beside the maps, and whatever may not be written, stays as it is.
    void attackAll(const zu::ConfinedFolder::Options& options, const std::string& rights)
    {
        makeTree();
        serve(options, rights);
        const Tree outside = treeOf("out");
        const Tree stock = treeOf("stock");
        const Tree data = treeOf("data");
        for (const std::string& path : paths()) {
            bool isChanged = false;
            for (const std::string& line : linesFor(path)) {
                isChanged = attack(line) || isChanged;
                // A link may be moved, as the link that it is.
                EXPECT_TRUE(fs::is_symlink(folder / "data/got") ||
                            contentOf("data/got").find(kSecret) == std::string::npos)
                    << line;
            }
            ASSERT_EQ(treeOf("out"), outside) << path;
            ASSERT_EQ(FileFixture::names(), (Texts{"data", "out", "stock"})) << path;
            if (isChanged) {
                ASSERT_EQ(rights, ":rw") << path;
                ASSERT_EQ(treeOf("stock"), stock) << path;
                makeTree();
                serve(options, rights);
            } else
                ASSERT_EQ(treeOf("data"), data) << path;
        }
        EXPECT_EQ(treeOf("stock"), stock);
        EXPECT_GE(paths().size(), 200u);
    }
};

TEST_F(HostilePaths, LeadNowhereWhenLinksAreRefused)
{
    attackAll({.links = Links::Refuse}, "");
    attackAll({.links = Links::Refuse, .lookup = zu::ConfinedFolder::Lookup::StepByStep}, ":rw");
    attackAll({.links = Links::Refuse}, ":rw");
}

TEST_F(HostilePaths, LeadNowhereWhenLinksAreFollowedAndInAnyCase)
{
    attackAll({.links = Links::FollowBeneath}, "");
    attackAll({.links = Links::FollowBeneath}, ":rw");
    attackAll({.links = Links::FollowBeneath,
               .letterCase = zu::ConfinedFolder::LetterCase::Ignore,
               .lookup = zu::ConfinedFolder::Lookup::StepByStep},
              ":rw");
}

} // namespace
