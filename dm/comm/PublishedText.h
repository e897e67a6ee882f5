/// Texts that are handed out as pointers and must stay valid although they are replaced.
#pragma once

#include "dm/common/LockOrder.h"

#include <atomic>
#include <cstddef>
#include <limits>
#include <set>
#include <string>

namespace dm {

/// Keeps every text it is given, each once, until it is destroyed. Any thread.
class KeptTexts
{
public:
    static constexpr size_t kNoLimit = std::numeric_limits<size_t>::max();

    /// Null when it would be one more than `limit`.
    const char* keep(const char* text, size_t limit = kNoLimit)
    {
        std::lock_guard guard(lock);
        if (values.size() >= limit && !values.contains(text))
            return nullptr;
        return values.insert(text).first->c_str();
    }

private:
    LeafMutex lock;
    std::set<std::string> values; // under lock; nodes never move
};

/// A text that any thread may replace and any thread may read as a pointer.
class PublishedText
{
public:
    /// Past `mostTexts` different ones, new texts are not taken any more: for what a peer chooses.
    explicit PublishedText(const char* text, size_t mostTexts = KeptTexts::kNoLimit)
        : limit(mostTexts)
    {
        set(text);
    }

    const char* get() const { return current.load(std::memory_order_acquire); }

    void set(const char* text)
    {
        if (const char* kept = texts.keep(text, limit))
            current.store(kept, std::memory_order_release);
    }

private:
    const size_t limit;
    KeptTexts texts;
    std::atomic<const char*> current{""};
};

} // namespace dm
