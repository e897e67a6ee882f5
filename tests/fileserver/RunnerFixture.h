// Two maps for one game: "data", which may be written, and "stock", which may not. Beside them lies
// a canary, in "out".
#pragma once

#include "tools/fileserver/CommandRunner.h"
#include "zul/FileFixture.h"

#include <string>
#include <vector>

class RunnerFixture : public FileFixture
{
protected:
    RunnerFixture()
    {
        std::filesystem::create_directories(folder / "data");
        std::filesystem::create_directories(folder / "stock");
        make("out/canary", kSecret);
    }

    void serve(const zu::ConfinedFolder::Options& options = {},
               const std::string& dataRights = ":rw")
    {
        runner.reset();
        maps = std::make_unique<fileserver::FolderMaps>(options);
        add("data=" + at("data") + dataRights);
        add("stock=" + at("stock"));
        runner = std::make_unique<fileserver::CommandRunner>(*maps);
    }

    void add(const std::string& map)
    {
        fileserver::MapSpec mapping;
        std::string error;
        ASSERT_TRUE(fileserver::parseMap(map, mapping, error) && maps->add(mapping, error))
            << error;
    }

    fileserver::Answer run(std::string_view line, std::string_view data = {},
                           const fileserver::StillWanted& isStillWanted = {})
    {
        report.wantsReason = true;
        return runner->run(line, data.data(), data.size(), isStillWanted, report);
    }

    // The answer's text.
    std::string ask(const std::string& line, std::string_view data = {})
    {
        return run(line, data).text;
    }

    // The answers' texts, in order.
    std::string askEach(const std::vector<std::string>& lines)
    {
        std::string texts;
        for (const std::string& line : lines)
            texts += (texts.empty() ? "" : " ") + ask(line);
        return texts;
    }

    // The answer's data, wherever it comes from.
    std::string fetch(const std::string& line) { return dataOf(run(line)); }
    static std::string dataOf(const fileserver::Answer& answer)
    {
        std::string bytes(answer.data.begin(), answer.data.end());
        if (answer.content) {
            bytes.resize(answer.content->size);
            if (!answer.content->read(0, bytes.data(), answer.content->size))
                bytes = "the content failed";
        }
        return bytes;
    }

    // The entries of a list, whose count must be right.
    std::vector<std::string> list(const std::string& line)
    {
        const std::string bytes = fetch(line);
        std::vector<std::string> entries;
        for (size_t begin = 0; begin < bytes.size(); begin += entries.back().size() + 1)
            entries.push_back(bytes.c_str() + begin);
        if (entries.empty())
            entries.push_back("no list");
        EXPECT_EQ(entries.front(), std::to_string(entries.size() - 1)) << line;
        entries.erase(entries.begin());
        return entries;
    }

    // The names of a list of files, folders with a slash.
    std::vector<std::string> names(const std::string& pattern)
    {
        std::vector<std::string> found;
        for (const std::string& entry : list("findFiles \"" + pattern + '"')) {
            const size_t quote = entry.find('"');
            found.push_back(entry.substr(quote + 1, entry.size() - quote - 2) +
                            (entry[0] == '1' ? "/" : ""));
        }
        return found;
    }

    static constexpr const char* kSecret = "SECRET";

    std::unique_ptr<fileserver::FolderMaps> maps;
    std::unique_ptr<fileserver::CommandRunner> runner;
    fileserver::CommandReport report;
};
