#include "zul/common/NamedLock.h"

#include <zul/Exception.h>
#include <zul/NamedMutex.h>

namespace zu {

NamedMutex::NamedMutex(const char* mutexName)
    : name(mutexName)
    , holder(acquireNamedLock(name.c_str()))
{
    if (holder != kNoNamedLock)
        return;
    Exception error;
    error.setError("cannot hold the name \"%s\" in the system", name.c_str());
    throw error;
}

NamedMutex::~NamedMutex() { releaseNamedLock(holder, name.c_str()); }

bool NamedMutex::doesMutexExist(const char* name) { return isNamedLockHeld(name ? name : ""); }

} // namespace zu
