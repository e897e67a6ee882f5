#include "tools/dm/Completion.h"

namespace tool {

std::string toCompletion(const CommandDescription& root, const std::string& shell)
{
    return shell == "bash"   ? toBashCompletion(root)
           : shell == "fish" ? toFishCompletion(root)
                             : toZshCompletion(root);
}

} // namespace tool
