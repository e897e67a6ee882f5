#include "bench/contenders/FileContenders.h"
#include "bench/support/TestFiles.h"

#include <stdexcept>

namespace bench {
namespace {

constexpr const char* kName = "tcp";

/// What goes over the connection; both ends are this program.
struct PartRequest
{
    uint64_t position = 0;
    uint64_t size = 0;
};

class TcpOpenFile : public OpenFile
{
public:
    size_t read(uint64_t position, std::span<char> out) override
    {
        const PartRequest request{position, out.size()};
        if (!stream.sendAll(&request, sizeof request) || !stream.receiveAll(out.data(), out.size()))
            throw std::runtime_error("connection lost");
        return out.size();
    }

private:
    ServerProcess server{{"--serve", rawTcpFileServer().name, "--file", TestFiles::get().large()}};
    TcpStream stream = TcpStream::connect(server.port());
};

/// Asked for much, it answers in pieces: reading it all before sending any would take longer.
void serveFile(const Setup& setup)
{
    constexpr uint64_t kPieceBytes = 1 << 20;
    const LocalFile file(setup.file);
    std::vector<char> piece(kPieceBytes);
    TcpListener listener;
    announcePort(listener.port());
    TcpStream stream = listener.accept();
    PartRequest request;
    while (stream.receiveAll(&request, sizeof request))
        while (request.size > 0) {
            const size_t size =
                file.read(request.position, piece.data(), std::min(request.size, kPieceBytes));
            if (size == 0 || !stream.sendAll(piece.data(), size))
                return;
            request.position += size;
            request.size -= size;
        }
}

} // namespace

FileContender rawTcpFile()
{
    return {kName, nullptr, [] { return std::unique_ptr<OpenFile>(new TcpOpenFile); }};
}

RequestContender rawTcpFileServer() { return {"tcp-file", serveFile, nullptr}; }

} // namespace bench
