#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>

namespace quarrypack::test {

// A terminal without a screen: what the program sends to it can be read.
class PseudoTerminal {
 public:
  PseudoTerminal() : screen_(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK)) {
    if (screen_ < 0 || ::grantpt(screen_) != 0 || ::unlockpt(screen_) != 0) std::abort();
    program_ = ::open(::ptsname(screen_), O_RDWR | O_NOCTTY);
    if (program_ < 0) std::abort();
  }
  ~PseudoTerminal() {
    ::close(program_);
    ::close(screen_);
  }
  PseudoTerminal(const PseudoTerminal&) = delete;
  PseudoTerminal& operator=(const PseudoTerminal&) = delete;

  int descriptor() const { return program_; }

  void setColumns(unsigned short columns) const {
    const winsize size{.ws_row = 24, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
    ASSERT_EQ(::ioctl(program_, TIOCSWINSZ, &size), 0);
  }

  // Everything sent since the last call.
  std::string sent() const {
    std::string text;
    std::array<char, 4096> block;
    for (;;) {
      const ssize_t count = ::read(screen_, block.data(), block.size());
      if (count <= 0) return text;
      text.append(block.data(), static_cast<std::size_t>(count));
    }
  }

 private:
  int screen_;
  int program_;
};

// The variables of the environment that say what a terminal can do. At the end it can do nothing.
class TerminalVariables {
 public:
  TerminalVariables(const char* term, const char* noColour) {
    set("TERM", term);
    set("NO_COLOR", noColour);
  }
  ~TerminalVariables() {
    set("TERM", "dumb");
    set("NO_COLOR", nullptr);
  }
  TerminalVariables(const TerminalVariables&) = delete;
  TerminalVariables& operator=(const TerminalVariables&) = delete;

 private:
  static void set(const char* name, const char* value) {
    if (value == nullptr) {
      ::unsetenv(name);
    } else {
      ::setenv(name, value, 1);
    }
  }
};

}  // namespace quarrypack::test
