/// Tells the first press of a key from a repeated one, for Tab.
///
/// Shift never begins anew, whatever key it comes with: so Shift, then Shift+Tab goes on with the
/// completions that Tab began, and so does a Tab after a letter typed with Shift.
#pragma once

#include <limits>

namespace dm {

class KeyRepeat
{
public:
    void press(int key, bool shift)
    {
        if (key != lastKey && !shift) {
            lastKey = key;
            count = 1;
        } else if (count < std::numeric_limits<int>::max()) {
            ++count;
        }
    }

    /// True also for Shift+Tab as the very first key.
    bool isFirst() const { return count == 1; }

private:
    int lastKey = -1;
    int count = 0;
};

} // namespace dm
