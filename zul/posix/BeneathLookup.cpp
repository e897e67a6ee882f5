#include "zul/posix/BeneathLookup.h"

#include <cerrno>
#include <climits>
#include <cstdint>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>
#ifdef __linux__
#include <sys/syscall.h>
#endif

namespace zu::posix {

namespace {

constexpr int kMaxLinks = 40; // as the system itself follows

// A folder is open for each step that a link might go back.
constexpr size_t kMaxOpenFolders = 256;

int addedFlags(int flags)
{
    const bool opens = kHandleOnly == O_RDONLY || (flags & kHandleOnly) == 0;
    return O_CLOEXEC | (opens ? O_NONBLOCK | O_NOCTTY : 0);
}

Descriptor openEntry(int folder, const char* name, int flags)
{
    int descriptor;
    do
        descriptor = ::openat(folder, name, flags | addedFlags(flags));
    while (descriptor < 0 && errno == EINTR);
    return Descriptor(descriptor);
}

Descriptor failWith(int error)
{
    errno = error;
    return Descriptor();
}

// One path, name by name: each step begins at an open folder and follows no link, so that nothing
// that is swapped meanwhile can lead astray. Links are read and their names put in front of those
// that remain; ".." in them goes back to the folder that we came through, never to what the disk
// has above by now.
class SteppedLookup
{
public:
    SteppedLookup(const BeneathRoot& beneath, int openFlags)
        : root(beneath)
        , flags(openFlags)
    {
    }

    Descriptor open(const std::string& path)
    {
        putInFront(path);
        while (!names.empty()) {
            const std::string name = std::move(names.back());
            names.pop_back();
            if (name == "..") {
                if (folders.empty())
                    return failWith(EXDEV);
                folders.pop_back();
                continue;
            }
            const bool isLast = names.empty();
            Descriptor next = isLast ? openLast(name) : openFolder(name);
            if (next.isOpen() && isLast)
                return next;
            if (next.isOpen() ? !enter(std::move(next)) : !followLink(name))
                return Descriptor();
        }
        return openEntry(here(), ".", flags);
    }

private:
    int here() const { return folders.empty() ? root.folder : folders.back().get(); }

    Descriptor openFolder(const std::string& name) const
    {
        return openEntry(here(), name.c_str(), kHandleOnly | O_DIRECTORY | O_NOFOLLOW);
    }

    Descriptor openLast(const std::string& name) const
    {
        Descriptor last = openEntry(here(), name.c_str(), flags | O_NOFOLLOW);
        // A mere handle can be had for a link too.
        struct stat status;
        if (last.isOpen() && (::fstat(last.get(), &status) != 0 || S_ISLNK(status.st_mode)))
            return failWith(ELOOP);
        return last;
    }

    bool enter(Descriptor folder)
    {
        if (root.links == ConfinedFolder::Links::Refuse)
            folders.clear(); // nothing goes back
        if (folders.size() == kMaxOpenFolders) {
            errno = ELOOP;
            return false;
        }
        folders.push_back(std::move(folder));
        return true;
    }

    // After a step that failed: goes on if that was for a link. False, and errno, otherwise.
    bool followLink(const std::string& name)
    {
        // What openat says of a link differs between systems and flags.
        const int error = errno;
        char target[PATH_MAX];
        const ssize_t length = ::readlinkat(here(), name.c_str(), target, sizeof target);
        errno = error;
        if (length < 0)
            return false;
        errno = ELOOP;
        if (root.links == ConfinedFolder::Links::Refuse || ++linksFollowed > kMaxLinks)
            return false;
        errno = EXDEV;
        if (length == 0 || target[0] == '/')
            return false;
        putInFront(std::string(target, static_cast<size_t>(length)));
        return true;
    }

    void putInFront(const std::string& path)
    {
        size_t end = path.size();
        while (end != std::string::npos) {
            const size_t separator = end == 0 ? std::string::npos : path.rfind('/', end - 1);
            const size_t begin = separator == std::string::npos ? 0 : separator + 1;
            std::string name = path.substr(begin, end - begin);
            if (!name.empty() && name != ".")
                names.push_back(std::move(name));
            end = separator;
        }
    }

    const BeneathRoot& root;
    const int flags;
    std::vector<std::string> names;  // still to go, the next one last
    std::vector<Descriptor> folders; // gone through, all of them when links are followed
    int linksFollowed = 0;
};

#ifdef __linux__

// As in <linux/openat2.h>, which systems to build on may lack while those to run on have the call.
struct OpenHow
{
    std::uint64_t flags;
    std::uint64_t mode;
    std::uint64_t resolve;
};
constexpr std::uint64_t kNoMagicLinks = 0x02;
constexpr std::uint64_t kNoLinks = 0x04;
constexpr std::uint64_t kBeneath = 0x08;
#ifdef SYS_openat2
constexpr long kOpenat2 = SYS_openat2;
#else
constexpr long kOpenat2 = 437;
#endif

// While somebody renames folders the system cannot always tell whether ".." stays beneath.
constexpr int kAttempts = 16;

Descriptor openWhole(const BeneathRoot& root, const std::string& path, int flags)
{
    OpenHow how{};
    how.flags = static_cast<std::uint64_t>(flags | addedFlags(flags));
    how.resolve = kBeneath | kNoMagicLinks;
    if (root.links == ConfinedFolder::Links::Refuse)
        how.resolve |= kNoLinks;
    const char* name = path.empty() ? "." : path.c_str();
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const long opened = ::syscall(kOpenat2, root.folder, name, &how, sizeof how);
        if (opened >= 0 || (errno != EAGAIN && errno != EINTR))
            return Descriptor(static_cast<int>(opened));
    }
    return SteppedLookup(root, flags).open(path);
}

#else

Descriptor openWhole(const BeneathRoot&, const std::string&, int) { return failWith(ENOSYS); }

#endif

} // namespace

bool canLookUpWhole(int folder)
{
    // Old kernels do not know the call, and sandboxes refuse it in various ways.
    const BeneathRoot root{folder, ConfinedFolder::Links::Refuse, ConfinedFolder::Lookup::Whole};
    return openWhole(root, "", kHandleOnly | O_DIRECTORY).isOpen();
}

Descriptor openBeneath(const BeneathRoot& root, const std::string& path, int flags)
{
    return root.lookup == ConfinedFolder::Lookup::Whole ? openWhole(root, path, flags)
                                                        : SteppedLookup(root, flags).open(path);
}

} // namespace zu::posix
