/// What a file server was asked and what it answered, from ConformanceAnswers.txt.
///
/// Under "== CASE" exchange after exchange, with the data that went along behind "<<". Each case
/// begins with the folders being asked for, which is not written down.
///
///     write 0 2 "work/a" << ab => 2 ; getFileSize "work/a" => 2
///     findFiles "work/*" => << 1\x000 2 9 "a"\x00
#pragma once

#include "support/ScriptedFileServer.h"

#include <string>
#include <vector>

namespace support {

/// The exchanges of a test case. Throws std::runtime_error when there are none.
std::vector<ScriptedFileServer::Exchange> readCannedAnswers(const std::string& testName);

} // namespace support
