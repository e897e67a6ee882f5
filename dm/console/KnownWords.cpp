#include "dm/console/KnownWords.h"

#include <algorithm>
#include <iterator>

namespace dm {

void KnownWords::add(const char* word, bool isFunction)
{
    zu::InplaceString<256> key(word);
    key.toLower();
    words.emplace(std::move(key), isFunction);
}

void KnownWords::remove(const char* word)
{
    if (words.erase(zu::InplaceString<256>(word)) > 0)
        proposed = words.end();
}

void KnownWords::removeAll()
{
    words.clear();
    proposed = words.end();
}

void KnownWords::complete(InputLine& line, bool forward, bool restart)
{
    if (words.empty())
        return;
    if (restart) {
        start(line);
        proposed = words.find(fragment);
        if (proposed == words.end())
            findFirst(forward);
    } else if (proposed != words.end()) {
        findNext(forward);
    }
    if (proposed != words.end() && matches(*proposed))
        apply(line);
}

// The line's head and the fragment to complete. With the cursor right on what separates them there
// is no fragment, and every word fits.
void KnownWords::start(const InputLine& line)
{
    const std::string_view text = line.getText().view();
    const auto cursor = static_cast<size_t>(line.getCursor());
    const size_t separator = text.find_last_of(" >", cursor);
    const size_t headLength = separator == std::string_view::npos ? 0 : separator + 1;
    const bool onSeparator = headLength > cursor;

    head.assign(text.data(), headLength);
    fragment.assign(text.data() + headLength, onSeparator ? 0 : text.size() - headLength);
    fragment.toLower();
}

void KnownWords::findFirst(bool forward)
{
    const auto fits = [this](const Map::value_type& word) { return matches(word); };
    if (forward) {
        proposed = std::find_if(words.cbegin(), words.cend(), fits);
        return;
    }
    const auto found = std::find_if(words.crbegin(), words.crend(), fits);
    proposed = found == words.crend() ? words.cend() : std::prev(found.base());
}

// Ends at the word it began with if no other fits.
void KnownWords::findNext(bool forward)
{
    const auto begun = proposed;
    do
        stepRound(forward);
    while (proposed != begun && !matches(*proposed));
}

void KnownWords::stepRound(bool forward)
{
    if (forward) {
        ++proposed;
        if (proposed == words.cend())
            proposed = words.cbegin();
    } else {
        if (proposed == words.cbegin())
            proposed = words.cend();
        --proposed;
    }
}

bool KnownWords::matches(const Map::value_type& word) const
{
    return word.first.view().find(fragment.view()) != std::string_view::npos;
}

void KnownWords::apply(InputLine& line) const
{
    zu::InplaceString<256> text(head);
    text += proposed->first;
    if (proposed->second)
        text += "(  );";
    line.setText(text.view(), true);
    if (proposed->second)
        line.setCursor(static_cast<int>(text.length()) - 3);
}

} // namespace dm
