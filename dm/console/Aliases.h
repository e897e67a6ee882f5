/// Names that stand for other words in a command line, and what keeps them from going round.
///
/// A map that never saw the check may hold cycles, and aliases that double the text with each step:
/// expansion ends all the same, and soon. It uses no stack to speak of.
#pragma once

#include <dm/console.h>

#include <string_view>

namespace dm {

/// How much text aliases may give a line that one of its words uses more than once.
inline constexpr size_t kMaxRepeatedAliasBytes = 64 * 1024;

/// The entry whose name is the word, letter case aside; end() if there is none.
AliasMap::const_iterator findAlias(const AliasMap& aliases, std::string_view word);

/// Appends `in` with every alias replaced by the words of its text, and theirs by theirs. All words
/// are looked up, white space and punctuation too; the others stay as they were typed. `out` and
/// `in` are two lists.
///
/// An alias within its own expansion stays as it is. So does one that a word of `in` leads to
/// again, once kMaxRepeatedAliasBytes have come from such; what passed checkAliasValidity has none.
void resolveAliases(WordList& out, const WordList& in, const AliasMap& aliases);

/// Throws ScrollingTextWindowException_IllegalAliasDefinition if the words of `text`, expanded,
/// use `name` or use any alias a second time: "b;b" is refused too. So the expansion of what passed
/// is never longer than all texts together.
void checkAliasValidity(const AliasMap& aliases, const zu::String& name, const zu::String& text);

} // namespace dm
