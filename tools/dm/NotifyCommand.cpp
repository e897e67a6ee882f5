#include "tools/dm/ClientSession.h"
#include "tools/dm/Commands.h"
#include "tools/dm/CommonOptions.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <memory>

namespace tool {

namespace {

struct NotifyOptions
{
    SessionOptions session;
    std::string text;
    std::uint32_t value = 0;
};

ExitCode notify(const NotifyOptions& options)
{
    if (options.session.member)
        std::fprintf(stderr, "dm: a hub delivers a notification to every other member, not only "
                             "to the one that --member names\n");
    const std::uint32_t value = options.session.member.value_or(options.value);
    ClientSession session(options.session);
    dm::CommunicationPipe& pipe = session.getPipe();
    session.waitUntil([&] { return pipe.sendNotify(options.text.c_str(), value); });
    if (!session.flush())
        throw ToolError(ExitCode::LostConnection,
                        "lost the connection to " + options.session.address.toString() +
                            " while sending: the notification may not have arrived, send it again");
    return ExitCode::Ok;
}

} // namespace

void addNotifyCommand(CLI::App& app, Action& action)
{
    auto options = std::make_shared<NotifyOptions>();
    CLI::App* const command =
        app.add_subcommand("notify", "Sends a notification, which has no answer.");
    addSessionOptions(*command, options->session);
    command->add_option("TEXT", options->text, "The notification's text")->required();
    CLI::Option* const value =
        command->add_option("--value", options->value,
                            "A number handed over with the text; a hub replaces it by the\n"
                            "sender's member number");
    addHubOptions(*command, options->session,
                  "Sent as the number. Needs --hub, which delivers to all other members\n"
                  "all the same");
    command->get_option("--member")->excludes(value);
    command->footer("Ends when the notification was handed to the connection; whether the program\n"
                    "took it is not known.\n\n"
                    "Examples:\n"
                    "  dm notify 127.0.0.1:3500 build \"level saved\" --value 7\n"
                    "  dm notify 127.0.0.1:5000 build \"level saved\" --hub    to all members\n\n" +
                    std::string(kExitCodeHelp));
    command->callback([options, &action] { action = [options] { return notify(*options); }; });
}

} // namespace tool
