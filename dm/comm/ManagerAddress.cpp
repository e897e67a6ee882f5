#include "dm/comm/ManagerAddress.h"

namespace dm {

ManagerAddress::Snapshot ManagerAddress::read() const
{
    std::lock_guard guard(lock);
    return {configured, redirect, redirectsSet};
}

void ManagerAddress::setConfigured(const char* host, uint32 port)
{
    std::lock_guard guard(lock);
    configured = {host, port};
}

void ManagerAddress::setRedirect(const char* host, uint32 port)
{
    std::lock_guard guard(lock);
    redirect = {host, port};
    redirectPending = true;
    ++redirectsSet;
}

bool ManagerAddress::takeRedirect(Address& address)
{
    std::lock_guard guard(lock);
    if (!redirectPending)
        return false;
    redirectPending = false;
    address = redirect;
    return true;
}

void ManagerAddress::redirectReceived(const char* host, uint32 port, Version version)
{
    std::lock_guard guard(lock);
    if (version != redirectsSet)
        return;
    redirect = {host, port};
    redirectPending = true;
}

void ManagerAddress::rememberConfigured(Version version)
{
    std::lock_guard guard(lock);
    if (version == redirectsSet)
        redirect = configured;
}

void ManagerAddress::forgetRedirect(Version version)
{
    std::lock_guard guard(lock);
    if (version == redirectsSet)
        redirect = {};
}

void ManagerAddress::forgetRedirectUnlessPending(Version version)
{
    std::lock_guard guard(lock);
    if (version == redirectsSet && !redirectPending)
        redirect = {};
}

void ManagerAddress::redirectFollowed(Version version)
{
    std::lock_guard guard(lock);
    if (version == redirectsSet)
        redirectPending = false;
}

} // namespace dm
