#include "dm/fs/CannedAnswers.h"

#include <fstream>
#include <stdexcept>

namespace support {

namespace {

constexpr const char* kFolders = R"(getMappedFolders => true << 1\x00work,/home/me/work\x00)";

/// "\xNN" is a byte, everything else stands for itself.
std::string unescape(const std::string& text)
{
    std::string bytes;
    for (size_t at = 0; at < text.size(); ++at) {
        const bool isEscape = text.compare(at, 2, "\\x") == 0;
        bytes +=
            isEscape ? static_cast<char>(std::stoi(text.substr(at + 2, 2), nullptr, 16)) : text[at];
        at += isEscape ? 3 : 0;
    }
    return bytes;
}

/// Splits "TEXT << DATA" or "TEXT".
std::pair<std::string, std::string> splitData(const std::string& text)
{
    const size_t at = text.find(" <<");
    if (at == std::string::npos)
        return {text, ""};
    return {text.substr(0, at), unescape(text.substr(at + 4))};
}

ScriptedFileServer::Exchange parseExchange(const std::string& line)
{
    const size_t arrow = line.find(" =>");
    if (arrow == std::string::npos)
        throw std::runtime_error("no answer in: " + line);
    const auto [command, data] = splitData(line.substr(0, arrow));
    const auto [answer, answerData] = splitData(line.substr(arrow + 3));
    return {command, data, {answer.substr(std::min<size_t>(1, answer.size())), answerData}};
}

} // namespace

std::vector<ScriptedFileServer::Exchange> readCannedAnswers(const std::string& testName)
{
    const std::string header = "== " + testName.substr(0, testName.find('/'));
    std::ifstream file(DM_SOURCE_PATH "/tests/dm/fs/ConformanceAnswers.txt");
    std::vector<ScriptedFileServer::Exchange> exchanges = {parseExchange(kFolders)};
    bool isInCase = false;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("== "))
            isInCase = line == header;
        else if (isInCase)
            for (size_t at = 0, end = 0; end != line.npos; at = end + 3) {
                end = line.find(" ; ", at);
                exchanges.push_back(parseExchange(line.substr(at, end - at)));
            }
    }
    if (exchanges.size() == 1)
        throw std::runtime_error("ConformanceAnswers.txt has nothing under " + header);
    return exchanges;
}

} // namespace support
