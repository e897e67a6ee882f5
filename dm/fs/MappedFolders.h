/// Which paths are the file server's: the folders it maps, asked for once a connection.
///
/// Threads: any. What one thread has in hand of the list stays as it is while another asks anew;
/// callers that need the list while it is being fetched wait for it rather than asking too.
#pragma once

#include "dm/common/LockOrder.h"

#include <zul/String.h>
#include <zul/Types.h>

#include <atomic>
#include <memory>
#include <vector>

namespace dm {

class MappedFolders
{
public:
    using List = std::vector<zu::String>;

    /// A new connection, of that number: what was or will be fetched over an earlier one counts no
    /// more. Takes no lock, since those who hold one may be waiting for the calling thread.
    void connectionMade(zu::u32 number);

    /// The list, fetched if need be. A server that does not answer leaves the list as it was.
    std::shared_ptr<const List> get();

    /// Whether the path begins with a folder; the first that fits decides.
    bool contain(const char* path) { return startsWithAny(*get(), path); }
    static bool startsWithAny(const List& folders, const char* path);

private:
    static constexpr zu::u64 kNever = ~0ull;

    std::shared_ptr<const List> fetch();
    bool isCurrent(std::shared_ptr<const List>& outFolders);

    // How many were made, and in the low half the number of the last one. The first tells that
    // there was a new one, whatever the pipe; the second whether an answer came over it.
    std::atomic<zu::u64> connections{0};

    LeafMutex lock;
    std::shared_ptr<const List> folders = std::make_shared<List>(); // under lock, never null
    zu::u64 fetchedIn = kNever; // under lock; the connections when the folders were fetched
};

} // namespace dm
