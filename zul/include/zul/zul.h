/// The whole runtime in one include. Headers of a library include the single ones they need.
#pragma once

#include <zul/Color.h>
#include <zul/Event.h>
#include <zul/Exception.h>
#include <zul/FastDelegate.h>
#include <zul/InplaceString.h>
#include <zul/Memory.h>
#include <zul/Mutex.h>
#include <zul/NamedMutex.h>
#include <zul/String.h>
#include <zul/Thread.h>
#include <zul/ThreadProfiler.h>
#include <zul/Timer.h>
#include <zul/Types.h>
#include <zul/Vector.h>
#include <zul/Vector2.h>
#include <zul/Yield.h>
