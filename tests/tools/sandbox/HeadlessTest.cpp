#include "support/ChildProcess.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <sstream>

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
class Headless : public ::testing::Test
{
protected:
    Headless()
    {
        folder = std::filesystem::temp_directory_path() /
                 ("dm-test-" + std::to_string(std::random_device()()));
        std::filesystem::create_directory(folder);
    }
    ~Headless() override { std::filesystem::remove_all(folder); }

    std::string path(const std::string& name) const { return (folder / name).string(); }

    int run(const std::string& script, const std::string& picture,
            const std::vector<std::string>& options = {})
    {
        std::ofstream(path("script.txt")) << script;
        std::vector<std::string> command{DM_SANDBOX_PATH,    "--headless",   "--script",
                                         path("script.txt"), "--screenshot", path(picture)};
        command.insert(command.end(), options.begin(), options.end());
        ChildProcess game(command);
        const int exitCode = game.wait();
        errors = game.readErrorRest();
        return exitCode;
    }

    std::filesystem::path folder;
    std::string errors;
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
    const Image image(path("one.png"));
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
    std::ifstream one(path("one.png"), std::ios::binary);
    std::ifstream two(path("two.png"), std::ios::binary);
    EXPECT_TRUE(std::equal(std::istreambuf_iterator<char>(one), {},
                           std::istreambuf_iterator<char>(two), {}))
        << "the same picture each time";
}

TEST_F(Headless, MakesAllPicturesAlsoWhenSomebodyQuits)
{
    const std::string screenshots = "enter screenshot \"" + path("first.png") +
                                    "\"; screenshot \"" + path("second.png") + "\"\n";
    ASSERT_EQ(run("key Console\n" + screenshots + "enter quit\nwait 1000\n", "last.png",
                  {"--size", "200x100", "--console-key", "F1"}),
              0)
        << errors;
    for (const char* const name : {"first.png", "second.png", "last.png"})
        EXPECT_NE(Image(path(name)).bytes, nullptr) << name;
}

TEST_F(Headless, ShowsTheCursorInSmallLetters)
{
    ASSERT_EQ(run("key Console\n", "small.png", {"--size", "640x400"}), 0) << errors;
    const Image image(path("small.png"));
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
    ASSERT_TRUE(std::filesystem::exists(path("consolecache.bin")));
    ASSERT_EQ(run("key Console\nkey Up\nkey Enter\n", "b.png", options), 0) << errors;

    std::filesystem::resize_file(path("consolecache.bin"), 9);
    ASSERT_EQ(run("key Console\nenter dump \"" + path("all.txt") + "\"\n", "c.png", options), 0)
        << errors;
    EXPECT_EQ(std::filesystem::file_size(path("consolecache.bin.bad")), 9u);
    std::ifstream dumped(path("all.txt"));
    std::string line;
    std::getline(dumped, line);
    EXPECT_EQ(line.find("The console's old lines could not be read"), 0u) << line;
}

TEST_F(Headless, MistakesAreToldAndEndTheGame)
{
    EXPECT_EQ(run("jump\n", "x.png"), 1);
    EXPECT_NE(errors.find("script.txt, line 1: \"jump\" is no step"), std::string::npos) << errors;
    EXPECT_EQ(run("key Home\n", "x.png", {"--font", path("none.ttf")}), 1);
    EXPECT_EQ(errors, "sandbox: there is no font file " + path("none.ttf") + "\n");
    EXPECT_EQ(run("key Home\n", "no/such/folder.png"), 1);
    EXPECT_NE(errors.find("cannot write the picture"), std::string::npos);
    EXPECT_EQ(run("key Home\n", "x.png", {"--size", "800"}), 2);
    EXPECT_EQ(run("key Home\n", "x.png", {"--files", "here:1", "--pipe-port", "0"}), 2);
    EXPECT_FALSE(std::filesystem::exists(path("x.png")));
}

TEST(SandboxDocuments, NameTheOptionsThatTheHelpNames)
{
    const auto print = [](std::vector<std::string> words) {
        words.insert(words.begin(), DM_SANDBOX_PATH);
        return ChildProcess(words).readRest();
    };
    EXPECT_EQ(print({"--version"}).rfind("dm sandbox ", 0), 0u);
    const std::string completion = print({"--completion", "bash"});
    std::istringstream lines(print({"--help"}));
    int options = 0;
    for (std::string line; std::getline(lines, line);) {
        const size_t name = line.find("--");
        if (name == std::string::npos || line.compare(0, 3, "  -") != 0)
            continue;
        ++options;
        EXPECT_NE(completion.find(line.substr(name, line.find(' ', name) - name)),
                  std::string::npos)
            << line;
    }
    EXPECT_GE(options, 10);
}

} // namespace
