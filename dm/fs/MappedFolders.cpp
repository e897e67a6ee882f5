#include "dm/fs/MappedFolders.h"

#include "dm/fs/FileServerLink.h"
#include "dm/fs/ListAnswers.h"

#include <algorithm>
#include <utility>

namespace dm {

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
    const zu::u64 connection = connections.load();
    if (!request.send(makeGetMappedFolders()))
        return known;
    auto fetched = std::make_shared<const List>(readMappedFolders(request.list()));
    std::lock_guard guard(lock);
    folders = fetched;
    // Over a connection that was lost while asking they may be another server's: usable now, but
    // to be asked for again.
    fetchedIn = connection;
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
