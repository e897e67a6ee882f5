#include "bench/contenders/Console.h"

#include "bench/support/TestFiles.h"

#include <zul/File.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>

namespace bench {

std::string consoleLine(unsigned number)
{
    char digits[8];
    std::snprintf(digits, sizeof digits, "%04u", number % 10'000);
    return std::string(digits) + kConsoleText + "\n";
}

CountingEngine& MeasuredConsole::prepare(CountingEngine& engine)
{
    const auto folder = TestFiles::get().root() / "console";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory(folder);
    zu::File::setFileSysPathForWrite(folder.c_str());
    return engine;
}

MeasuredConsole::MeasuredConsole(float width)
    : window(&prepare(engine), 0)
{
    constexpr float kScrollBar = 0.003125f;
    constexpr float kLineHeight = 0.02f;
    window.setWindowSize({width + kScrollBar, (kConsoleLinesOnScreen + 0.5f) * kLineHeight});
    window.setVisibility(true);
    for (unsigned line = 0; line < dm::kMaxConsoleLines; ++line)
        window.printStringWithPrefix(true, consoleLine(line).c_str());
    window.renderVisibleText();
}

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\0'; }
bool isName(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }
bool isNumber(char c) { return std::isdigit(static_cast<unsigned char>(c)) || c == '.'; }

template <typename Predicate>
size_t endOf(const std::string& text, size_t from, Predicate predicate)
{
    while (from < text.size() && predicate(text[from]))
        ++from;
    return from;
}

size_t wordEnd(const std::string& line, size_t begin)
{
    if (isBlank(line[begin]))
        return endOf(line, begin, isBlank);
    if (line[begin] == '"') {
        const size_t close = line.find('"', begin + 1);
        return close == std::string::npos ? begin + 1 : close + 1;
    }
    if (isNumber(line[begin])) {
        const size_t end = endOf(line, begin, isNumber);
        if (end == line.size() || isBlank(line[end]))
            return end;
    }
    return std::max(endOf(line, begin, isName), begin + 1);
}

} // namespace

void StringConsole::print(const std::string& text)
{
    pending += text;
    for (size_t end = 0; (end = pending.find('\n')) != std::string::npos;) {
        tokenize(pending.substr(0, end));
        pending.erase(0, end + 1);
        wrap();
    }
}

void StringConsole::tokenize(const std::string& line)
{
    words.clear();
    for (size_t begin = 0; begin < line.size();) {
        const size_t end = wordEnd(line, begin);
        words.push_back(line.substr(begin, end - begin));
        begin = end;
    }
}

void StringConsole::wrap()
{
    std::string row;
    for (const std::string& word : words) {
        if (!row.empty() && row.size() + word.size() >= width) {
            store(row + "\n");
            row.clear();
        }
        row += word;
    }
    store(row + "\n");
}

void StringConsole::store(const std::string& row)
{
    if (rows.size() == dm::kMaxConsoleLines)
        rows.pop_front();
    rows.push_back(row);
}

} // namespace bench
