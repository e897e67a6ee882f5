#pragma once

#include <dm/jobs.h>

#include <functional>
#include <string>
#include <utility>

namespace support {

/// A job that calls a function of the test with the manager's name.
class CallJob : public dm::Job
{
public:
    explicit CallJob(std::function<void(const std::string& managerName)> function)
        : call(std::move(function))
    {
    }
    void run(const char* managerName) override { call(managerName); }

private:
    std::function<void(const std::string&)> call;
};

} // namespace support
