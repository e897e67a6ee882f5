/// Texts that are handed out as pointers and must stay valid although they are replaced.
#pragma once

#include "dm/common/LockOrder.h"

#include <atomic>
#include <set>
#include <string>

namespace dm {

/// Keeps every text it is given, each once, until it is destroyed. Any thread.
class KeptTexts
{
public:
    const char* keep(const char* text)
    {
        std::lock_guard guard(lock);
        return values.insert(text).first->c_str();
    }

    size_t count() const
    {
        std::lock_guard guard(lock);
        return values.size();
    }

private:
    mutable LeafMutex lock;
    std::set<std::string> values; // under lock; nodes never move
};

/// A text that any thread may replace and any thread may read as a pointer.
class PublishedText
{
public:
    explicit PublishedText(const char* text) { set(text); }

    const char* get() const { return current.load(std::memory_order_acquire); }

    void set(const char* text)
    {
        // A peer may be the one who chooses: past this many, new texts are not taken any more.
        constexpr size_t kMaxTexts = 4096;
        if (texts.count() < kMaxTexts)
            current.store(texts.keep(text), std::memory_order_release);
    }

private:
    KeptTexts texts;
    std::atomic<const char*> current{""};
};

} // namespace dm
