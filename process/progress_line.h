#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <streambuf>
#include <string>

namespace quarrypack::process {

// How far a conversion has come.
struct Progress {
  std::uint64_t samplesInAll = 0;
  std::uint64_t samplesWritten = 0;
  std::uint64_t bytesWritten = 0;
  std::uint64_t captionsPlaced = 0;
};

// The line that shows the progress, cut to this number of columns: " 42 % 118.3 MB/s 0:07 left 214
// captions placed".
std::string progressText(const Progress& progress, std::chrono::duration<double> elapsed,
                         std::size_t columns);

// The terminal that a descriptor refers to, if a line can be redrawn there.
class ProgressTerminal {
 public:
  // None if the descriptor is a file or a pipe, or if the terminal (TERM) cannot erase a line.
  // Without colour (NO_COLOR) the line is plain.
  static std::optional<ProgressTerminal> on(int descriptor);

  ProgressTerminal(int descriptor, bool isColourful)
      : descriptor_(descriptor), isColourful_(isColourful) {}

  std::size_t columns() const;
  bool isColourful() const { return isColourful_; }
  void draw(const std::string& text) const;
  void erase() const;

 private:
  void send(const std::string& text) const;

  int descriptor_;
  bool isColourful_;
};

// Erases the line that is shown on a terminal, if there is one. Called by the handler of a signal
// that ends the process, so it makes only async-signal-safe calls.
void eraseProgressFromHandler();

// Shows the progress of one conversion while it lives, only on a terminal and only of a conversion
// that takes longer than a second. The destructor erases the line, whatever ends the conversion.
// The line is also erased before anything is printed on standard output.
class ProgressLine {
 public:
  using Clock = std::chrono::steady_clock;

  explicit ProgressLine(std::optional<ProgressTerminal> terminal,
                        Clock::time_point (*now)() = Clock::now);
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  void expectSamples(std::uint64_t samples) { progress_.samplesInAll += samples; }
  void captionsPlaced(std::size_t captions) { progress_.captionsPlaced += captions; }

  // Called for every sample, so nearly always it only counts.
  void sampleWritten(std::uint64_t bytes) {
    ++progress_.samplesWritten;
    progress_.bytesWritten += bytes;
    if (progress_.samplesWritten >= nextSamples_ || progress_.bytesWritten >= nextBytes_) look();
  }

  // For a pass that copies bytes without regard to samples: a byte counts as a sample.
  void bytesDone(std::uint64_t bytes) {
    progress_.samplesWritten += bytes;
    progress_.bytesWritten += bytes;
    if (progress_.bytesWritten >= nextBytes_) look();
  }

 private:
  // Standard output is tied to this buffer: it is flushed before anything is printed there.
  class MakeWay final : public std::streambuf {
   public:
    explicit MakeWay(ProgressLine& line) : line_(line) {}
    int sync() override;

   private:
    ProgressLine& line_;
  };

  void look();
  void erase();

  std::optional<ProgressTerminal> terminal_;
  Clock::time_point (*now_)();
  Clock::time_point start_;
  Clock::time_point nextDraw_;
  Progress progress_;
  std::uint64_t nextSamples_;
  std::uint64_t nextBytes_;
  bool isShown_ = false;
  MakeWay makeWay_{*this};
  std::ostream way_;
  std::ostream* formerlyTied_ = nullptr;
};

}  // namespace quarrypack::process
