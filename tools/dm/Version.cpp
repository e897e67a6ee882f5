#include "tools/dm/Version.h"

#include <dm/comm.h>

namespace tool {

const char* versionNumber() { return DM_VERSION; }

std::string describeVersion(const std::string& program, const std::string& commit)
{
    return program + " " + versionNumber() + ", commit " + commit + ", pipe protocol " +
           std::to_string(dm::kPipeProtocolVersion);
}

} // namespace tool
