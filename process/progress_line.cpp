#include "process/progress_line.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <string_view>

namespace quarrypack::process {
namespace {

using namespace std::chrono_literals;

constexpr auto kQuietTime = 1s;
constexpr auto kRedrawTime = 100ms;

// How much is written between two reads of the clock.
constexpr std::uint64_t kSamplesPerLook = 32;
constexpr std::uint64_t kBytesPerLook = 256 * 1024;

constexpr std::size_t kUsualColumns = 80;

constexpr std::string_view kToLineStart = "\r";
constexpr std::string_view kEraseLine = "\r\x1b[K";
constexpr std::string_view kFaint = "\x1b[2m";
constexpr std::string_view kPlain = "\x1b[0m";

// The descriptor on which a line is shown, for the signal handler; kNowhere while there is none.
constexpr std::sig_atomic_t kNowhere = -1;
volatile std::sig_atomic_t shownOn = kNowhere;

// A variable with an empty value counts as unset.
std::string_view environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string_view() : std::string_view(value);
}

std::string timeText(double seconds) {
  // An estimate of days means a stalled disk and helps no user.
  const auto whole = static_cast<unsigned>(std::min(std::ceil(seconds), 359999.0));
  char text[32];
  if (whole >= 3600) {
    std::snprintf(text, sizeof(text), "%u:%02u:%02u", whole / 3600, whole / 60 % 60, whole % 60);
  } else {
    std::snprintf(text, sizeof(text), "%u:%02u", whole / 60, whole % 60);
  }
  return text;
}

}  // namespace

std::string progressText(const Progress& progress, std::chrono::duration<double> elapsed,
                         std::size_t columns) {
  const double done = progress.samplesInAll == 0
                          ? 1.0
                          : std::min(1.0, static_cast<double>(progress.samplesWritten) /
                                              static_cast<double>(progress.samplesInAll));
  const double seconds = std::max(elapsed.count(), 1e-3);
  const double megabytes = static_cast<double>(progress.bytesWritten) / 1e6;

  char numbers[64];
  std::snprintf(numbers, sizeof(numbers), "%3.0f %%  %.1f MB/s  ", std::floor(done * 100),
                megabytes / seconds);
  std::string text = numbers;
  if (done > 0) text += timeText(seconds * (1 - done) / done) + " left  ";
  text += std::to_string(progress.captionsPlaced);
  text += progress.captionsPlaced == 1 ? " caption placed" : " captions placed";
  // The last column stays free: a terminal that wraps there could not erase the line.
  text.resize(std::min(text.size(), columns == 0 ? 0 : columns - 1));
  return text;
}

std::optional<ProgressTerminal> ProgressTerminal::on(int descriptor) {
  if (::isatty(descriptor) == 0) return std::nullopt;
  const std::string_view kind = environment("TERM");
  if (kind.empty() || kind == "dumb") return std::nullopt;
  return ProgressTerminal(descriptor, environment("NO_COLOR").empty());
}

std::size_t ProgressTerminal::columns() const {
  winsize size{};
  if (::ioctl(descriptor_, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kUsualColumns;
  return size.ws_col;
}

void ProgressTerminal::draw(const std::string& text) const {
  std::string line(kEraseLine);
  if (isColourful_) line += kFaint;
  line += text;
  if (isColourful_) line += kPlain;
  shownOn = descriptor_;
  // One transfer, so that half a line is never visible.
  send(line += kToLineStart);
}

void ProgressTerminal::erase() const {
  send(std::string(kEraseLine));
  shownOn = kNowhere;
}

// A write to a terminal that has gone fails; the conversion continues without a progress line.
void ProgressTerminal::send(const std::string& text) const {
  std::string_view rest = text;
  while (!rest.empty()) {
    const ssize_t sent = ::write(descriptor_, rest.data(), rest.size());
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return;
    rest.remove_prefix(static_cast<std::size_t>(sent));
  }
}

void eraseProgressFromHandler() {
  if (shownOn == kNowhere) return;
  // The process ends either way, so a failed write is ignored.
  [[maybe_unused]] const ssize_t sent = ::write(shownOn, kEraseLine.data(), kEraseLine.size());
}

ProgressLine::ProgressLine(std::optional<ProgressTerminal> terminal, Clock::time_point (*now)())
    : terminal_(terminal),
      now_(now),
      start_(now()),
      nextDraw_(start_ + kQuietTime),
      nextSamples_(terminal ? kSamplesPerLook : std::numeric_limits<std::uint64_t>::max()),
      nextBytes_(terminal ? kBytesPerLook : std::numeric_limits<std::uint64_t>::max()),
      way_(&makeWay_) {
  if (terminal_) formerlyTied_ = std::cout.tie(&way_);
}

ProgressLine::~ProgressLine() {
  if (!terminal_) return;
  erase();
  std::cout.tie(formerlyTied_);
}

void ProgressLine::look() {
  nextSamples_ = progress_.samplesWritten + kSamplesPerLook;
  nextBytes_ = progress_.bytesWritten + kBytesPerLook;
  const Clock::time_point now = now_();
  if (now <= nextDraw_) return;
  terminal_->draw(progressText(progress_, now - start_, terminal_->columns()));
  isShown_ = true;
  nextDraw_ = now + kRedrawTime;
}

void ProgressLine::erase() {
  if (!isShown_) return;
  terminal_->erase();
  isShown_ = false;
}

int ProgressLine::MakeWay::sync() {
  line_.erase();
  return 0;
}

}  // namespace quarrypack::process
