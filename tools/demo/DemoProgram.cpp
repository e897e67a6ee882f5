// The demo's game: serves the files of a folder over the pipe "files" until it is stopped.
//
//   list        the data is one line "NAME SIZE" a file
//   read NAME   the data is the file
//   hash NAME   the data is the file's SHA-256, as this program sees it
//
// The first line on standard output tells the address: "serving FOLDER on 127.0.0.1:PORT".

#include "tools/dm/ExitCode.h"
#include "tools/dm/Files.h"
#include "tools/dm/PipeService.h"
#include "tools/dm/Sha256.h"
#include "tools/dm/Text.h"

#include <dm/comm.h>
#include <zul/Interrupt.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;

constexpr const char* kManagerName = "game";
constexpr const char* kPipeName = "files";

tool::Reply withData(const std::string& text)
{
    return {"ok", std::vector<char>(text.begin(), text.end())};
}

// Only what lies in the folder itself: no path, no hidden file, no link to somewhere else.
bool isServed(const fs::path& folder, const std::string& name)
{
    if (name.empty() || name.front() == '.' || name.find_first_of("/\\:") != std::string::npos)
        return false;
    std::error_code error;
    return fs::symlink_status(folder / name, error).type() == fs::file_type::regular;
}

tool::Reply list(const fs::path& folder)
{
    std::vector<std::string> lines;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
        const std::string name = entry.path().filename().string();
        const auto size = entry.file_size(error);
        if (isServed(folder, name) && !error)
            lines.push_back(name + " " + std::to_string(size) + "\n");
    }
    std::sort(lines.begin(), lines.end());
    std::string text;
    for (const std::string& line : lines)
        text += line;
    return withData(text);
}

tool::Reply answer(const fs::path& folder, const std::string& request)
{
    if (request == "list")
        return list(folder);
    const size_t space = request.find(' ');
    const std::string verb = request.substr(0, space);
    const std::string name = space == std::string::npos ? "" : request.substr(space + 1);
    if (verb != "read" && verb != "hash")
        return {"error: ask for list, read NAME or hash NAME", {}};
    if (!isServed(folder, name))
        return {"error: no such file", {}};
    try {
        std::vector<char> bytes = tool::readWhole((folder / name).string());
        if (verb == "hash")
            return withData(tool::sha256(bytes.data(), bytes.size()) + "\n");
        return {"ok", std::move(bytes)};
    } catch (const std::exception& error) {
        return {std::string("error: ") + error.what(), {}};
    }
}

int serve(const fs::path& folder, int port)
{
    zu::Interrupt::get();
    tool::PipeService service({[](const tool::Notification&) {},
                               [&](const tool::Request& request) {
                                   std::printf("asked: %s\n",
                                               tool::escapeControls(request.text).c_str());
                                   std::fflush(stdout);
                                   return answer(folder, request.text);
                               }});
    dm::CommunicationPipeManager* const manager =
        dm::initCommunicationManagerAsServer(kManagerName, port, 1, false);
    if (dm::getConnectionStatus(kManagerName).state != dm::ConnectionStatus::Connected) {
        dm::deinitCommunicationManager(kManagerName);
        return static_cast<int>(tool::ExitCode::CannotConnect);
    }
    service.open(*manager, kPipeName);
    dm::uint32 actualPort = 0;
    const std::string address = manager->getHost(&actualPort);
    std::printf("serving %s on %s:%u\n", folder.c_str(), address.c_str(), actualPort);
    std::fflush(stdout);

    service.run(0);
    dm::deinitCommunicationManager(kManagerName);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string portText = argc == 3 ? argv[2] : "0";
    int port = -1;
    std::from_chars(portText.data(), portText.data() + portText.size(), port);
    if (argc < 2 || argc > 3 || !fs::is_directory(argv[1]) || port < 0 || port > 65535) {
        std::fprintf(stderr, "usage: dm_demo_program FOLDER [PORT]\n");
        return static_cast<int>(tool::ExitCode::Usage);
    }
    return serve(argv[1], port);
}
