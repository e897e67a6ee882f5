#include <zul/InplaceString.h>
#include <zul/Vector.h>

#include <gtest/gtest.h>

namespace {

TEST(Vector, TakesItsOwnElementsWhileItGrows)
{
    zu::Vector<zu::InplaceString<256>> words{"first"};
    while (words.size() < 100)
        words.push_back(words[0]);
    words.insert(words.size(), words[0]);
    for (const auto& word : words)
        EXPECT_EQ(word, "first");
}

} // namespace
