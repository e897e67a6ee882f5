#include "tools/dm/Watch.h"

#include "tools/dm/CommonOptions.h"
#include "tools/dm/Text.h"
#include "tools/dm/WatchOutputs.h"
#include "tools/monitor/MonitorClient.h"
#include "tools/monitor/Recording.h"
#include "tools/monitor/web/WebMonitor.h"

#include <zul/Interrupt.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <system_error>

namespace tool {

namespace {

using Clock = std::chrono::steady_clock;

// All that events go to. Made in the order in which they get them.
class Watch
{
public:
    explicit Watch(const WatchOptions& watchOptions)
        : options(watchOptions)
        , progress([this] { return sendCommands(); })
        , screen(options.view, options.isReplay() ? "" : options.source(), writer)
    {
    }

    ~Watch() { stop(); }

    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    ExitCode run()
    {
        std::exception_ptr thrown;
        try {
            open();
            if (options.isReplay())
                replay();
            else
                client->start();
            waitForEnd();
            stop();
            screen.finish();
            conclude();
        } catch (...) {
            thrown = std::current_exception();
        }
        stop();
        screen.finish();
        writer.finish();
        if (thrown)
            std::rethrow_exception(thrown);
        return isDamaged ? ExitCode::File : ExitCode::Ok;
    }

private:
    static constexpr std::chrono::milliseconds kRefresh{100};

    void open()
    {
        if (!options.isReplay())
            client = std::make_unique<monitor::MonitorClient>(
                options.address->host, options.address->port,
                [this](monitor::MonitorEvents events) { outputs.take(events); });
        // What is to be kept comes first, whatever becomes of the rest.
        if (!options.recordPath.empty()) {
            recording = std::make_unique<monitor::RecordingWriter>(options.recordPath);
            if (recording->removedBytes() > 0)
                say(options.recordPath + " ended in a record that was cut off, which is gone now");
            outputs.add(*recording);
        }
        outputs.add(progress);
        if (!options.profilePath.empty()) {
            trace = std::make_unique<WatchTrace>(options.profilePath);
            outputs.add(*trace);
        }
        outputs.add(screen);
        if (options.webPort)
            openPage();
    }

    void openPage()
    {
        monitor::WebOptions web;
        web.port = *options.webPort;
        web.source = options.source();
        if (client) {
            web.request = [this](int request) { return client->request(request); };
            web.sendData = [this](std::string data) { return client->sendData(std::move(data)); };
        }
        try {
            page = std::make_unique<monitor::WebMonitor>(web);
        } catch (const std::runtime_error& error) {
            throw ToolError(ExitCode::CannotConnect, error.what());
        }
        outputs.add(*page);
        if (options.view.format == Format::Json)
            writer.write(toJsonLine({{"event", "page"}, {"url", page->url()}}));
        else
            say("the page is " + page->url());
    }

    void replay()
    {
        const monitor::ReplayEnd end = monitor::replay(options.replayPath, outputs, [&] {
            screen.refresh();
            while (!isToEnd())
                if (writer.waitForRoom(kRefresh))
                    return true;
            return false;
        });
        isDamaged = end.isDamaged;
        if (isDamaged)
            say(options.replayPath + " is damaged: its last " + std::to_string(end.ignoredBytes) +
                " bytes cannot be read");
        else if (end.ignoredBytes > 0)
            say(options.replayPath + " ends in a record that was cut off, " +
                std::to_string(end.ignoredBytes) + " bytes of it are left out");
        else if (end.events == 0 && !isToEnd())
            say(options.replayPath + " has nothing in it");
        screen.finish();
        while (!isToEnd() && !writer.waitUntilPrinted(kRefresh)) {
        }
    }

    // A recording is over when it has been read, unless a page shows it.
    void waitForEnd()
    {
        while (!isToEnd() && !isOver()) {
            const auto wait = std::clamp(std::chrono::ceil<std::chrono::milliseconds>(timeLeft()),
                                         std::chrono::milliseconds(0), kRefresh);
            zu::Interrupt::get().waitFor(static_cast<zu::u32>(wait.count()));
            screen.refresh();
        }
    }

    bool isOver() const { return options.isReplay() ? page == nullptr : progress.isForeign(); }

    bool isToEnd()
    {
        return zu::Interrupt::get().isRaised() || outputs.hasFailed() || writer.hasFailed() ||
               timeLeft() <= Clock::duration::zero();
    }

    Clock::duration timeLeft() const
    {
        return options.duration ? start + *options.duration - Clock::now() : Clock::duration::max();
    }

    void conclude()
    {
        outputs.rethrow();
        if (!options.isReplay())
            requireConnection();
        if (trace)
            say(trace->finish());
    }

    void requireConnection() const
    {
        if (progress.isForeign())
            throw ToolError(ExitCode::CannotConnect,
                            "cannot watch " + options.source() +
                                ": give the port that the game's debug monitor listens on");
        if (progress.wasConnected() && !progress.wasGreeted())
            throw ToolError(ExitCode::LostConnection,
                            "the connection was lost before all was sent: try again");
        if (progress.wasConnected())
            return;
        if (zu::Interrupt::get().isRaised())
            throw ToolError(ExitCode::Interrupted, "interrupted");
        const std::string reason = progress.reason();
        throw ToolError(ExitCode::CannotConnect,
                        "cannot connect to " + options.source() +
                            (reason.empty() ? "" : " (" + reason + ")") +
                            ": start the game, or look for its monitor's port");
    }

    // Whether the client took them: the connection may have been lost again.
    bool sendCommands()
    {
        bool taken = true;
        for (const int request : options.requests)
            taken = taken && client->request(request);
        for (const std::string& data : options.data)
            taken = taken && client->sendData(data);
        return taken;
    }

    void say(const std::string& sentence)
    {
        writer.write("dm: " + escapeControls(sentence) + "\n", LineWriter::Stream::Error);
    }

    // Nothing reaches the outputs after this.
    void stop()
    {
        if (client)
            client->stop();
    }

    const WatchOptions& options;
    const Clock::time_point start = Clock::now();
    bool isDamaged = false; // the recording
    LineWriter writer;
    WatchOutputs outputs;
    WatchProgress progress;
    WatchScreen screen;
    std::unique_ptr<monitor::RecordingWriter> recording;
    std::unique_ptr<WatchTrace> trace;
    std::unique_ptr<monitor::MonitorClient> client;
    std::unique_ptr<monitor::WebMonitor> page; // last: its threads use the client
};

} // namespace

ExitCode watch(const WatchOptions& options)
{
    zu::Interrupt& interrupt = zu::Interrupt::get();
    if (!options.profilePath.empty())
        interrupt.surviveBrokenPipes(); // a trace is written at the very end
    try {
        return Watch(options).run();
    } catch (const ToolError&) {
        throw;
    } catch (const std::system_error&) {
        throw;
    } catch (const std::runtime_error& error) {
        throw ToolError(ExitCode::File, error.what()); // of a recording
    }
}

} // namespace tool
