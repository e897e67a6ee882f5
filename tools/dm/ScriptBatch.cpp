#include "tools/dm/ScriptBatch.h"

#include "tools/dm/AnswerBuffer.h"
#include "tools/dm/Files.h"

#include <zul/Interrupt.h>

#include <memory>
#include <optional>
#include <utility>

namespace tool {

/// One step on the job manager's thread: the library's job, and what the script wants besides.
class ScriptBatch::StepJob : public dm::Job
{
public:
    StepJob(ScriptBatch& owner, std::size_t stepIndex, dm::Job* libraryJob)
        : batch(owner)
        , index(stepIndex)
        , job(libraryJob)
    {
    }

    void run(const char* managerName) override { batch.run(index, *job, managerName); }

private:
    ScriptBatch& batch;
    const std::size_t index;
    const std::unique_ptr<dm::Job> job;
};

ScriptBatch::ScriptBatch(const std::vector<ScriptStep>& scriptSteps)
    : steps(scriptSteps)
    , answers(scriptSteps.size())
{
    bool storesAnswers = false;
    for (std::size_t index = 0; index < steps.size(); ++index) {
        if (steps[index].file.empty())
            continue;
        if (steps[index].kind == ScriptStep::Respond)
            answers[index] = readWhole(steps[index].file);
        else
            storesAnswers = true;
    }
    if (storesAnswers)
        received = allocateForAnyAnswer();
}

void ScriptBatch::addJobsTo(dm::Client& client)
{
    for (std::size_t index = 0; index < steps.size(); ++index)
        client.addJob(new StepJob(*this, index, makeJob(index, client)));
}

dm::Job* ScriptBatch::makeJob(std::size_t index, dm::Client& client)
{
    const ScriptStep& step = steps[index];
    const char* const pipe = step.pipe.c_str();
    const char* const text = step.text.c_str();
    // Without a file nobody wants the answer's data.
    void* const room = step.file.empty() ? nullptr : received.data();
    const auto roomBytes = static_cast<unsigned>(step.file.empty() ? 0 : received.size());
    switch (step.kind) {
    case ScriptStep::Notify:
        return new dm::JobSendNotify(client.getPipe(pipe), text, step.value);
    case ScriptStep::Request:
        return new dm::JobSendRequest(pipe, text, room, roomBytes, &receivedBytes);
    case ScriptStep::WaitNotify:
        return new dm::JobWaitNotify(pipe, "");
    case ScriptStep::WaitRequest:
        return new dm::JobWaitRequest(pipe, "");
    case ScriptStep::Respond:
        return new dm::JobRespond(pipe, text, answers[index].data(), answers[index].size());
    case ScriptStep::WaitNotifyAndRequest:
        break;
    }
    return new dm::JobWaitNotifyAndRequest(pipe, step.notification.c_str(), text, room, roomBytes,
                                           &receivedBytes);
}

void ScriptBatch::run(std::size_t index, dm::Job& job, const char* managerName)
{
    if (!stopping) {
        running = index;
        try {
            runAndStore(index, job, managerName);
        } catch (...) {
            failure = std::current_exception();
            stopping = true;
        }
    }
    if (++finished == steps.size())
        zu::Interrupt::get().notify();
}

void ScriptBatch::runAndStore(std::size_t index, dm::Job& job, const char* managerName)
{
    const ScriptStep& step = steps[index];
    // Before asking: a request may change things at the other end, and must not be made in vain.
    std::optional<OutputFile> out;
    if (!step.file.empty() && step.kind != ScriptStep::Respond)
        out.emplace(step.file);
    receivedBytes = 0;
    job.run(managerName);
    if (!out || stopping)
        return; // stopped, what was received may be half an answer
    requireFits(receivedBytes, received, step.file);
    out->write(received.data(), receivedBytes);
    out->commit();
}

void ScriptBatch::rethrowFailure() const
{
    if (failure != nullptr)
        std::rethrow_exception(failure);
}

} // namespace tool
