#pragma once

#include <functional>
#include <optional>

// How signals end the processes that tests start.
namespace quarrypack::test {

// For a new process: SIGINT, SIGTERM and SIGHUP end it again. Tests that were started in the
// background, or to outlive their terminal, ignore them, and so would their children.
void stopIgnoringSignals();

// Runs something in a process of its own and returns the signal that ended it, if any.
std::optional<int> endingSignal(const std::function<void()>& work);

}  // namespace quarrypack::test
