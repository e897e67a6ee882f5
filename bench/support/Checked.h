/// For Platform.cpp and Processes.cpp, which talk to the operating system.
#pragma once

#include <cerrno>
#include <system_error>

namespace bench {

/// What a system call has returned; throws when that is an error.
inline int checked(int result, const char* what)
{
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), what);
    return result;
}

} // namespace bench
