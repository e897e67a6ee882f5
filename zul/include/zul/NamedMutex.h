/// A name that exists in the system as long as any process holds it.
///
/// Processes of one user tell each other that they are there: each holds an object of the agreed
/// name, and whoever waits for them looks whether the name still exists. Any number of objects and
/// processes may hold one name. It excludes nobody: to guard data, use zu::Mutex.
///
///     zu::NamedMutex here("game_refcount");
///     ...
///     while (zu::NamedMutex::doesMutexExist("game_refcount")) ...   // in another process
///
/// A holder that dies, by whatever signal, lets go like one that destroys its object. A process
/// forked from a holder holds the name too, until it destroys its copy of the object, execs or
/// ends.
///
/// Threads: any.
/// Limits: names are case-sensitive and of any length, null counts as ""; processes of different
/// users do not see each other's. A system that sweeps its folder of temporary files may forget,
/// after days, names held by a user without a session.
#pragma once

#include <zul/InplaceString.h>
#include <zul/Types.h>
#include <zul/export.h>

namespace zu {

class ZUL_API NamedMutex
{
public:
    /// Errors: zu::Exception when the system refuses.
    explicit NamedMutex(const char* mutexName);
    ~NamedMutex();
    NamedMutex(const NamedMutex&) = delete;
    NamedMutex& operator=(const NamedMutex&) = delete;

    /// Whether any process holds the name at this moment, this one included.
    static bool doesMutexExist(const char* name);

private:
    InplaceString<128> name;
    s64 holder;
};

} // namespace zu
