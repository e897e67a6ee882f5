#include "tools/sandbox/CommandGroups.h"
#include "tools/sandbox/Commands.h"
#include "tools/sandbox/ProfileReport.h"
#include "tools/sandbox/Variables.h"

#include <dm/monitor.h>
#include <zul/Packet.h>
#include <zul/Profile.h>

namespace sandbox {

namespace {

using d::Profile::ThreadProfiler;

void report(Output& output)
{
    if (!ThreadProfiler::isRecording()) {
        ThreadProfiler::setRecording(true);
        output.print("recording from here on; enter profile again for a table");
        return;
    }
    net::Packet packet(0);
    packet << ThreadProfiler::current();
    packet.setPos(0);
    d::Profile::Snapshot snapshot;
    if (!snapshot.read(packet))
        throw CommandError("nothing was recorded");
    for (const std::string& line : profileReport(snapshot))
        output.print(line);
}

} // namespace

void addProfileCommand(Commands& commands, Output& output)
{
    commands.add({"profile", "[on|off|send]",
                  "Shows what took how long since the recording began. on and off switch the "
                  "recording, send shows it to the tools that watch.",
                  [&output](const CommandText& text) {
                      const std::string what = text.words.empty() ? "" : toLower(text.words[0]);
                      if (what.empty()) {
                          report(output);
                      } else if (what == "send") {
                          dm::createProfilePacket();
                          output.print("sent to the tools that watch");
                      } else if (what == "on" || what == "off") {
                          ThreadProfiler::setRecording(what == "on");
                          output.print("recording is " + what);
                      } else {
                          throw CommandError("say on, off, send or nothing");
                      }
                  }});
}

} // namespace sandbox
