#include <zul/FastDelegate.h>

#include <gtest/gtest.h>
#include <string>

namespace {

using Accept = fastdelegate::FastDelegate2<const char*, const char*, bool>;

struct Filter
{
    std::string wanted;
    int asked = 0;

    bool accepts(const char* path, const char* name)
    {
        ++asked;
        return path + wanted == name;
    }
    bool acceptsAny(const char*, const char*) const { return true; }
};

bool never(const char*, const char*) { return false; }

TEST(FastDelegate, CallsFunctionsMethodsAndFunctors)
{
    Filter filter{"b"};
    const Filter& constFilter = filter;
    EXPECT_FALSE(Accept(never)("", ""));
    const Accept method(&filter, &Filter::accepts);
    EXPECT_TRUE(method("a", "ab"));
    EXPECT_EQ(filter.asked, 1);
    EXPECT_TRUE(Accept(&constFilter, &Filter::acceptsAny)("", ""));
    EXPECT_TRUE(Accept([&filter](const char* path, const char*) { return path == filter.wanted; })(
        "b", ""));
}

} // namespace
