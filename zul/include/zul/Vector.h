/// A growing array with the library's growth rule and the library's heap.
///
/// For arrays that are part of an exported interface or whose capacity must be predictable; inside
/// a function std::vector does as well.
///
/// Capacity goes from c to max(8, c + c/2): 8, 12, 18, 27... clear() keeps the storage, copying
/// takes new storage of exactly the size. References and iterators end with every growth.
///
/// Threads: one writer, or any number of readers.
/// Errors: zu::Exception when memory runs out; indices are checked in debug builds only.
#pragma once

#include <zul/Memory.h>

#include <algorithm>
#include <cassert>
#include <initializer_list>
#include <iterator>
#include <type_traits>
#include <utility>
#include <vector>

namespace zu {

template <typename T, typename A = HeapAllocator>
class Vector
{
    static_assert(!std::is_same_v<T, bool>, "elements have addresses: use Vector<u8>");
    using Storage = std::vector<T, Allocator<T, A>>;

public:
    using value_type = T;
    using iterator = typename Storage::iterator;
    using const_iterator = typename Storage::const_iterator;

    Vector() noexcept = default;
    Vector(std::initializer_list<T> values)
        : entries(values)
    {
    }
    Vector(const Vector&) = default;
    Vector(Vector&&) noexcept = default;
    ~Vector() = default;
    Vector& operator=(const Vector& other)
    {
        if (this != &other) {
            Vector copy(other);
            entries.swap(copy.entries);
        }
        return *this;
    }
    Vector& operator=(Vector&&) noexcept = default;

    /// The argument may be one of this vector's own elements.
    void push_back(const T& value) { emplace_back(value); }
    void push_back(T&& value) { emplace_back(std::move(value)); }
    void add(const T& value) { emplace_back(value); }
    void add(T&& value) { emplace_back(std::move(value)); }
    template <typename... Arguments>
    T& emplace_back(Arguments&&... arguments)
    {
        if (entries.size() < entries.capacity())
            return entries.emplace_back(std::forward<Arguments>(arguments)...);
        T value(std::forward<Arguments>(arguments)...); // growing may destroy what they refer to
        entries.reserve(grownCapacity());
        return entries.emplace_back(std::move(value));
    }
    void insert(size_t index, T value)
    {
        assert(index <= size());
        if (entries.size() == entries.capacity())
            entries.reserve(grownCapacity());
        entries.insert(at(index), std::move(value));
    }
    void pop_back()
    {
        assert(!empty());
        entries.pop_back();
    }
    void erase(size_t index) { erase(index, 1); }
    void erase(size_t index, size_t count)
    {
        assert(index <= size() && count <= size() - index);
        entries.erase(at(index), at(index + count));
    }
    void clear() { entries.clear(); }

    void reserve(size_t count) { entries.reserve(count); }
    void resize(size_t count)
    {
        if (count > entries.capacity())
            entries.reserve(std::max(count, grownCapacity()));
        entries.resize(count);
    }

    T& operator[](size_t index)
    {
        assert(index < size());
        return entries[index];
    }
    const T& operator[](size_t index) const
    {
        assert(index < size());
        return entries[index];
    }
    T& front() { return (*this)[0]; }
    const T& front() const { return (*this)[0]; }
    T& back() { return (*this)[size() - 1]; }
    const T& back() const { return (*this)[size() - 1]; }

    T* data() { return entries.data(); }
    const T* data() const { return entries.data(); }
    size_t size() const { return entries.size(); }
    size_t capacity() const { return entries.capacity(); }
    bool empty() const { return entries.empty(); }

    iterator begin() { return entries.begin(); }
    iterator end() { return entries.end(); }
    const_iterator begin() const { return entries.begin(); }
    const_iterator end() const { return entries.end(); }

    bool operator==(const Vector& other) const { return entries == other.entries; }

private:
    size_t grownCapacity() const
    {
        const size_t current = entries.capacity();
        return std::max<size_t>(8, current + current / 2);
    }
    iterator at(size_t index)
    {
        return std::next(entries.begin(), static_cast<std::ptrdiff_t>(index));
    }

    Storage entries;
};

} // namespace zu
