#include "tools/dm/ManPage.h"

#include "tools/dm/ExitCode.h"
#include "tools/dm/Files.h"
#include "tools/dm/Version.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace tool {

namespace {

// A hyphen is copied as the option it is, not as typographers want it; so are the others.
std::string escape(std::string_view text)
{
    std::string escaped;
    for (const char c : text) {
        switch (c) {
        case '-':
            escaped += "\\-";
            break;
        case '\\':
            escaped += "\\e";
            break;
        case '\'':
            escaped += "\\(aq";
            break;
        case '`':
            escaped += "\\(ga";
            break;
        case '^':
            escaped += "\\(ha";
            break;
        case '~':
            escaped += "\\(ti";
            break;
        case '.': // a line that begins with it would be a request
            escaped += escaped.empty() ? "\\&." : ".";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

std::string bold(std::string_view text) { return "\\fB" + escape(text) + "\\fR"; }
std::string italic(std::string_view text) { return "\\fI" + escape(text) + "\\fR"; }

/// A paragraph of the footer.
class Paragraph
{
public:
    explicit Paragraph(std::string_view paragraphText)
        : text(paragraphText)
    {
    }

    /// Whether it begins with this heading, which is taken away then.
    bool takeHeading(std::string_view heading)
    {
        if (!text.starts_with(heading))
            return false;
        text.remove_prefix(heading.size());
        text.remove_prefix(std::min(text.find_first_not_of(" \n"), text.size()));
        return true;
    }

    std::string_view rest() const { return text; }

    std::string toRoff() const
    {
        std::string roff = ".PP\n";
        bool isVerbatim = false;
        eachLine([&](std::string_view line) {
            if (line.starts_with("  ") != isVerbatim) {
                isVerbatim = !isVerbatim;
                roff += isVerbatim ? ".RS 2\n.nf\n" : ".fi\n.RE\n";
            }
            roff += escape(isVerbatim ? line.substr(2) : line) + "\n";
        });
        return roff + (isVerbatim ? ".fi\n.RE\n" : "");
    }

    std::string toExample() const
    {
        std::string roff = ".PP\n.nf\n";
        eachLine([&](std::string_view line) {
            line.remove_prefix(line.starts_with("  ") ? 2 : 0);
            roff += escape(line) + "\n";
        });
        return roff + ".fi\n";
    }

private:
    template <typename Take>
    void eachLine(Take take) const
    {
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t end = std::min(text.find('\n', at), text.size());
            take(text.substr(at, end - at));
            at = end + 1;
        }
    }

    std::string_view text;
};

/// The footer, told apart.
struct Sections
{
    std::string description;
    std::string examples;
    std::string exitCodes; ///< "0 ok, 1 other failure."
};

Sections divide(std::string_view footer)
{
    Sections sections;
    while (!footer.empty()) {
        const std::size_t end = std::min(footer.find("\n\n"), footer.size());
        Paragraph paragraph(footer.substr(0, end));
        footer.remove_prefix(std::min(end + 2, footer.size()));
        if (paragraph.takeHeading("Exit codes:"))
            sections.exitCodes = paragraph.rest();
        else if (paragraph.takeHeading("Examples:") || paragraph.takeHeading("Example:"))
            sections.examples += paragraph.toExample();
        else
            sections.description += paragraph.toRoff();
    }
    return sections;
}

// "0 ok, 1 other failure." has an entry before each comma that a number follows.
std::string listExitCodes(std::string codes)
{
    std::replace(codes.begin(), codes.end(), '\n', ' ');
    if (codes.ends_with('.'))
        codes.pop_back();
    std::string roff;
    for (std::size_t at = 0; at < codes.size();) {
        std::size_t end = codes.find(", ", at);
        while (end != std::string::npos &&
               !std::isdigit(static_cast<unsigned char>(codes[end + 2])))
            end = codes.find(", ", end + 2);
        const std::string entry = codes.substr(at, end == std::string::npos ? end : end - at);
        const std::size_t blank = entry.find(' ');
        roff += ".TP\n" + bold(entry.substr(0, blank)) + "\n" +
                escape(entry.substr(std::min(blank + 1, entry.size()))) + "\n";
        at = end == std::string::npos ? codes.size() : end + 2;
    }
    return roff;
}

std::string synopsis(const CommandDescription& command)
{
    std::string roff = bold(command.name);
    for (const OptionDescription& option : command.options)
        if (option.isRequired)
            roff += " " + bold(option.names.back()) +
                    (option.valueName.empty() ? "" : " " + italic(option.valueName));
    roff += " [" + italic("OPTION") + "]...";
    for (const OptionDescription& word : command.words) {
        const std::string name = italic(word.valueName) + (word.isRepeatable ? "..." : "");
        roff += word.isRequired ? " " + name : " [" + name + "]";
    }
    if (!command.commands.empty())
        roff += " " + italic("COMMAND") + " ...";
    return roff;
}

std::string describe(const OptionDescription& option)
{
    std::string title;
    for (const std::string& name : option.names)
        title += (title.empty() ? "" : ", ") + bold(name);
    if (option.value != OptionDescription::Value::None)
        title += (title.empty() ? "" : " ") + italic(option.valueName);

    std::string roff = ".TP\n" + title + "\n" + escape(option.help);
    if (!option.help.ends_with('.'))
        roff += ".";
    std::string choices;
    for (const std::string& choice : option.choices)
        choices += (choices.empty() ? "" : ", ") + bold(choice);
    if (!choices.empty())
        roff += "\nOne of " + choices + ".";
    if (!option.range.empty())
        roff += "\nIn the range " + escape(option.range) + ".";
    if (!option.usualValue.empty())
        roff += "\nUsually " + bold(option.usualValue) + ".";
    if (option.isRequired && !option.names.empty())
        roff += "\nRequired.";
    return roff + "\n";
}

std::string reference(const CommandDescription& command)
{
    return bold(manPageName(command)) + "(1)";
}

// The page above and those beside, or those below.
std::string seeAlso(const CommandDescription& command, const CommandDescription& root)
{
    std::string roff;
    for (const CommandDescription* const other : listCommands(root)) {
        const bool isAbove = command.name.starts_with(other->name + " ");
        const bool isBelow = other->name.starts_with(command.name + " ");
        if (isAbove || isBelow)
            roff += (roff.empty() ? "" : ",\n") + reference(*other);
    }
    return roff.empty() ? "" : ".SH SEE ALSO\n" + roff + "\n";
}

} // namespace

std::string manPageName(const CommandDescription& command)
{
    std::string name = command.name;
    std::replace(name.begin(), name.end(), ' ', '-');
    return name;
}

std::string toManPage(const CommandDescription& command, const CommandDescription& root)
{
    const Sections sections = divide(command.footer);
    std::string purpose = command.purpose;
    if (purpose.ends_with('.'))
        purpose.pop_back();
    std::string roff = ".TH \"" + escape(manPageName(command)) + "\" 1 \"\" \"dm " +
                       escape(versionNumber()) + "\" \"dm\"\n.nh\n.ad l\n";
    roff += ".SH NAME\n" + escape(manPageName(command)) + " \\- " + escape(purpose) + "\n";
    roff += ".SH SYNOPSIS\n" + synopsis(command) + "\n";
    roff += ".SH DESCRIPTION\n" + escape(command.purpose) + "\n" + sections.description;
    roff += ".SH OPTIONS\n";
    for (const OptionDescription& word : command.words)
        roff += describe(word);
    for (const OptionDescription& option : command.options)
        roff += describe(option);
    if (!command.commands.empty())
        roff += ".SH COMMANDS\n";
    for (const CommandDescription& below : command.commands)
        roff += ".TP\n" + bold(below.lastName()) + "\n" + escape(below.purpose) + "\n";
    if (!sections.examples.empty())
        roff += ".SH EXAMPLES\n" + sections.examples;
    if (!sections.exitCodes.empty())
        roff += ".SH EXIT STATUS\n" + listExitCodes(sections.exitCodes);
    return roff + seeAlso(command, root);
}

void writeManPages(const CommandDescription& root, const std::string& folder)
{
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error)
        throw ToolError(ExitCode::File, "cannot make " + folder + ": " + error.message());
    for (const CommandDescription* const command : listCommands(root)) {
        const std::string page = toManPage(*command, root);
        OutputFile file(folder + "/" + manPageName(*command) + ".1");
        file.write(page.data(), page.size());
        file.commit();
    }
}

} // namespace tool
