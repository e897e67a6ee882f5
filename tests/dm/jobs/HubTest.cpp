/// The broadcast hub and its members, in one process.
#include "support/PipeFixture.h"

#include <dm/jobs.h>

using namespace support;

namespace {

class Hub : public PipeFixture
{
protected:
    static dm::Client join(const char* name, const dm::BroadcastServer& hub, const char* pipe)
    {
        dm::Client client(name);
        client.connect("127.0.0.1", hub.getPort());
        client.waitPipeToConnect(pipe);
        return client;
    }
};

} // namespace

TEST_F(Hub, ForwardsARequestAndItsAnswer)
{
    dm::BroadcastServer hub("hub", 0);
    dm::Client first = join("first", hub, "chat");
    dm::Client second = join("second", hub, "chat");
    Responder responder(second.getPipe("chat"));
    const Answer answer = ask(first.getPipe("chat"), "hello", "", 1, 100);
    EXPECT_EQ(answer.text, "hello");
    dm::deinitCommunicationManagers();
}
