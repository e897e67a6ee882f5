#include "ConsoleFixture.h"
#include "dm/console/LineStore.h"

#include <zul/File.h>
#include <zul/FileStream.h>

using namespace support;

namespace {

class ConsoleCache : public ConsoleFixture
{
protected:
    ~ConsoleCache() override
    {
        zu::File::setFileSystemReadOnly(false);
        zu::File::setFileSysPathForWrite(nullptr);
    }

    // Newest first.
    std::string history(int entries)
    {
        std::string texts;
        for (; entries > 0; --entries, texts += line() + " ")
            press(keys::kUp);
        return texts;
    }
};

TEST_F(ConsoleCache, KeepsLinesAndCommands)
{
    zu::File::setFileSysPathForWrite("saved/");
    window->printWithPrefix(true, "one\ntwo");
    for (int i = 0; i < 32; ++i)
        window->addToCommandStack(std::to_string(i).c_str());
    const std::string longCommand(300, 'c');
    window->addToCommandStack(longCommand.c_str());
    window->save();
    EXPECT_EQ(files.contents.size(), 1u);
    window->print(" lines\n");
    EXPECT_EQ(shown(), Texts({"two lines", ">one"}));
    window->load();
    EXPECT_EQ(shown(), Texts({">one"}));
    restart();
    EXPECT_EQ(shown(), Texts({">one"}));
    EXPECT_EQ(history(3), longCommand + " 31 30 ");
    EXPECT_TRUE(files.contents.count("saved/consolecache.bin"));
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
    const auto write = [](int lineCount) {
        zu::File file("./consolecache.bin", zu::File::Write);
        zu::FileStream stream(file);
        stream << 5 << 3u << lineCount;
        for (const char* line : {"d\n", "e\n", "c\n"})
            if (lineCount > 0)
                stream << line;
        stream << 2 << 2u << 2 << "c"
               << "d";
    };
    write(3);
    restart();
    EXPECT_EQ(shown(), Texts({"e", "d", "c"}));
    window->print("f\n");
    EXPECT_EQ(shown(), Texts({"f", "e", "d"}));
    window->addToCommandStack("e");
    EXPECT_EQ(history(3), "e d e ");
    for (const int lies : {-1, 0x7fffffff}) {
        write(lies);
        EXPECT_THROW(window->load(), zu::StreamException);
        EXPECT_EQ(shown(1), Texts({"f"}));
    }

    // However large the limit, there is one.
    dm::LineStore<8> store(0xffffffff);
    for (unsigned i = 0; i < dm::kLargestLineStore + 5; ++i)
        store.add(std::to_string(i));
    EXPECT_EQ(store.size(), dm::kLargestLineStore);
    EXPECT_EQ(*store.newest(store.size() - 1), "5");
}

} // namespace
