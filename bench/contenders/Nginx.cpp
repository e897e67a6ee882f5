#include "bench/contenders/FileContenders.h"
#include "bench/support/TestFiles.h"

#include <cstring>
#include <fstream>
#include <httplib.h>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace bench {
namespace {

constexpr const char* kHost = "127.0.0.1";
constexpr auto kStartLimit = std::chrono::seconds(5);
constexpr int kOk = 200;
constexpr int kPartialContent = 206;

/// One process, which does just what a worker does, and nothing written outside the folder.
std::string configuration(uint16_t port)
{
    return "daemon off;\n"
           "master_process off;\n"
           "worker_processes 1;\n"
           "pid nginx.pid;\n"
           "error_log stderr error;\n"
           "events {}\n"
           "http {\n"
           "    access_log off;\n"
           "    sendfile on;\n"
           "    tcp_nopush on;\n"
           "    keepalive_requests 1000000000;\n"
           "    keepalive_timeout 1h;\n"
           "    client_body_temp_path nginx.body;\n"
           "    proxy_temp_path nginx.proxy;\n"
           "    fastcgi_temp_path nginx.fastcgi;\n"
           "    uwsgi_temp_path nginx.uwsgi;\n"
           "    scgi_temp_path nginx.scgi;\n"
           "    server {\n"
           "        listen 127.0.0.1:" +
           std::to_string(port) +
           ";\n"
           "        root .;\n"
           "    }\n"
           "}\n";
}

/// Paths in the configuration are relative to the root, which -p names.
std::unique_ptr<ChildProcess> start(uint16_t port)
{
    const std::string root = TestFiles::get().root();
    const std::string file = root + "/nginx.conf";
    std::ofstream(file) << configuration(port);
    // The folder of servers is in the search path of few users.
    for (const char* program : {"nginx", "/usr/sbin/nginx"})
        try {
            return std::make_unique<ChildProcess>(
                std::vector<std::string>{program, "-p", root, "-c", file, "-e", "stderr"},
                ChildProcess::Errors::WithOutput);
        } catch (const std::system_error&) {
        }
    throw std::runtime_error(
        "skipped: there is no nginx here (script/bootstrap bench installs it)");
}

uint16_t freePort() { return TcpListener().port(); }

class NginxServer
{
public:
    NginxServer()
    {
        // Between asking for a free port and listening there somebody else may take it.
        constexpr int kAttempts = 5;
        for (int attempt = 0; attempt < kAttempts; ++attempt) {
            tcpPort = freePort();
            process = start(tcpPort);
            if (isListening())
                return;
        }
        const auto line = process->readLine(std::chrono::milliseconds(1));
        throw std::runtime_error("nginx did not start: " + line.value_or("no reason given"));
    }

    uint16_t port() const { return tcpPort; }

private:
    bool isListening()
    {
        const auto deadline = std::chrono::steady_clock::now() + kStartLimit;
        while (process->isRunning() && std::chrono::steady_clock::now() < deadline) {
            try {
                TcpStream::connect(tcpPort);
                return true;
            } catch (const std::system_error&) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        }
        return false;
    }

    std::unique_ptr<ChildProcess> process;
    uint16_t tcpPort = 0;
};

class HttpClient
{
public:
    explicit HttpClient(uint16_t port)
        : client(kHost, port)
    {
        client.set_keep_alive(true);
        client.set_tcp_nodelay(true);
    }

    bool head(const std::string& path)
    {
        const httplib::Result result = client.Head("/" + path);
        require(result);
        return result->status == kOk;
    }

    /// Returns the bytes received, with the status asked for.
    size_t get(const std::string& path, const httplib::Headers& headers, int status,
               std::span<char> out)
    {
        size_t received = 0;
        const auto take = [&](const char* data, size_t size) {
            if (size > out.size() - received)
                return false;
            std::memcpy(out.data() + received, data, size);
            received += size;
            return true;
        };
        const httplib::Result result = client.Get("/" + path, headers, take);
        require(result);
        return result->status == status ? received : 0;
    }

private:
    static void require(const httplib::Result& result)
    {
        if (!result)
            throw std::runtime_error("nginx: " + httplib::to_string(result.error()));
    }

    httplib::Client client;
};

class NginxFileAccess : public FileAccess
{
public:
    bool exists(const std::string& path) override { return client.head(path); }

    size_t read(const std::string& path, std::span<char> out) override
    {
        return client.get(path, {}, kOk, out);
    }

private:
    NginxServer server;
    HttpClient client{server.port()};
};

class NginxOpenFile : public OpenFile
{
public:
    size_t read(uint64_t position, std::span<char> out) override
    {
        const auto first = static_cast<ssize_t>(position);
        const auto last = static_cast<ssize_t>(position + out.size() - 1);
        return client.get(TestFiles::kLargeFile, {httplib::make_range_header({{first, last}})},
                          kPartialContent, out);
    }

private:
    NginxServer server;
    HttpClient client{server.port()};
};

} // namespace

FileContender nginxFiles()
{
    return {"nginx", [] { return std::unique_ptr<FileAccess>(new NginxFileAccess); },
            [] { return std::unique_ptr<OpenFile>(new NginxOpenFile); }};
}

} // namespace bench
