/// A queue of message records: appended at the end, mostly taken from the front.
#pragma once

#include <zul/Vector.h>

#include <cstddef>
#include <utility>

namespace dm {

/// Taking the front only moves a mark; the gap is closed when it is half of the storage, so a long
/// queue costs the same a record as a short one.
template <typename Record>
class RecordQueue
{
public:
    static constexpr size_t kInitialRoom = 16;
    static constexpr size_t kKeptRoom = 1024; // what a burst needed beyond is given back

    RecordQueue() { records.reserve(kInitialRoom); }

    bool empty() const { return size() == 0; }
    size_t size() const { return records.size() - head; }

    Record& operator[](size_t index) { return records[head + index]; }
    const Record& operator[](size_t index) const { return records[head + index]; }
    Record& front() { return records[head]; }
    auto begin() { return records.begin() + static_cast<std::ptrdiff_t>(head); }
    auto end() { return records.end(); }

    Record& append(Record&& record)
    {
        makeRoom();
        records.push_back(std::move(record));
        return records[records.size() - 1];
    }

    /// Appends an empty record, to be filled in where it lies.
    Record& appendEmpty()
    {
        makeRoom();
        records.resize(records.size() + 1);
        return records[records.size() - 1];
    }

    /// Removes the front, which the caller has moved elsewhere.
    void popFront()
    {
        ++head;
        if (head == records.size())
            clear();
    }

    void erase(size_t index)
    {
        if (index != 0) {
            records.erase(head + index);
            return;
        }
        if (size() > 1)
            records[head] = Record{}; // gives back what it holds now, not when the gap is closed
        popFront();
    }

    void clear()
    {
        if (records.capacity() > kKeptRoom) {
            records = zu::Vector<Record>();
            records.reserve(kInitialRoom);
        }
        records.clear();
        head = 0;
    }

    /// The first record that `matches`, or null. Not to be kept across a change of the queue.
    template <typename Predicate>
    Record* find(Predicate matches)
    {
        for (size_t index = head; index < records.size(); ++index) {
            if (matches(records[index]))
                return &records[index];
        }
        return nullptr;
    }

    /// Removes every record that `matches`.
    template <typename Predicate>
    void eraseIf(Predicate matches)
    {
        for (size_t index = size(); index-- > 0;) {
            if (matches((*this)[index]))
                erase(index);
        }
    }

private:
    void makeRoom()
    {
        if (records.size() == records.capacity() && head > 0 && head >= records.size() / 2)
            closeGap();
    }

    void closeGap()
    {
        const size_t count = size();
        for (size_t index = 0; index < count; ++index)
            records[index] = std::move(records[head + index]);
        records.resize(count);
        head = 0;
    }

    zu::Vector<Record> records;
    size_t head = 0; // records before it are taken
};

} // namespace dm
