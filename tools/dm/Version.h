#pragma once

#include <string>

namespace tool {

/// The commit that the program was built from, or "unknown" outside its repository. In a generated
/// source that only the programs themselves are linked with: a new commit compiles nothing else.
extern const char* const kCommit;

/// "1.0.0"
const char* versionNumber();

/// What --version prints: "dm 1.0.0, commit 1a2b3c4d5e6f, pipe protocol 2".
std::string describeVersion(const std::string& program, const std::string& commit);

} // namespace tool
