#include "support/ChildProcess.h"
#include "zul/FileFixture.h"

#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#define STBI_ONLY_PNG
#include <stb_image.h>

namespace {

struct Pixel
{
    int red, green, blue;
    bool operator==(const Pixel&) const = default;
};

/// A PNG file.
class Image
{
public:
    explicit Image(const std::string& path)
        : bytes(stbi_load(path.c_str(), &width, &height, nullptr, 3), stbi_image_free)
    {
    }

    Pixel at(int x, int y) const
    {
        const unsigned char* const pixel = bytes.get() + (y * width + x) * 3;
        return {pixel[0], pixel[1], pixel[2]};
    }

    int count(const Pixel& color, int top, int bottom) const
    {
        int found = 0;
        for (int i = top * width; i < bottom * width; ++i)
            found += at(i % width, i / width) == color ? 1 : 0;
        return found;
    }

    int width = 0;
    int height = 0;
    std::unique_ptr<unsigned char, void (*)(void*)> bytes;
};

/// Runs the game without a display.
class Headless : public FileFixture
{
protected:
    int run(const std::string& script, const std::string& picture,
            const std::vector<std::string>& options = {})
    {
        make("script.txt", script);
        std::vector<std::string> command{DM_SANDBOX_PATH,  "--headless",   "--script",
                                         at("script.txt"), "--screenshot", at(picture)};
        command.insert(command.end(), options.begin(), options.end());
        ChildProcess game(command);
        const int exitCode = game.wait();
        errors = game.readErrorRest();
        output = game.readRest();
        return exitCode;
    }

    std::string errors;
    std::string output;
};

TEST_F(Headless, DrawsTheConsoleIntoAPicture)
{
    for (const char* const name : {"one.png", "two.png"})
        ASSERT_EQ(run("key Console\nenter clear\nenter echo wordword 77777 \"quoted\"\n"
                      "type commandline\n",
                      name, {"--size", "800x450"}),
                  0)
            << errors;
    const Image image(at("one.png"));
    ASSERT_NE(image.bytes, nullptr);
    EXPECT_EQ(std::pair(image.width, image.height), std::pair(800, 450));
    // The line printed last stands right above the command line, which is two lines from below.
    constexpr Pixel kNumber{160, 255, 255};
    for (const Pixel& color : {Pixel{208, 208, 96}, kNumber, Pixel{128, 208, 208}})
        EXPECT_GT(image.count(color, 380, 425), 10);
    EXPECT_EQ(image.count(kNumber, 0, 330), 0);
    EXPECT_GT(image.count({255, 255, 255}, 425, 441), 10);
    for (const int y : {20, 400}) // the scroll bar: right but for the margin, from top to bottom
        EXPECT_EQ(image.at(783, y), (Pixel{215, 209, 209}));
    EXPECT_LT(image.at(2, 2).blue, 20) << "the scene is darkened by half";
    EXPECT_TRUE(contentOf("one.png") == contentOf("two.png")) << "the same picture each time";
}

TEST_F(Headless, MakesAllPicturesAlsoWhenSomebodyQuits)
{
    const std::string script = "await Enter help\nkey F1\nenter read nowhere\nawait there is no\n"
                               "enter screenshot \"" +
                               at("first.png") + "\"\nenter quit\nwait 1000\n";
    ASSERT_EQ(run(script, "last.png", {"--size", "200x100", "--console-key", "F1", "--print"}), 0)
        << errors;
    EXPECT_NE(output.find("\nread: there is no file or folder \"nowhere\"\n"), output.npos)
        << output;
    for (const char* const name : {"first.png", "last.png"})
        EXPECT_NE(Image(at(name)).bytes, nullptr) << name;
}

TEST_F(Headless, KeepsLinesFromRunToRunAndPutsABrokenFileAside)
{
    const std::vector<std::string> options{"--data", folder.string(), "--print"};
    ASSERT_EQ(run("key Console\nenter echo kept\n", "a.png", options), 0) << errors;
    ASSERT_TRUE(std::filesystem::exists(at("consolecache.bin")));
    ASSERT_EQ(run("key Console\nkey Up\nkey Enter\n", "b.png", options), 0) << errors;
    EXPECT_NE(output.find("kept\n"), output.npos);

    std::filesystem::resize_file(at("consolecache.bin"), 9);
    ASSERT_EQ(run("key Console\nenter dump \"" + at("all.txt") + "\"\n", "c.png", options), 0)
        << errors;
    EXPECT_EQ(std::filesystem::file_size(at("consolecache.bin.bad")), 9u);
    EXPECT_EQ(contentOf("all.txt").find("The console's old lines could not be read"), 0u);
}

TEST_F(Headless, MistakesAreToldAndEndTheGame)
{
    using Row = std::tuple<int, const char*, std::vector<std::string>, std::string>;
    for (const auto& [exitCode, script, options, told] :
         {Row{1, "jump\n", {}, "script.txt, line 1: \"jump\" is no step"},
          Row{1, "key Up\n", {"--font", at("no")}, "sandbox: there is no font file " + at("no")},
          Row{1, "screenshot no/such/folder.png\n", {}, "cannot write the picture"},
          Row{2, "key Up\n", {"--size", "800"}, "'800' is no size"},
          Row{2, "", {"--files", "a:1", "--pipe-port", "0"}, "--pipe-port excludes --files"}})
    {
        EXPECT_EQ(run(script, "x.png", options), exitCode);
        EXPECT_NE(errors.find(told), std::string::npos) << errors;
    }
}

} // namespace
