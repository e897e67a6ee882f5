#include "dm/fs/MappedFolders.h"

#include "dm/fs/FileServerLink.h"
#include "dm/fs/ListAnswers.h"

#include <algorithm>
#include <utility>

namespace dm {

void MappedFolders::connectionMade(zu::u32 number)
{
    zu::u64 seen = connections.load();
    while (!connections.compare_exchange_weak(seen, (((seen >> 32) + 1) << 32) | number))
        ;
}

std::shared_ptr<const MappedFolders::List> MappedFolders::get()
{
    std::shared_ptr<const List> known;
    return isCurrent(known) ? known : fetch();
}

bool MappedFolders::isCurrent(std::shared_ptr<const List>& outFolders)
{
    std::lock_guard guard(lock);
    outFolders = folders;
    return fetchedIn == connections.load();
}

/// Who has waited for the list buffer looks again: another may have fetched the folders meanwhile.
std::shared_ptr<const MappedFolders::List> MappedFolders::fetch()
{
    ListRequest request;
    std::shared_ptr<const List> known;
    if (isCurrent(known))
        return known;
    zu::u64 askedIn = connections.load();
    if (!request.send(makeGetMappedFolders()))
        return known;
    auto fetched = std::make_shared<const List>(readMappedFolders(request.list()));
    // Asked before there was a connection, or while one was lost: the answer may still be that of
    // the newest. If not, it is good for now, but is asked for again.
    const zu::u64 now = connections.load();
    if (static_cast<zu::u32>(now) == request.connection())
        askedIn = now;
    std::lock_guard guard(lock);
    folders = fetched;
    fetchedIn = askedIn;
    return fetched;
}

bool MappedFolders::startsWithAny(const List& folders, const char* path)
{
    const char* text = path != nullptr ? path : "";
    return std::any_of(folders.begin(), folders.end(), [text](const zu::String& folder) {
        return zu::strnicmp(text, folder.c_str(), folder.length()) == 0;
    });
}

} // namespace dm
