#include "zul/common/NamedLock.h"

#include <zul/Exception.h>
#include <zul/NamedMutex.h>

namespace zu {

NamedMutex::NamedMutex(const char* mutexName)
    : name(mutexName)
    , holder(acquireNamedLock(mutexName))
{
    if (holder != kNoNamedLock)
        return;
    Exception error;
    error.setError("cannot hold the name \"%s\" in the system", mutexName);
    throw error;
}

NamedMutex::~NamedMutex() { releaseNamedLock(holder, name.c_str()); }

bool NamedMutex::doesMutexExist(const char* name) { return isNamedLockHeld(name); }

} // namespace zu
