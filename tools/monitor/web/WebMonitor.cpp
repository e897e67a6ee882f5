#include "tools/monitor/web/WebMonitor.h"

#include "tools/monitor/TraceExport.h"
#include "tools/monitor/web/BoundedServer.h"
#include "tools/monitor/web/PageFiles.h"

#include <dm/monitor.h>
#include <zul/Listener.h>

#include <atomic>
#include <charconv>
#include <cstdio>
#include <future>
#include <nlohmann/json.hpp>
#include <random>
#include <stdexcept>

namespace monitor {

namespace {

using namespace std::chrono_literals;

constexpr const char* kAddress = "127.0.0.1";

// An event stream holds a thread for as long as its page is open. The others fetch files and
// profiles and send commands; a browser opens up to six connections at once.
constexpr std::size_t kThreads = WebMonitor::kMaxPages + 8;

// The lines of a request and of its headers, besides the data.
constexpr std::size_t kMaxHeadBytes = 32 * 1024;

constexpr auto kBatchInterval = 40ms;
// How soon the thread of a page that was closed is free again.
constexpr auto kLookInterval = 500ms;
// Something is sent so often, which fails, the second time, when the page is no longer there.
constexpr auto kAliveInterval = 1s;

constexpr const char* kContentPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; "
    "worker-src blob:; img-src data:; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

std::string randomToken()
{
    std::random_device device;
    std::string token;
    for (int word = 0; word < 5; ++word) {
        char digits[9];
        std::snprintf(digits, sizeof digits, "%08x", device());
        token += digits;
    }
    return token;
}

// Takes as long wherever the first difference is.
bool isSame(std::string_view one, std::string_view other)
{
    unsigned difference = one.size() == other.size() ? 0 : 1;
    for (std::size_t i = 0; i < one.size() && i < other.size(); ++i)
        difference |= static_cast<unsigned>(one[i] ^ other[i]);
    return difference == 0;
}

void refuse(httplib::Response& response, int status, const char* why)
{
    response.status = status;
    response.set_content(std::string(why) + "\n", "text/plain; charset=utf-8");
}

u64 readNumber(const std::string& text)
{
    u64 number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

} // namespace

class WebMonitor::Server
{
public:
    explicit Server(WebOptions webOptions)
        : options(std::move(webOptions))
        , history(options.historyBytes)
    {
        configure();
        http.set_pre_routing_handler([this](const auto& request, auto& response) {
            return isAllowed(request, response) ? httplib::Server::HandlerResponse::Unhandled
                                                : httplib::Server::HandlerResponse::Handled;
        });
        addFiles();
        addEvents();
        addProfiles();
        addCommands();
        listen();
    }

    ~Server()
    {
        history.close();
        // A stop that comes before the thread has begun to listen is lost.
        do
            http.stop();
        while (hasEnded.wait_for(10ms) != std::future_status::ready);
    }

    std::string path(const std::string& name) const { return "/" + token + "/" + name; }
    int getPort() const { return port; }
    EventHistory& getHistory() { return history; }

private:
    void configure();
    void listen();
    bool isAllowed(const httplib::Request& request, httplib::Response& response) const;
    bool isOurs(const std::string& host) const;

    void addFiles();
    void addEvents();
    void addProfiles();
    void addCommands();

    // What was sent to one that is open.
    struct Page
    {
        u64 next = 0;
        bool isGreeted = false;
        EventHistory::Clock::time_point sentAt;
    };
    void stream(const httplib::Request& request, httplib::Response& response);
    bool sendNext(Page& page, httplib::DataSink& sink);
    std::string hello() const;

    const WebOptions options;
    const std::string token = randomToken();
    EventHistory history;
    int port = 0;
    std::atomic<int> pages{0};
    BoundedServer http{kThreads, kMaxHeadBytes + kMaxDataBytes};
    std::future<void> hasEnded;
};

void WebMonitor::Server::configure()
{
    // The library's own options let two processes listen on one port.
    http.set_socket_options(
        [](auto socket) { net::allowPortAfterStop(static_cast<std::intptr_t>(socket)); });
    http.set_tcp_nodelay(true);
    http.set_payload_max_length(kMaxDataBytes);
    http.set_default_headers({{"Content-Security-Policy", kContentPolicy},
                              {"X-Content-Type-Options", "nosniff"},
                              {"Referrer-Policy", "no-referrer"},
                              {"Cross-Origin-Resource-Policy", "same-origin"},
                              {"Cross-Origin-Opener-Policy", "same-origin"},
                              {"Cache-Control", "no-store"}});
    http.set_error_handler([](const auto&, auto& response) {
        if (response.body.empty())
            refuse(response, response.status, "not here: use the whole URL that dm has printed");
    });
    http.set_exception_handler([](const auto&, auto& response, std::exception_ptr) {
        refuse(response, 500, "this went wrong in dm; try again");
    });
}

void WebMonitor::Server::listen()
{
    if (options.port == 0)
        port = http.bind_to_any_port(kAddress);
    else if (http.bind_to_port(kAddress, options.port))
        port = options.port;
    if (port <= 0)
        throw std::runtime_error("cannot serve the page on port " + std::to_string(options.port) +
                                 ": another program has it, or the system keeps it; give another "
                                 "port, or none to get any that is free");
    hasEnded = std::async(std::launch::async, [this] { http.listen_after_bind(); });
}

// A page from elsewhere that has its own name point to this machine shows it in Host; one that
// sends requests across shows it in Origin.
bool WebMonitor::Server::isOurs(const std::string& host) const
{
    const std::string end = ":" + std::to_string(port);
    return host == kAddress + end || host == "localhost" + end;
}

bool WebMonitor::Server::isAllowed(const httplib::Request& request,
                                   httplib::Response& response) const
{
    if (request.get_header_value_count("Host") != 1 || !isOurs(request.get_header_value("Host"))) {
        refuse(response, 403, "not under this name: use the URL that dm has printed");
        return false;
    }
    if (request.has_header("Origin") &&
        (request.get_header_value_count("Origin") != 1 ||
         request.get_header_value("Origin") != "http://" + request.get_header_value("Host")))
    {
        refuse(response, 403, "not from another page");
        return false;
    }
    const std::string_view given = request.path; // decoded, without what follows a "?"
    if (given.empty() || !isSame(given.substr(1, token.size()), token)) {
        refuse(response, 403, "use the whole URL that dm has printed");
        return false;
    }
    return true;
}

void WebMonitor::Server::addFiles()
{
    for (const PageFile& file : pageFiles()) {
        const bool isIndex = file.name == "index.html";
        const std::string name = isIndex ? "" : std::string(file.name);
        http.Get(path(name), [file](const auto&, auto& response) {
            response.set_content(file.text.data(), file.text.size(), std::string(file.type));
        });
    }
}

void WebMonitor::Server::addEvents()
{
    http.Get(path("events"), [this](const auto& request, auto& response) {
        if (pages.fetch_add(1) < kMaxPages)
            return stream(request, response);
        --pages;
        refuse(response, 503,
               "Too many pages are open: close another one, and this one goes on by itself.");
    });
}

std::string WebMonitor::Server::hello() const
{
    const nlohmann::json hello = {{"source", options.source},
                                  {"canSend", static_cast<bool>(options.request)}};
    return "retry: 500\nevent: hello\ndata: " +
           hello.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n\n";
}

void WebMonitor::Server::stream(const httplib::Request& request, httplib::Response& response)
{
    // Shared, because the library copies the function that holds it.
    auto page = std::make_shared<Page>();
    page->next =
        readNumber(request.has_header("Last-Event-ID") ? request.get_header_value("Last-Event-ID")
                                                       : request.get_param_value("from"));
    response.set_chunked_content_provider(
        "text/event-stream",
        [this, page](std::size_t, httplib::DataSink& sink) {
            try {
                return sendNext(*page, sink);
            } catch (const std::exception&) {
                return false; // no memory; beyond here nobody would catch it
            }
        },
        [this](bool) { --pages; });
}

bool WebMonitor::Server::sendNext(Page& page, httplib::DataSink& sink)
{
    using Clock = EventHistory::Clock;
    if (!page.isGreeted) {
        page.isGreeted = true;
        const std::string text = hello();
        return sink.write(text.data(), text.size());
    }
    const EventHistory::Batch batch =
        history.waitFor(page.next, page.sentAt + kBatchInterval, Clock::now() + kLookInterval);
    if (history.isClosed())
        return false;
    page.next = batch.next;

    std::string text;
    if (!batch.json.empty())
        text = "id: " + std::to_string(batch.next) + "\ndata: " + batch.json + "\n\n";
    else if (Clock::now() > page.sentAt + kAliveInterval)
        text = ":\n\n";
    else
        return sink.is_writable();
    page.sentAt = Clock::now();
    return sink.write(text.data(), text.size());
}

void WebMonitor::Server::addProfiles()
{
    http.Get(path("profile/(\\d{1,18})"), [this](const auto& request, auto& response) {
        const auto bytes = history.profile(readNumber(request.matches[1]));
        const std::string json = bytes ? profileToPageJson(*bytes) : "";
        if (json.empty())
            return refuse(response, 404, "no such profile, or no longer");
        response.set_content(json, "application/json");
    });
    http.Get(path("trace/(\\d{1,18})"), [this](const auto& request, auto& response) {
        const auto bytes = history.profile(readNumber(request.matches[1]));
        d::Profile::Snapshot snapshot;
        if (!bytes || !snapshot.read(bytes->data(), bytes->size()))
            return refuse(response, 404, "no such profile, or no longer");
        response.set_content(toTrace(snapshot, options.source), "application/json");
    });
}

void WebMonitor::Server::addCommands()
{
    const auto answer = [](httplib::Response& response, bool isSent) {
        if (isSent)
            response.status = 204;
        else
            refuse(response, 409, "not sent: no game is connected, or too much waits to be sent");
    };
    if (options.request)
        http.Post(path("request/(\\d)"), [this, answer](const auto& request, auto& response) {
            const u64 number = readNumber(request.matches[1]);
            if (number >= dm::kMonitorRequests)
                return refuse(response, 404, "no such request");
            answer(response, options.request(static_cast<int>(number)));
        });
    if (options.sendData)
        http.Post(path("data"), [this, answer](const auto& request, auto& response) {
            if (request.body.size() > kMaxDataBytes) // in chunks, which the library does not count
                return refuse(response, 413, "too much data");
            if (request.body.find('\0') != std::string::npos)
                return refuse(response, 400, "data ends at its first zero byte");
            answer(response, options.sendData(request.body));
        });
}

WebMonitor::WebMonitor(WebOptions options)
    : server(std::make_unique<Server>(std::move(options)))
{
}

WebMonitor::~WebMonitor() = default;

std::string WebMonitor::url() const
{
    return std::string("http://") + kAddress + ":" + std::to_string(port()) + server->path("");
}

int WebMonitor::port() const { return server->getPort(); }

void WebMonitor::take(MonitorEvents events) { server->getHistory().take(events); }

} // namespace monitor
