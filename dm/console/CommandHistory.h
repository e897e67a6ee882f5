/// The commands that were entered, and where browsing through them has come to.
///
/// Every entered line counts, repetitions too. Browsing goes round: past the oldest comes the
/// newest. It begins at rest, where one step back is the newest and one forward the oldest.
#pragma once

#include "dm/console/LineStore.h"

#include <dm/console.h>

namespace dm {

class CommandHistory
{
public:
    using Store = LineStore<256>;

    /// Drops the oldest when full; browsing is at rest again.
    void add(const zu::String& command);

    /// Moves to older commands for a positive delta, to newer for a negative one, and returns the
    /// command there: null when there is none at all. Valid until the next add.
    const zu::String* browse(int delta);

    /// What the cache file keeps. A store read from it brings its own limit and may hold anything:
    /// browse does not trust it.
    Store& accessStore() { return store; }
    const Store& getStore() const { return store; }

private:
    Store store{kMaxConsoleCommands};
    int index = -1; ///< 0 is the newest; -1 at rest
};

} // namespace dm
