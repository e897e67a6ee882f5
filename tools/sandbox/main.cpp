#define SDL_MAIN_HANDLED
#include "tools/dm/ExitCode.h"
#include "tools/dm/Version.h"
#include "tools/sandbox/Game.h"
#include "tools/sandbox/Options.h"

#include <cstdio>
#include <exception>

namespace {

int report(tool::ExitCode code, const char* message)
{
    std::fprintf(stderr, "sandbox: %s\n", message);
    return static_cast<int>(code);
}

} // namespace

int main(int argc, char** argv)
{
    try {
        if (const auto options = sandbox::parseOptions(argc, argv, tool::kCommit))
            sandbox::Game(*options).run();
        return static_cast<int>(tool::ExitCode::Ok);
    } catch (const tool::ToolError& error) {
        return report(error.code, error.what());
    } catch (const std::exception& error) {
        return report(tool::ExitCode::Other, error.what());
    }
}
