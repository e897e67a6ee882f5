#include "dm/console/Aliases.h"

#include "dm/console/Tokenizer.h"

#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace dm {

namespace {

using Alias = AliasMap::value_type;

// The aliases being expanded, each within the one before it, and how far each has come. A list of
// its own instead of calls within calls: a chain of aliases may be as long as the map is large.
class Expansion
{
public:
    void enter(const Alias& alias)
    {
        levels.push_back({&alias, console::WordCutter(alias.second.view())});
    }
    bool isRunning() const { return !levels.empty(); }

    // The innermost alias's next word; or leaves it, at its end, and returns it instead.
    const Alias* next(std::string_view& word)
    {
        Level& level = levels.back();
        if (level.cutter.next(word))
            return nullptr;
        const Alias* left = level.alias;
        levels.pop_back();
        return left;
    }

private:
    struct Level
    {
        const Alias* alias;
        console::WordCutter cutter; // of its text
    };
    std::vector<Level> levels;
};

// Resolves the words of one line.
class Resolver
{
public:
    Resolver(WordList& words, const AliasMap& map)
        : out(words)
        , aliases(map)
    {
    }

    void resolve(std::string_view word)
    {
        states.clear();
        take(word);
        while (expansion.isRunning()) {
            if (const Alias* left = expansion.next(word))
                states[left] = State::Expanded;
            else
                take(word);
        }
    }

private:
    enum class State
    {
        Running,
        Expanded
    };

    void take(std::string_view word)
    {
        const auto found = findAlias(aliases, word);
        if (found == aliases.end() || !mayExpand(*found))
            out.emplace_back(word.data(), word.size());
        else
            expansion.enter(*found);
    }

    bool mayExpand(const Alias& alias)
    {
        const auto [entry, isNew] = states.try_emplace(&alias, State::Running);
        if (isNew)
            return true;
        if (entry->second == State::Running)
            return false;
        // An empty text counts too: aliases that only name each other take time and give nothing.
        const size_t bytes = alias.second.length() + 1;
        if (bytes > repeatedBytesLeft)
            return false;
        repeatedBytesLeft -= bytes;
        entry->second = State::Running;
        return true;
    }

    WordList& out;
    const AliasMap& aliases;
    Expansion expansion;
    std::unordered_map<const Alias*, State> states; // of those met in this word of the line
    size_t repeatedBytesLeft = kMaxRepeatedAliasBytes;
};

[[noreturn]] void throwLoop(std::string_view word)
{
    zu::InplaceString<256> name(word.data(), word.size());
    name.toLower();
    const auto message =
        zu::str("Resolving alias \"%s\" causes a loop - alias used inside alias", name.c_str());
    ScrollingTextWindowException_IllegalAliasDefinition error;
    error.setError("ScrollingTextWindow: %s", message.c_str());
    throw error;
}

} // namespace

AliasMap::const_iterator findAlias(const AliasMap& aliases, std::string_view word)
{
    if (aliases.empty())
        return aliases.end();
    return aliases.find(zu::InplaceString<256>(word.data(), word.size()));
}

void resolveAliases(WordList& out, const WordList& in, const AliasMap& aliases)
{
    Resolver resolver(out, aliases);
    for (const auto& word : in)
        resolver.resolve(word.view());
}

void checkAliasValidity(const AliasMap& aliases, const zu::String& name, const zu::String& text)
{
    // Names are never taken out again, so no alias is walked twice. A name that is not in the map
    // cannot be found either.
    std::unordered_set<const Alias*> visited;
    if (const auto own = findAlias(aliases, name.view()); own != aliases.end())
        visited.insert(&*own);

    const Alias definition(name, text);
    Expansion expansion;
    expansion.enter(definition);
    for (std::string_view word; expansion.isRunning();) {
        if (expansion.next(word))
            continue;
        const auto found = findAlias(aliases, word);
        if (found == aliases.end())
            continue;
        if (!visited.insert(&*found).second)
            throwLoop(word);
        expansion.enter(*found);
    }
}

} // namespace dm
