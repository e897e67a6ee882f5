#pragma once

#include <zul/ProfileSnapshot.h>

#include <string>
#include <vector>

namespace sandbox {

/// A table of what took how long, longest first: a line a zone, of all threads together.
std::vector<std::string> profileReport(const d::Profile::Snapshot& snapshot);

} // namespace sandbox
