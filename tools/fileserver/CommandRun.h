/// One command on its way: what CommandRunner does with a parsed one.
#pragma once

#include "tools/fileserver/CommandRunner.h"
#include "tools/fileserver/ListAnswer.h"

#include <initializer_list>
#include <string>
#include <string_view>

namespace fileserver {

/// What all commands share.
struct RunContext
{
    FolderMaps& maps;
    CaseDoctor& caseDoctor;
    const RunnerOptions& options;
    bool isDoubtful = false; ///< of a read: its content could not be read to its end lately
};

class CommandRun
{
public:
    ///   data            of a write.
    ///   commandReport   its command and arguments are what is to be done; gets the rest.
    CommandRun(const RunContext& runContext, std::string_view writtenData,
               const StillWanted& stillWanted, CommandReport& commandReport)
        : context(runContext)
        , data(writtenData)
        , isStillWanted(stillWanted)
        , report(commandReport)
        , command(*commandReport.command)
        , arguments(commandReport.arguments)
    {
    }

    Answer run();

private:
    using Outcome = zu::ConfinedFolder::Outcome;

    /// A path of a game, and where it is.
    struct Place
    {
        FolderMap* map = nullptr;
        std::string_view path; // as the game wrote it
        std::string_view rest; // in the map
    };

    bool runCommand();
    bool answerAboutFile();
    bool read();
    bool readAtOnce(const Place& place);
    Outcome lookThrough(const zu::ConfinedFile& file);
    bool write();
    bool change();
    bool makeDirectory(const Place& place);
    bool moveOrCopy();
    bool findFiles();
    bool findMap(const Place& place);
    bool findFilesRecursive();
    bool tellFolders();

    bool find(std::string_view path, Place& outPlace);
    bool findWritable(std::string_view path, Place& outPlace);
    template <typename Operation>
    Outcome onFolder(const Place& place, Operation operation);
    FolderMap::Folder reopen(FolderMap& map, const FolderMap::Folder& gone);

    bool fail(const char* why);
    bool fail(const Outcome& outcome, std::initializer_list<const Place*> places);
    bool refuse(std::string_view path, const std::string& why);
    void warn(const std::string& text);
    void examineLetterCase(const Place& place);
    bool finishList(ListAnswer& list, const Outcome& outcome, const Place& place);

    const RunContext context;
    const std::string_view data;
    const StillWanted& isStillWanted;
    CommandReport& report;
    const CommandSyntax& command;
    const ParsedCommand& arguments;
    Answer answer;
};

/// The answer that says no.
Answer makeRefusal(AnswerKind kind);

/// A text of a game for a line of a log: in quotes, and not longer than people read.
std::string quote(std::string_view text);

} // namespace fileserver
