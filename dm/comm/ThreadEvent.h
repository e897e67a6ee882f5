/// What a thread that waits for a message of its own sleeps on.
#pragma once

#include <zul/Event.h>

namespace dm {

/// One a thread is enough: a thread waits for one message at a time, and a signal left over from
/// the last wait only makes it look once more.
inline zu::Event& threadEvent()
{
    thread_local zu::Event event = zu::Event::create();
    return event;
}

} // namespace dm
