#include "tests/support/child_signals.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace quarrypack::test {

void stopIgnoringSignals() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) std::signal(signal, SIG_DFL);
}

std::optional<int> endingSignal(const std::function<void()>& work) {
  const pid_t child = fork();
  if (child == 0) {
    stopIgnoringSignals();
    work();
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (!WIFSIGNALED(status)) return std::nullopt;
  return WTERMSIG(status);
}

}  // namespace quarrypack::test
