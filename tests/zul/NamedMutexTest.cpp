#include "support/ChildProcess.h"

#include <zul/NamedMutex.h>
#include <zul/Thread.h>

#include <atomic>
#include <cstdlib>
#include <gtest/gtest.h>
#include <iostream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using zu::NamedMutex;

constexpr const char* kNameVariable = "ZUL_TEST_MUTEX_NAME";

/// A name that no other test process uses, with characters that no file name may have.
std::string uniqueName(const char* part)
{
    return std::string("test/../") + part + " " + std::to_string(zu::currentThreadId());
}

bool exists(const std::string& name) { return NamedMutex::doesMutexExist(name.c_str()); }

/// Another process that holds the name; killed at the latest when this goes.
class Holder
{
public:
    explicit Holder(const std::string& name, const std::string& part = "HoldsUntilItsInputEnds")
        : child(ChildProcess::role("NamedMutexHolder.DISABLED_" + part), {{kNameVariable, name}})
    {
        child.readLineAfter("held");
    }
    void end()
    {
        child.closeInput();
        child.wait();
    }

private:
    ChildProcess child;
};

/// The holder's side.
class NamedMutexHolder : public ::testing::Test
{
protected:
    void holdUntilInputEnds()
    {
        std::cout << "held" << std::endl;
        std::string line;
        std::getline(std::cin, line);
    }

    std::unique_ptr<NamedMutex> mutex = std::make_unique<NamedMutex>(std::getenv(kNameVariable));
};

TEST_F(NamedMutexHolder, DISABLED_HoldsUntilItsInputEnds) { holdUntilInputEnds(); }

TEST_F(NamedMutexHolder, DISABLED_ForksAProcessThatLetsGo)
{
    const pid_t forked = fork();
    if (forked == 0) {
        mutex.reset();
        _exit(0);
    }
    waitpid(forked, nullptr, 0);
    holdUntilInputEnds();
}

TEST(NamedMutex, ExistsWhileAnyObjectOfThisProcessHoldsIt)
{
    const std::string name = uniqueName("own") + std::string(5000, 'n');
    EXPECT_FALSE(exists(name));
    {
        const NamedMutex first(name.c_str());
        std::make_unique<NamedMutex>(name.c_str()).reset();
        EXPECT_TRUE(exists(name));
        EXPECT_FALSE(exists(name + "x"));
    }
    EXPECT_FALSE(exists(name));
}

TEST(NamedMutex, ExistsWhileAnyProcessHoldsItHoweverItEnds)
{
    const std::string name = uniqueName("ended");
    Holder first(name);
    std::optional<Holder> second(name), third(name);
    first.end();
    second.reset();
    EXPECT_TRUE(exists(name));
    third.reset();
    EXPECT_FALSE(exists(name));
    const NamedMutex again(name.c_str());
    EXPECT_TRUE(exists(name));
}

TEST(NamedMutex, OutlivesAForkedProcessThatLetsGo)
{
    const std::string name = uniqueName("forked");
    Holder holder(name, "ForksAProcessThatLetsGo");
    EXPECT_TRUE(exists(name));
    holder.end();
    EXPECT_FALSE(exists(name));
}

TEST(NamedMutex, IsSeenByItsHolderWhileOthersComeAndGo)
{
    const std::string name = uniqueName("race");
    std::atomic<int> missed{0};
    std::vector<std::jthread> holders;
    for (int i = 0; i < 4; ++i)
        holders.emplace_back([&] {
            for (int j = 0; j < 500; ++j) {
                const NamedMutex mutex(name.c_str());
                missed += !exists(name);
            }
        });
    holders.clear();
    EXPECT_EQ(missed, 0);
    EXPECT_FALSE(exists(name));
}

} // namespace
