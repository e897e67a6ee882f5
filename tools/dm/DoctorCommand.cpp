#include "tools/dm/Commands.h"
#include "tools/dm/CommonOptions.h"
#include "tools/dm/Files.h"
#include "tools/dm/Text.h"
#include "tools/doctor/Diagnosis.h"
#include "tools/doctor/Probe.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <future>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

namespace tool {

namespace {

using doctor::Cause;
using doctor::Diagnosis;
using doctor::Service;

struct DoctorOptions
{
    std::optional<Address> address;
    std::string pipe;
    Service wanted = Service::Any;
    std::chrono::milliseconds timeout{2000};
    Format format = Format::Text;
};

struct Case
{
    doctor::Target target;
    Service wanted = Service::Any;
};

/// Where our programs listen, or connect, when nobody tells them a port.
struct UsualPort
{
    int port;
    Service service;
};
constexpr std::array<UsualPort, 4> kUsualPorts = {{
    {3510, Service::Files},   // dm serve
    {3600, Service::Monitor}, // the sample game
    {3500, Service::Pipes},   // the sample game
    {3126, Service::Pipes},   // what dm::Client connects to
}};

std::vector<Case> casesOf(const DoctorOptions& options)
{
    if (options.address)
        return {{{*options.address, options.pipe}, options.wanted}};
    std::vector<Case> cases;
    for (const UsualPort& usual : kUsualPorts)
        cases.push_back({{{"127.0.0.1", usual.port}, ""}, usual.service});
    return cases;
}

/// All at the same time, so that they take no longer than the slowest.
std::vector<Diagnosis> examine(const std::vector<Case>& cases, std::chrono::milliseconds timeout)
{
    std::vector<std::future<Diagnosis>> running;
    for (const Case& one : cases)
        running.push_back(std::async(std::launch::async, [&one, timeout] {
            return doctor::diagnose(one.target, one.wanted, doctor::observe(one.target, timeout));
        }));
    std::vector<Diagnosis> results;
    for (auto& result : running)
        results.push_back(result.get());
    return results;
}

void printText(const Diagnosis& diagnosis)
{
    const std::string lines =
        escapeControls(diagnosis.finding) + "\n  " + escapeControls(diagnosis.advice) + "\n";
    writeOutput(lines.data(), lines.size());
}

void printJson(const Case& one, const Diagnosis& diagnosis)
{
    nlohmann::ordered_json line = {{"address", one.target.address.toString()},
                                   {"cause", doctor::nameOf(diagnosis.cause)},
                                   {"wanted", doctor::nameOf(one.wanted)}};
    if (diagnosis.found != Service::Any)
        line["found"] = doctor::nameOf(diagnosis.found);
    if (diagnosis.process.processId != 0) {
        line["process"] = diagnosis.process.processName;
        line["pid"] = diagnosis.process.processId;
    }
    line["finding"] = diagnosis.finding;
    line["advice"] = diagnosis.advice;
    printJsonLine(line);
}

/// Of several: that of what is ill. Where nothing listens nothing need be ill, as long as something
/// is healthy.
ExitCode judge(const std::vector<Diagnosis>& results)
{
    const auto ill = std::find_if(results.begin(), results.end(), [](const Diagnosis& one) {
        return one.cause != Cause::Healthy && one.cause != Cause::NothingListening;
    });
    if (ill != results.end())
        return doctor::exitCodeOf(ill->cause);
    const bool anyHealthy = std::any_of(results.begin(), results.end(), [](const Diagnosis& one) {
        return one.cause == Cause::Healthy;
    });
    return anyHealthy ? ExitCode::Ok : ExitCode::CannotConnect;
}

ExitCode examineAll(const DoctorOptions& options)
{
    const std::vector<Case> cases = casesOf(options);
    const std::vector<Diagnosis> results = examine(cases, options.timeout);
    for (size_t index = 0; index < cases.size(); ++index) {
        if (options.format == Format::Json)
            printJson(cases[index], results[index]);
        else
            printText(results[index]);
    }
    return judge(results);
}

constexpr const char* kHelp =
    "Prints two lines: what the matter is, and what to do about it. Without an address it looks "
    "at\n"
    "this machine's usual ports: 3510 (file server), 3600 (debug monitor), 3500 (the sample "
    "game's\n"
    "pipes) and 3126 (where clients connect that are told no port).\n"
    "It tells which program has a port when that is on this machine and yours to look at.\n\n"
    "--format json prints an object a line, with address, cause, wanted, found, process, pid,\n"
    "finding and advice. Causes and exit codes:\n"
    "  0  healthy; without an address: something is, and nothing but \"nothing-listening\" is not\n"
    "  3  nothing-listening, unreachable, loopback-only, other-address, port-taken (by what is\n"
    "     none of ours), wrong-kind, full\n"
    "  5  other-version\n"
    "  8  stalled, no-such-pipe\n\n"
    "To look is to connect for a moment. A hub gives the visitor the number of a member, a file\n"
    "server a game's place for some seconds. With PIPE the pipe is opened, and so taken from\n"
    "whoever has it, until that program connects anew; a program that lets clients make pipes\n"
    "makes it.\n\n"
    "Examples:\n"
    "  dm doctor\n"
    "  dm doctor 192.168.0.10:3600 --expect monitor\n"
    "  dm doctor 127.0.0.1:3500 console\n\n";

} // namespace

void addDoctorCommand(CLI::App& app, Action& action)
{
    static const std::map<std::string, Service> kServices = {{"any", Service::Any},
                                                             {"pipes", Service::Pipes},
                                                             {"files", Service::Files},
                                                             {"hub", Service::Hub},
                                                             {"monitor", Service::Monitor}};
    auto options = std::make_shared<DoctorOptions>();
    CLI::App* const command = app.add_subcommand(
        "doctor", "Says why nothing appears: who listens at an address, and what is wrong there.");
    CLI::Option* const address = command->add_option_function<std::string>(
        "ADDRESS", [options](const std::string& text) { options->address = parseAddress(text); },
        "HOST:PORT of the program. Without it: this machine's usual ports");
    command->add_option("PIPE", options->pipe, "A pipe that the program should have")
        ->needs(address);
    command
        ->add_option_function<std::string>(
            "--expect",
            [options](const std::string& name) { options->wanted = kServices.at(name); },
            "What should be there")
        ->check(CLI::IsMember({"any", "pipes", "files", "hub", "monitor"}))
        ->default_str("any")
        ->needs(address);
    command
        ->add_option_function<std::string>(
            "--timeout",
            [options](const std::string& text) { options->timeout = parseDuration(text); },
            "How long to look in all")
        ->type_name("TIME")
        ->default_str("2s");
    addFormatOption(*command, options->format);
    command->footer(kHelp + std::string(kExitCodeHelp));
    command->callback([options, &action] { action = [options] { return examineAll(*options); }; });
}

} // namespace tool
