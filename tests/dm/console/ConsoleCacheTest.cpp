#include "WindowFixture.h"
#include "dm/console/KeyCodes.h"
#include "dm/console/LineStore.h"

#include <zul/File.h>
#include <zul/FileStream.h>

using namespace support;

namespace {

class ConsoleCache : public WindowFixture
{
protected:
    ~ConsoleCache() override { zu::File::setFileSystemReadOnly(false); }

    std::string& cache() { return files.contents["./consolecache.bin"]; }

    // Newest first.
    std::string history(int entries)
    {
        std::string texts;
        for (int i = 0; i < entries; ++i) {
            window->appendInput(dm::keys::kUp, 0, false, false, false);
            texts += std::string(window->getText().view()) + " ";
        }
        return texts;
    }
};

TEST_F(ConsoleCache, KeepsLinesAndCommands)
{
    window->printWithPrefix(true, "one\ntwo");
    window->print("waits for its line feed");
    for (int i = 0; i < 32; ++i)
        window->addToCommandStack(std::to_string(i).c_str());
    const std::string longCommand(300, 'c');
    window->addToCommandStack(longCommand.c_str());
    window->save();
    EXPECT_EQ(files.contents.size(), 1u);
    restart();
    EXPECT_EQ(Access::lineCount(*window), 1u);
    EXPECT_EQ(Access::line(*window, 0), ">one\n");
    EXPECT_EQ(history(3), longCommand + " 31 30 ");

    zu::File file("./consolecache.bin", zu::File::Read);
    zu::FileStream stream(file);
    int counter = 0;
    unsigned limit = 0;
    int count = 0;
    zu::String text;
    stream >> counter >> limit >> count >> text;
    EXPECT_TRUE(counter == 1 && limit == 1000 && count == 1 && text == ">one\n");
    stream >> counter >> limit >> count >> text;
    EXPECT_TRUE(counter == 33 && limit == 30 && count == 30 && text == "30"); // by slot, not by age
}

TEST_F(ConsoleCache, IsWrittenWhenSomethingIsToBeKept)
{
    const auto isWritten = [this](auto change) {
        files.contents.clear();
        change();
        window->save();
        return !files.contents.empty();
    };
    EXPECT_FALSE(isWritten([&] { window->print("no prefix\n"); }));
    EXPECT_FALSE(isWritten([&] { window->printWithPrefix(true, "no line feed"); }));
    EXPECT_TRUE(isWritten([&] { window->printWithPrefix(true, "\n"); }));
    EXPECT_FALSE(isWritten([] {}));
    EXPECT_TRUE(isWritten([&] { window->clear(); }));
    EXPECT_TRUE(isWritten([&] { window->addToCommandStack("c"); }));
    zu::File::setFileSystemReadOnly(true);
    EXPECT_FALSE(isWritten([&] { window->clear(); }));
    zu::File::setFileSystemReadOnly(false);
    EXPECT_FALSE(isWritten([] {}));
}

TEST_F(ConsoleCache, StaysAsItWasWhenItCannotBeWritten)
{
    window->addToCommandStack("old");
    window->save();
    const auto before = files.contents;
    for (bool* refuses : {&files.refusesToOpenForWriting, &files.refusesToMove}) {
        *refuses = true;
        window->addToCommandStack("lost");
        window->save();
        *refuses = false;
        window->save(); // nothing has changed since
        EXPECT_EQ(files.contents, before);
    }
    files.freeBytes = 20;
    window->addToCommandStack("new");
    EXPECT_THROW(window->save(), zu::FileException);
    EXPECT_EQ(files.contents, before);
    files.freeBytes = 1000;
    window->save();
    restart();
    EXPECT_EQ(history(1), "new ");
}

TEST_F(ConsoleCache, BringsItsOwnLimits)
{
    const auto write = [this](int lineCount, unsigned lineLimit, unsigned commandLimit) {
        zu::File file("./consolecache.bin", zu::File::Write);
        zu::FileStream stream(file);
        stream << 2 << lineLimit << lineCount << "a\n"
               << "b\n";
        stream << 2 << commandLimit << 2 << "c"
               << "d";
        file.close();
    };
    write(2, 3, 2);
    restart();
    EXPECT_EQ(Access::line(*window, 0), "b\n");
    print(5);
    EXPECT_EQ(Access::lineCount(*window), 3u);
    EXPECT_EQ(Access::line(*window, 2), "2\n");
    window->addToCommandStack("e");
    EXPECT_EQ(history(3), "e d e ");

    write(-1, 3, 2);
    EXPECT_THROW(restart(), zu::StreamException);
    write(0x7fffffff, 3, 2);
    EXPECT_THROW(restart(), zu::StreamException);
    files.contents.clear();
    restart();

    // However large the limit, there is one.
    dm::LineStore<8> store(0xffffffff);
    for (unsigned i = 0; i < dm::kLargestLineStore + 5; ++i)
        store.add(std::to_string(i));
    EXPECT_EQ(store.size(), dm::kLargestLineStore);
    EXPECT_EQ(*store.newest(store.size() - 1), "5");
}

} // namespace
