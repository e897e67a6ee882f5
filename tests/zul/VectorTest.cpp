#include <zul/InplaceString.h>
#include <zul/Vector.h>

#include <gtest/gtest.h>
#include <type_traits>

namespace {

using zu::Vector;
using Words = Vector<zu::InplaceString<256>>;

static_assert(std::is_same_v<Words, Vector<zu::InplaceString<256>, zu::HeapAllocator>>);

TEST(Vector, GrowsByHalfAndAtLeastToEight)
{
    Vector<int> numbers;
    Vector<size_t> capacities;
    for (int i = 0; i < 28; ++i) {
        numbers.push_back(i);
        if (capacities.empty() || capacities.back() != numbers.capacity())
            capacities.add(numbers.capacity());
    }
    EXPECT_EQ(capacities, (Vector<size_t>{8, 12, 18, 27, 40}));

    Vector<int> roomy;
    roomy.reserve(16);
    roomy.resize(16);
    roomy.insert(0, 1);
    EXPECT_EQ(roomy.capacity(), 24u);
    roomy.resize(100);
    EXPECT_EQ(roomy.capacity(), 100u);
}

TEST(Vector, TakesItsOwnElementsWhileItGrows)
{
    Words words{"first"};
    while (words.size() < 100)
        words.push_back(words[0]);
    words.insert(words.size(), words[0]);
    for (const auto& word : words)
        EXPECT_EQ(word, "first");
}

TEST(Vector, DestroysElementsButKeepsStorage)
{
    const auto shared = std::make_shared<int>(1);
    Vector<std::shared_ptr<int>> holders;
    holders.resize(9);
    for (auto& holder : holders)
        holder = shared;
    const size_t capacity = holders.capacity();
    holders.erase(0);
    holders.erase(1, 2);
    EXPECT_EQ(shared.use_count(), 1 + 6);
    holders.clear();
    EXPECT_EQ(shared.use_count(), 1);
    EXPECT_EQ(holders.capacity(), capacity);
}

} // namespace
