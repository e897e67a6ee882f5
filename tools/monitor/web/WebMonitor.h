/// Shows a watched game in a browser: one page, served to this machine only.
///
///     monitor::WebMonitor web({.port = 0, .source = "127.0.0.1:3600", .request = ..., ...});
///     std::printf("%s\n", web.url().c_str());
///     ...
///     web.take(events); // as they come
///
/// Whoever knows the URL, which holds a random token, sees what the game prints and may send it
/// requests and data; nobody else, not even other pages in the same browser.
///
/// Threads: the constructor and the destructor on one; take and url on any. Threads of its own
/// serve the pages; they run the commands. Errors: the constructor throws std::runtime_error that
/// says what to do when the port cannot be had. Limits: kMaxPages pages at a time; what pages may
/// miss, see EventHistory.h. A page that does not read costs its thread and nothing else, and so
/// for a while does whoever connects without a URL, see BoundedServer.h.
#pragma once

#include "tools/monitor/MonitorClient.h"
#include "tools/monitor/web/EventHistory.h"

#include <functional>
#include <memory>
#include <string>

namespace monitor {

struct WebOptions
{
    int port = 0;       ///< 0 picks a free one
    std::string source; ///< what is watched, for the page's title
    /// Send to the game, false when that cannot be now. Empty: the page has nothing to send with,
    /// as for a recording. Called on the server's threads, several at once.
    std::function<bool(int)> request;
    std::function<bool(std::string)> sendData;
    std::size_t historyBytes = EventHistory::kDefaultBytes;
};

class WebMonitor : public MonitorOutput
{
public:
    /// A browser opens six connections to one server and each page holds one: the rest is for
    /// profiles and commands.
    static constexpr int kMaxPages = 4;
    static constexpr std::size_t kMaxDataBytes = MonitorClient::kMaxDataBytes;

    explicit WebMonitor(WebOptions options);

    /// Hangs up on all pages.
    ~WebMonitor() override;

    /// Where the page is: http://127.0.0.1:PORT/TOKEN/
    std::string url() const;
    int port() const;

    void take(MonitorEvents events) override;

private:
    class Server;
    std::unique_ptr<Server> server;
};

} // namespace monitor
