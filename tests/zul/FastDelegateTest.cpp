#include <zul/FastDelegate.h>

#include <gtest/gtest.h>

namespace {

using Accept = fastdelegate::FastDelegate2<const char*, const char*, bool>;

struct Filter
{
    std::string wanted;

    bool accepts(const char* path, const char* name) { return path + wanted == name; }
    bool acceptsToo(const char* path, const char* name) const { return path + wanted == name; }
};

bool both(const char* path, const char* name) { return *path != 0 && *name != 0; }

TEST(FastDelegate, CallsFunctionsMethodsAndFunctors)
{
    Filter filter{"b"};
    const auto functor = [&](const char* path, const char* name) {
        return path + filter.wanted == name;
    };
    for (const Accept& accept : {Accept(both), Accept(functor), Accept(&filter, &Filter::accepts),
                                 Accept(&std::as_const(filter), &Filter::acceptsToo)})
        EXPECT_TRUE(accept("a", "ab") && !accept("", "a"));
}

} // namespace
