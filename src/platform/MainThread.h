#pragma once

#include <functional>

// The main queue: the Qt main thread, where the recording manager, the file
// bookkeeping and every widget live.
namespace MainThread {

// Runs the work on the main thread's event loop, after what is already there.
void post(std::function<void()> work);

bool isCurrent();

}  // namespace MainThread
