/// A bounded store of lines: when it is full, the newest takes the place of the oldest.
///
/// Counter and limit may come from a damaged file. They are kept as they are and written back so,
/// but nothing is ever indexed, and no more memory ever taken, on their word.
///
/// Threads: as for an int; one writer, or any number of readers.
#pragma once

#include <zul/InplaceString.h>
#include <zul/Types.h>
#include <zul/Vector.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace dm {

/// Where a store ends, whatever its limit says.
inline constexpr zu::u32 kLargestLineStore = 65536;

template <size_t N>
class LineStore
{
public:
    using Line = zu::InplaceString<N>;

    explicit LineStore(zu::u32 limit)
        : maxLines(limit)
    {
    }

    /// Replaces everything by what a file holds: counter, limit and lines in the order of their
    /// slots.
    void restore(zu::u32 counter, zu::u32 limit, zu::Vector<Line>&& slots)
    {
        lineCounter = counter;
        maxLines = limit;
        lines = std::move(slots);
    }

    /// Makes room for a new line and returns it, empty, to be filled. Valid until the next change.
    Line& add()
    {
        Line& line = isFull() ? nextSlot() : lines.emplace_back();
        line.clear();
        ++lineCounter;
        return line;
    }

    /// The text may be a line of this store.
    void add(std::string_view text)
    {
        if (isFull())
            nextSlot().assign(text.data(), text.size());
        else
            lines.emplace_back(text.data(), text.size());
        ++lineCounter;
    }
    void add(const zu::String& text) { add(text.view()); }

    /// Line k counted from the newest, which is 0; null when there are not so many.
    const Line* newest(zu::u64 k) const
    {
        if (k >= lines.size())
            return nullptr;
        // Before it is full the counter is the number of lines, except in a damaged file.
        if (!isFull())
            return &lines[lines.size() - static_cast<size_t>(k) - 1];
        const zu::u32 slot = lineCounter - static_cast<zu::u32>(k) - 1;
        return &lines[(slot + getCapacity()) % getCapacity()];
    }

    /// The limit stays.
    void clear()
    {
        lineCounter = 0;
        lines.clear();
    }

    size_t size() const { return lines.size(); }
    zu::u32 getLimit() const { return maxLines; }
    /// How many lines were ever added.
    zu::u32 getCounter() const { return lineCounter; }
    /// In the order of the slots, which is not that of age.
    const zu::Vector<Line>& getSlots() const { return lines; }

private:
    zu::u32 getCapacity() const { return std::clamp<zu::u32>(maxLines, 1, kLargestLineStore); }
    // More lines than the limit come from a file only.
    bool isFull() const { return lines.size() >= getCapacity(); }
    Line& nextSlot() { return lines[lineCounter % getCapacity()]; }

    zu::Vector<Line> lines;
    zu::u32 maxLines;
    zu::u32 lineCounter = 0;
};

} // namespace dm
