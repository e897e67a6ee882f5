/// dm fs, against dm serve and against servers that mean no good.
#include "support/ScriptedFileServer.h"
#include "support/WaitUntil.h"
#include "tools/ToolFixture.h"
#include "tools/dm/Sha256.h"
#include "tools/dm/fs/Paths.h"

namespace {

namespace stdfs = std::filesystem;

class FsTool : public ToolFixture
{
protected:
    FsTool() { stdfs::create_directory(path("served")); }

    /// Starts `dm serve` of the folder "served" as "data".
    void serve(const std::string& access = ":rw")
    {
        server = startListening(
            {"serve", "--map", "data=" + path("served") + access, "--port", "0", "--hide-paths"});
    }

    Words words(const Words& more) const { return Words{"fs", address} + more; }
    Outcome fs(const Words& more) const { return dm(words(more)); }
    Outcome expectFs(int exitCode, const Words& more, const std::string& says = "") const
    {
        return expectEnd(exitCode, words(more), says);
    }

    void makeFolder(const std::string& name) const { stdfs::create_directories(path(name)); }

    std::string makeSparse(const std::string& name, std::uintmax_t size) const
    {
        stdfs::resize_file(write(name, ""), size);
        return path(name);
    }

    /// Starts a copy and waits until a part of the file is in the folder, beside the others.
    Child startCopy(const Words& more, const std::string& into) const
    {
        Child tool = start(words(more));
        EXPECT_TRUE(support::waitUntil([&] {
            const stdfs::directory_iterator entries(path(into));
            return std::any_of(begin(entries), end(entries), [](const auto& entry) {
                return entry.path().filename().string().find("part") != std::string::npos;
            });
        }));
        return tool;
    }

    Child server;
};

constexpr std::uintmax_t kLongCopyBytes = 1024 * 1024 * 1024;

TEST_F(FsTool, RoundTripsATreeWithEmptyFoldersAndOddNames)
{
    serve();
    makeFolder("in/empty");
    makeFolder("in/a/b c");
    write("in/a/bytes", support::someBytes(2'500'000)); // more than two pieces
    write("in/nothing", "");
    write("in/a/b c/f\xC3\xA4 'x' *?%s", "odd");
    write("in/twin", "lower");
    write("in/TWIN", "upper"); // which a search alone does not show
    const Tree in = treeOf("in");

    const Outcome put =
        expectFs(0, {"put", "-r", "--check", path("in"), "data/copy", "--format", "json"});
    EXPECT_EQ(nlohmann::json::parse(put.output)["files"], 5);
    EXPECT_EQ(treeOf("served/copy"), in);

    expectFs(0, {"get", "-r", "--check", "data/copy", path("out")});
    EXPECT_EQ(treeOf("out"), in);

    // Folders that differ in letter case only: what cannot be shown is told.
    makeFolder("served/copy/A");
    write("served/copy/A/hidden", "");
    expectFs(7, {"get", "-r", "data/copy", path("hidden")}, "letter case only");
    stdfs::remove_all(path("served/copy/A"));

    // Once more, over what is there, with what cannot be copied left out.
    stdfs::create_symlink(path("in/twin"), path("in/inside"));
    stdfs::create_symlink(path("served"), path("in/outside"));
    stdfs::create_directory_symlink(".", path("in/loop"));
    write("in/a/quo\"te", "");
    makeSparse("in/a/huge", 0x80000000);
    const Outcome outcome = expectFs(7, {"put", "-r", path("in"), "data/copy"});
    for (const char* leftOut : {"outside", "loop", "quo\"te", "huge' is too large"})
        EXPECT_THAT(outcome.errors, testing::HasSubstr(leftOut));
    Tree out = in;
    out["inside"] = "lower";
    EXPECT_EQ(treeOf("served/copy"), out);
}

TEST_F(FsTool, ShowsWhatIsThere)
{
    serve();
    makeFolder("served/levels/old");
    write("served/levels/one.map", "content");
    write("served/levels/old/two.map", "");

    EXPECT_EQ(fs({"folders"}).output, "data\n");
    EXPECT_EQ(fs({"ls"}).output, "data/\n");
    EXPECT_EQ(fs({"ls", "-R", "data"}).output, "data/levels/\n"
                                               "data/levels/old/\n"
                                               "data/levels/one.map\n"
                                               "data/levels/old/two.map\n");
    EXPECT_EQ(fs({"find", "data/*.map"}).output, "data/levels/old/two.map\ndata/levels/one.map\n");
    EXPECT_EQ(fs({"cat", "data/levels/one.map", "DATA\\levels\\one.map"}).output, "contentcontent");
    const auto stat =
        nlohmann::json::parse(fs({"stat", "data/levels/one.map", "--format", "json"}).output);
    EXPECT_EQ(stat["size"], 7);
    EXPECT_EQ(stat["read_only"], false);
    EXPECT_EQ(stat["time"].get<std::string>().substr(0, 2), "20");
}

TEST_F(FsTool, ChangesWhatIsThere)
{
    serve();
    write("served/a", "a");
    write("served/b", "b");
    EXPECT_EQ(fs({"mkdir", "-p", "data/x/y/z", "data/x"}).exitCode, 0);
    EXPECT_EQ(fs({"cp", "data/a", "data/x"}).exitCode, 0);
    EXPECT_EQ(fs({"mv", "data/a", "data/b"}).exitCode, 0);
    EXPECT_EQ(treeOf("served"),
              (Tree{{"b", "a"}, {"x", "/"}, {"x/a", "a"}, {"x/y", "/"}, {"x/y/z", "/"}}));
    EXPECT_EQ(fs({"rm", "data/x"}).exitCode, 7);
    for (const char* all : {"data", "data/", "data/.", "data\\.//"})
        EXPECT_EQ(fs({"rm", "-r", all}).exitCode, 7);
    EXPECT_EQ(fs({"put", path("served/b"), "data/new/"}).exitCode, 7);
    EXPECT_EQ(treeOf("served").size(), 5u);
    EXPECT_EQ(fs({"rm", "-r", "data/x"}).exitCode, 0);
    EXPECT_EQ(treeOf("served"), (Tree{{"b", "a"}}));
}

TEST_F(FsTool, FailsWithAReasonAndExitCode7)
{
    serve("");
    const std::string here = write("here", "local");
    write("served/there", "remote");
    for (const auto& [words, reason] : std::vector<std::pair<Words, std::string>>{
             {{"rm", here}, "not in a folder of the server, which has 'data'"},
             {{"cat", "database"}, "not in a folder of the server"},
             {{"stat", "data/none"}, "does not exist"},
             {{"get", "data"}, "-r"},
             {{"get", "data/there", path("no/folder")}, "no/folder"},
             {{"put", path("none"), "data/x"}, "does not exist"},
             {{"put", here, "data/there"}, "read-only"},
             {{"rm", "data/there"}, "read-only"},
             {{"find", "data"}, "FOLDER/WILDCARD"},
         })
        expectFs(7, words, reason);
    EXPECT_EQ(read("here"), "local");
    EXPECT_EQ(treeOf("served"), (Tree{{"there", "remote"}}));
}

TEST_F(FsTool, AnInterruptedCopyLeavesTheOldFileAndNothingElse)
{
    serve();
    const Tree old = {{"long", "old"}};
    const std::string source = makeSparse("long", kLongCopyBytes);
    write("served/long", "old");
    Child tool = startCopy({"put", source, "data/long"}, "served");
    tool->interrupt();
    EXPECT_EQ(tool->wait(), 130);
    EXPECT_EQ(treeOf("served"), old);

    stdfs::rename(source, path("served/long"));
    makeFolder("out");
    write("out/long", "old");
    tool = startCopy({"get", "data/long", path("out")}, "out");
    tool->interrupt();
    EXPECT_EQ(tool->wait(), 130);
    EXPECT_EQ(treeOf("out"), old);
}

TEST_F(FsTool, ExitsWith4WhenTheServerDoesNotComeBackAnd8WhenItStops)
{
    serve();
    makeSparse("served/long", kLongCopyBytes);
    makeFolder("out");
    const Words copy = {"get", "data/long", path("out"), "--timeout", "1s"};
    Child tool = startCopy(copy, "out");
    server->pause();
    EXPECT_EQ(tool->wait(), 8);
    server->resume();
    tool = startCopy(copy, "out");
    server->kill();
    EXPECT_EQ(tool->wait(), 4);
    EXPECT_TRUE(treeOf("out").empty());
    expectFs(3, {"ls", "--timeout", "300ms"});
}

/// A server that answers what it is told to.
class FsToolScripted : public FsTool
{
protected:
    FsToolScripted()
    {
        aimAt(scripted.port());
        scripted.answerList("getMappedFolders", {"data,host"});
    }

    void offerFile(const std::string& file, const std::string& content)
    {
        scripted.answer("fileExists \"" + file + "\"", {"true"});
        scripted.answer("getFileSize \"" + file + "\"", {std::to_string(content.size())});
        scripted.answer("read 0 " + std::to_string(content.size()) + " \"" + file + "\"",
                        {"true", content});
    }

    void offerFolder(const std::string& name, const std::vector<std::string>& entries)
    {
        scripted.answer("directoryExists \"" + name + "\"", {"true"});
        scripted.answerList("findFiles \"" + name + "/*\"", entries);
    }

    support::ScriptedFileServer scripted;
};

TEST_F(FsToolScripted, GetNeverLeavesItsTarget)
{
    std::vector<std::string> entries = {"0 4 0 \"good\"", "1 0 0 \"..\"", "1 0 0 \"link\""};
    for (const std::string& name : Words{"../evil", "/evil", "..", ".", "a/evil", "a\\evil", "",
                                         "\x1b[31mevil", "..\\evil", path("evil")})
    {
        entries.push_back("0 4 0 \"" + name + "\"");
        offerFile("data/" + name, "evil");
    }
    offerFolder("data", entries);
    offerFolder("data/link", {"0 4 0 \"evil\"", "1 0 0 \"deep\""});
    offerFolder("data/link/deep", {"0 4 0 \"evil\""});
    offerFile("data/link/deep/evil", "evil");
    offerFile("data/link/evil", "evil");
    offerFile("data/good", "good");
    makeFolder("outside");
    makeFolder("out");
    stdfs::create_directory_symlink(path("outside"), path("out/link"));

    const Outcome outcome = fs({"get", "-r", "data", path("out")});
    EXPECT_EQ(outcome.exitCode, 7);
    EXPECT_EQ(read("out/good"), "good");
    EXPECT_TRUE(treeOf("outside").empty());
    EXPECT_EQ(std::distance(stdfs::directory_iterator(path("out")), {}), 2);
    EXPECT_EQ(filesInFolder(), 3u); // served, outside and out
    EXPECT_EQ(outcome.errors.find('\x1b'), std::string::npos);
    EXPECT_EQ(fs({"ls", "data"}).output.find('\x1b'), std::string::npos);
}

TEST_F(FsToolScripted, WhatDoesNotArriveAsAnnouncedIsNotStored)
{
    write("f", "old");
    offerFile("data/f", "hello");
    scripted.answerOnce("read 0 5 \"data/f\"", {"true", "jello"});
    EXPECT_EQ(fs({"get", "--check", "data/f", path("f")}).exitCode, 7);
    scripted.answer("getFileSize \"data/f\"", {"6"}); // of which nothing can be read
    EXPECT_EQ(fs({"get", "data/f", path("f")}).exitCode, 7);
    EXPECT_EQ(read("f"), "old");
    offerFile("data/f", "hello");
    EXPECT_EQ(fs({"get", "--check", "data/f", path("f")}).exitCode, 0);
    EXPECT_EQ(read("f"), "hello");
}

TEST_F(FsToolScripted, NothingIsDoneHereForAServerThatChangesItsFolders)
{
    // Of the first answer the tool reads the folders, of the second the file system.
    const std::string here = write("here", "local");
    scripted.answerList("getMappedFolders", {"other"});
    scripted.answerOnce("getMappedFolders",
                        {"", support::listOf({"1", ""})}); // all is the server's
    EXPECT_EQ(fs({"rm", here}).exitCode, 7);
    EXPECT_EQ(read("here"), "local");
}

TEST_F(FsToolScripted, WarnsOfAListThatMayHaveBeenCut)
{
    const std::string name(245, 'x');
    scripted.answer("directoryExists \"data\"", {"true"});
    scripted.answerList("findFilesRecursive \"data\" \"*\" 1",
                        Words(2570, "0 \"data/" + name + '"'));
    expectFs(0, {"find", "data/*"}, "there may be more");
    Words entries;
    for (int at = 0; at < 2570; ++at)
        entries.push_back("1 0 0 \"" + std::to_string(at) + name + '"');
    offerFolder("data", entries);
    // Other than a search, a list is taken for all there is.
    expectFs(7, {"ls", "data"}, "there may be more");
}

TEST(Sha256, IsRightForTextsAndPiecesOfAnySize)
{
    const std::string text(130, 'x');
    tool::Sha256 all;
    for (size_t size = 0; size <= text.size(); ++size) {
        all.add(text.data(), size);
        const std::string one = tool::sha256(text.data(), size);
        all.add(one.data(), one.size());
    }
    EXPECT_EQ(all.finish(), "62033069b35ea505e2043a157071604f7c21b7892a4577c0ec4d88b902ff5235");
}

TEST(FsPaths, FoldersContainWhatIsBelowThemInAnyLetterCase)
{
    const auto folders =
        tool::readMappedFolders(std::string_view("9,x\0data,C:\\host,2\0data/levels\0tail", 36));
    ASSERT_EQ(folders.size(), 3u);
    EXPECT_EQ(folders[0].hostPath, "C:\\host,2");
    EXPECT_EQ(tool::findMappedFolder(folders, "DATA\\a"), &folders[0]);
    EXPECT_EQ(tool::findMappedFolder(folders, "data/levels"), &folders[1]);
    EXPECT_EQ(tool::findMappedFolder(folders, "data/levels2"), &folders[0]);
    EXPECT_EQ(tool::findMappedFolder(folders, "database"), nullptr);
    EXPECT_EQ(tool::describeTime(132514885750000001), "2020-12-03T17:02:55Z");
    EXPECT_EQ(tool::describeTime(~0ull), "");
}

} // namespace
