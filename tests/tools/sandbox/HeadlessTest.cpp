#include "support/ChildProcess.h"
#include "zul/FileFixture.h"

#include <algorithm>

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
        for (int y = top; y < bottom; ++y) {
            for (int x = 0; x < width; ++x)
                found += at(x, y) == color ? 1 : 0;
        }
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

constexpr Pixel kWord{208, 208, 96};
constexpr Pixel kNumber{160, 255, 255};
constexpr Pixel kQuoted{128, 208, 208};
constexpr Pixel kScrollBar{215, 209, 209};
constexpr Pixel kWhite{255, 255, 255};

TEST_F(Headless, DrawsTheConsoleIntoAPicture)
{
    const std::string script = "key Console\nenter clear\nenter echo wordword 77777 \"quoted\"\n"
                               "type commandline\n";
    ASSERT_EQ(run(script, "one.png", {"--size", "800x450"}), 0) << errors;
    const Image image(at("one.png"));
    ASSERT_NE(image.bytes, nullptr);
    EXPECT_EQ(image.width, 800);
    EXPECT_EQ(image.height, 450);
    // The line printed last stands right above the command line, which is two lines from below.
    for (const Pixel& color : {kWord, kNumber, kQuoted})
        EXPECT_GT(image.count(color, 380, 425), 10);
    EXPECT_EQ(image.count(kNumber, 0, 330), 0);
    EXPECT_GT(image.count(kWhite, 425, 441), 10);
    EXPECT_EQ(image.at(783, 20), kScrollBar) << "right but for the margin, from top to bottom";
    EXPECT_EQ(image.at(783, 400), kScrollBar);
    EXPECT_LT(image.at(2, 2).blue, 20) << "the scene is darkened by half";

    ASSERT_EQ(run(script, "two.png", {"--size", "800x450"}), 0);
    EXPECT_TRUE(contentOf("one.png") == contentOf("two.png")) << "the same picture each time";
}

TEST_F(Headless, MakesAllPicturesAlsoWhenSomebodyQuits)
{
    const std::string screenshots =
        "enter screenshot \"" + at("first.png") + "\"; screenshot \"" + at("second.png") + "\"\n";
    ASSERT_EQ(run("await Enter help\nkey Console\nenter read nowhere\nawait there is no\n" +
                      screenshots + "enter quit\nwait 1000\n",
                  "last.png", {"--size", "200x100", "--console-key", "F1", "--print"}),
              0)
        << errors;
    EXPECT_NE(output.find("\nread: there is no file or folder \"nowhere\"\nwrote "),
              std::string::npos)
        << output;
    for (const char* const name : {"first.png", "second.png", "last.png"})
        EXPECT_NE(Image(at(name)).bytes, nullptr) << name;
}

TEST_F(Headless, ShowsTheCursorInSmallLetters)
{
    ASSERT_EQ(run("key Console\n", "small.png", {"--size", "640x400"}), 0) << errors;
    const Image image(at("small.png"));
    ASSERT_NE(image.bytes, nullptr);
    int brightest = 0; // behind the prompt
    for (int y = 380; y < 398; ++y) {
        for (int x = 20; x < 26; ++x)
            brightest = std::max(brightest, image.at(x, y).red);
    }
    EXPECT_GT(brightest, 100);
}

TEST_F(Headless, KeepsLinesFromRunToRunAndPutsABrokenFileAside)
{
    const std::vector<std::string> options{"--data", folder.string(), "--size", "400x225"};
    ASSERT_EQ(run("key Console\nenter echo kept\n", "a.png", options), 0) << errors;
    ASSERT_TRUE(std::filesystem::exists(at("consolecache.bin")));
    ASSERT_EQ(run("key Console\nkey Up\nkey Enter\n", "b.png", options), 0) << errors;

    std::filesystem::resize_file(at("consolecache.bin"), 9);
    ASSERT_EQ(run("key Console\nenter dump \"" + at("all.txt") + "\"\n", "c.png", options), 0)
        << errors;
    EXPECT_EQ(std::filesystem::file_size(at("consolecache.bin.bad")), 9u);
    EXPECT_EQ(contentOf("all.txt").find("The console's old lines could not be read"), 0u);
}

TEST_F(Headless, MistakesAreToldAndEndTheGame)
{
    EXPECT_EQ(run("jump\n", "x.png"), 1);
    EXPECT_NE(errors.find("script.txt, line 1: \"jump\" is no step"), std::string::npos) << errors;
    EXPECT_EQ(run("key Home\n", "x.png", {"--font", at("none.ttf")}), 1);
    EXPECT_EQ(errors, "sandbox: there is no font file " + at("none.ttf") + "\n");
    EXPECT_EQ(run("key Home\n", "no/such/folder.png"), 1);
    EXPECT_NE(errors.find("cannot write the picture"), std::string::npos);
    EXPECT_EQ(run("key Home\n", "x.png", {"--size", "800"}), 2);
    EXPECT_EQ(run("key Home\n", "x.png", {"--files", "here:1", "--pipe-port", "0"}), 2);
    EXPECT_FALSE(std::filesystem::exists(at("x.png")));
}

} // namespace
