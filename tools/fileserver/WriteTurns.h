/// Who may touch which files now, so that commands take effect in the order in which they came.
///
/// A game that has lost its connection sends its unanswered command again over the next, while the
/// first one may still be running: without turns a write that is late would come on top of newer
/// ones. So whoever comes after one that writes waits for it, if it is about the same path, or one
/// above or below. Nobody waits for one that reads, however long that takes, and nobody for one who
/// came later.
///
/// Paths are compared as games write them: without regard to letter case and the kind of slash,
/// empty names and ".". Two names of one file (links, overlapping maps) are two files here.
///
/// Threads: any.
#pragma once

#include "tools/fileserver/CommandLine.h"

#include <array>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string_view>

namespace fileserver {

class WriteTurns
{
public:
    struct Claim
    {
        std::string_view path; ///< lent while the turn lasts
        Access access = Access::Read;
    };
    using Claims = std::array<Claim, 2>;

    WriteTurns() = default;
    WriteTurns(const WriteTurns&) = delete;
    WriteTurns& operator=(const WriteTurns&) = delete;

    /// One's turn: waits for it when made, gives it up when destroyed.
    class Turn
    {
    public:
        Turn(WriteTurns& turns, const Claims& claims, size_t count);
        ~Turn();
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        friend class WriteTurns;
        bool precedes(const Turn& other) const;

        WriteTurns& owner;
        const Claims claimed;
        const size_t claimCount;
        Turn* earlier = nullptr; // in line; under the owner's lock
        Turn* later = nullptr;
    };

private:
    bool isNext(const Turn& turn) const;

    std::mutex lock;
    std::condition_variable left; // the line, by anybody
    Turn* last = nullptr;         // in line; under lock
};

} // namespace fileserver
