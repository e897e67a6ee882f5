#include "tools/dm/JobScript.h"

#include "tools/dm/Arguments.h"

#include <dm/comm.h>

#include <algorithm>
#include <charconv>

namespace tool {

namespace {

/// The words behind a step's own, in their order.
struct Grammar
{
    const char* name;
    const char* usage;
    bool hasNotification;
    bool hasText;
    bool hasValue;
    char redirection; // '>' or '<', 0 for none
};

constexpr Grammar kGrammars[] = {
    {"notify", "notify PIPE TEXT VALUE", false, true, true, 0},
    {"request", "request PIPE TEXT [> FILE]", false, true, false, '>'},
    {"wait-notify", "wait-notify PIPE", false, false, false, 0},
    {"wait-request", "wait-request PIPE", false, false, false, 0},
    {"respond", "respond PIPE TEXT [< FILE]", false, true, false, '<'},
    {"wait-notify-and-request", "wait-notify-and-request PIPE NOTIFY TEXT [> FILE]", true, true,
     false, '>'},
};

struct Word
{
    std::size_t at = 0; // where it begins in the line, in bytes
    std::string text;
    bool isQuoted = false;
};

/// Ends the reading of a line.
struct LineError
{
    std::size_t at;
    std::string message;
};

bool isBlank(char byte) { return byte == ' ' || byte == '\t'; }

/// Cuts a line into words.
class WordReader
{
public:
    explicit WordReader(std::string_view lineText)
        : line(lineText)
    {
    }

    /// False when there is no further word.
    bool next(Word& word)
    {
        while (at < line.size() && isBlank(line[at]))
            ++at;
        if (at == line.size() || line[at] == '#')
            return false;
        word = {at, {}, line[at] == '"'};
        if (word.isQuoted)
            readQuoted(word);
        else if (line[at] == '>' || line[at] == '<')
            word.text = line[at++]; // its file may follow without a blank
        else
            readPlain(word);
        return true;
    }

    std::size_t position() const { return at; }

private:
    void readPlain(Word& word)
    {
        for (; at < line.size() && !isBlank(line[at]); ++at) {
            if (line[at] == '"')
                throw LineError{at, "a quote inside a word: quote the whole word, and write a "
                                    "quote in it as \\\""};
            word.text += line[at];
        }
    }

    void readQuoted(Word& word)
    {
        for (++at; at < line.size() && line[at] != '"'; ++at)
            word.text += line[at] == '\\' ? readEscape() : line[at];
        if (at == line.size())
            throw LineError{word.at, "the quoted word does not end: close it with \""};
        ++at;
        if (at < line.size() && !isBlank(line[at]))
            throw LineError{at, "something follows the closing quote: put a blank between them"};
    }

    // Leaves `at` on the escape's last character.
    char readEscape()
    {
        const char escaped = at + 1 < line.size() ? line[at + 1] : '\0';
        switch (escaped) {
        case '"':
        case '\\':
            ++at;
            return escaped;
        case 'n':
            ++at;
            return '\n';
        case 't':
            ++at;
            return '\t';
        default:
            throw LineError{at, "an unknown escape: write \\\" \\\\ \\n or \\t"};
        }
    }

    const std::string_view line;
    std::size_t at = 0;
};

/// Reads the words of one line as a step.
class StepReader
{
public:
    explicit StepReader(std::string_view line)
        : words(line)
    {
        if (const std::size_t zero = line.find('\0'); zero != line.npos)
            throw LineError{zero, "a zero byte: a script is text"};
        hasWord = words.next(word);
    }

    bool isEmpty() const { return !hasWord; }

    ScriptStep read()
    {
        ScriptStep step;
        step.kind = takeKind();
        grammar = &kGrammars[step.kind];
        step.pipe = takePipe();
        if (grammar->hasNotification)
            step.notification = take("NOTIFY");
        if (grammar->hasText)
            step.text = takeText(step.kind);
        if (grammar->hasValue)
            step.value = takeValue();
        if (grammar->redirection != 0 && hasWord && isRedirection(grammar->redirection))
            step.file = takeFile();
        if (hasWord)
            fail(word.at, "'" + word.text + "' is too much");
        return step;
    }

private:
    ScriptStep::Kind takeKind()
    {
        const auto* const found =
            std::find_if(std::begin(kGrammars), std::end(kGrammars),
                         [&](const Grammar& one) { return word.text == one.name; });
        if (found == std::end(kGrammars))
            throw LineError{word.at, "'" + word.text +
                                         "' is no job: write notify, request, wait-notify, "
                                         "wait-request, respond or wait-notify-and-request"};
        advance();
        return static_cast<ScriptStep::Kind>(found - std::begin(kGrammars));
    }

    std::string take(const char* what)
    {
        if (!hasWord || isRedirection('>') || isRedirection('<'))
            fail(hasWord ? word.at : words.position(), std::string(what) + " is missing");
        std::string text = word.text;
        if (text.size() > dm::CommunicationPipe::kMaxTextBytes)
            fail(word.at, std::string(what) + " is longer than 256 KiB");
        advance();
        return text;
    }

    std::string takePipe()
    {
        const std::size_t at = word.at;
        std::string name = take("PIPE");
        if (const std::string why = whyNoPipeName(name); !why.empty())
            fail(at, "PIPE " + why);
        return name;
    }

    std::string takeText(ScriptStep::Kind kind)
    {
        const std::size_t at = word.at;
        std::string text = take("TEXT");
        if (text.empty() && kind != ScriptStep::Respond)
            fail(at, "TEXT is empty, which the other end cannot tell from none");
        return text;
    }

    std::uint32_t takeValue()
    {
        const std::size_t at = word.at;
        const std::string text = take("VALUE");
        std::uint32_t value = 0;
        const char* const end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, value);
        if (error != std::errc() || stop != end)
            fail(at, "'" + text + "' is no VALUE, which is a number from 0 to 4294967295");
        return value;
    }

    std::string takeFile()
    {
        advance();
        const std::size_t at = word.at;
        std::string file = take("FILE");
        if (file.empty())
            fail(at, "FILE is empty");
        if (file == "-")
            fail(
                at,
                "FILE cannot be -: name a file, the standard streams serve the script and the log");
        return file;
    }

    bool isRedirection(char sign) const
    {
        return !word.isQuoted && word.text.size() == 1 && word.text[0] == sign;
    }

    void advance()
    {
        hasWord = words.next(word);
        if (!hasWord)
            word = {};
    }

    [[noreturn]] void fail(std::size_t at, const std::string& what) const
    {
        throw LineError{at, what + ": write " + grammar->usage};
    }

    WordReader words;
    Word word; // the next one, if any
    bool hasWord = false;
    const Grammar* grammar = nullptr;
};

// Characters, so that an editor finds it: in UTF-8 all bytes but those that continue one.
std::size_t columnAt(std::string_view line, std::size_t at)
{
    const std::string_view before = line.substr(0, at);
    return 1 + static_cast<std::size_t>(std::count_if(before.begin(), before.end(), [](char byte) {
               return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
           }));
}

void readLine(JobScript& script, std::string_view line, std::size_t number)
{
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    try {
        StepReader reader(line);
        if (reader.isEmpty())
            return;
        script.steps.push_back(reader.read());
        script.steps.back().line = number;
    } catch (const LineError& error) {
        script.errors.push_back({number, columnAt(line, error.at), error.message});
    }
}

} // namespace

const char* nameOf(ScriptStep::Kind kind) { return kGrammars[kind].name; }

JobScript parseJobScript(std::string_view text)
{
    JobScript script;
    for (std::size_t number = 1; !text.empty() && script.errors.size() < kMaxScriptErrors; ++number)
    {
        const std::size_t end = std::min(text.find('\n'), text.size());
        readLine(script, text.substr(0, end), number);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return script;
}

} // namespace tool
