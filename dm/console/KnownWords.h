/// The words that the game told the console, and their completion with Tab.
///
///     known: echo, help, print           "e|"        ->  "echo"  ->  "help"  ->  "echo"
///     known: setfov, a function          "setf|"     ->  "setfov( | );"
///     known: help                        "give >he|" ->  "give >help"
///
/// A word is proposed wherever it contains what was typed, in alphabetical order, always in lower
/// case; what followed the cursor on the line is replaced too.
#pragma once

#include "dm/console/InputLine.h"

#include <zul/InplaceString.h>
#include <zul/Memory.h>

#include <map>
#include <string_view>
#include <utility>

namespace dm {

class KnownWords
{
public:
    KnownWords() = default;
    KnownWords(const KnownWords&) = delete; // an iterator into the map
    KnownWords& operator=(const KnownWords&) = delete;

    /// A word that is there keeps its flag. Letter case is ignored.
    ///
    ///   isFunction   completed with "(  );" and the cursor within.
    void add(const char* word, bool isFunction);
    /// Removing a word ends the completion under way.
    void remove(const char* word);
    void removeAll();

    /// Letter case is ignored. Makes no string.
    bool contains(std::string_view word) const { return words.find(word) != words.end(); }

    /// Puts the next word that fits into the line; a line that none fits stays as it is.
    ///
    ///   forward   false: the one before.
    ///   restart   looks at what is typed before and at the cursor, back to the last ' ' or '>';
    ///             false goes on from the word proposed last.
    void complete(InputLine& line, bool forward, bool restart);

private:
    struct Order
    {
        using is_transparent = void;
        bool operator()(std::string_view left, std::string_view right) const
        {
            return zu::compareNoCase(left.data(), left.size(), right.data(), right.size()) < 0;
        }
        bool operator()(const zu::String& left, const zu::String& right) const
        {
            return left < right;
        }
        bool operator()(std::string_view left, const zu::String& right) const
        {
            return (*this)(left, right.view());
        }
        bool operator()(const zu::String& left, std::string_view right) const
        {
            return (*this)(left.view(), right);
        }
    };
    using Map = std::map<zu::InplaceString<256>, bool, Order,
                         zu::Allocator<std::pair<const zu::InplaceString<256>, bool>>>;

    void start(const InputLine& line);
    void findFirst(bool forward);
    void findNext(bool forward);
    void stepRound(bool forward);
    bool matches(const Map::value_type& word) const;
    void apply(InputLine& line) const;

    Map words; // keys in lower case

    // The completion under way.
    Map::const_iterator proposed = words.end(); // end(): none
    zu::InplaceString<256> fragment;            // in lower case
    zu::InplaceString<128> head;                // what stands before it on the line
};

} // namespace dm
