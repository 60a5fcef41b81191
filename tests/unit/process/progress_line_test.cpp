#include "process/progress_line.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <iostream>
#include <string>

#include "process/interruption.h"
#include "tests/support/bytes.h"
#include "tests/support/child_signals.h"
#include "tests/support/console.h"
#include "tests/support/pseudo_terminal.h"
#include "tests/support/run_program.h"

namespace quarrypack::process {
namespace {

using namespace std::chrono_literals;
using test::PseudoTerminal;
using test::TerminalVariables;

constexpr Progress kHalfWay{
    .samplesInAll = 200, .samplesWritten = 100, .bytesWritten = 250'000'000, .captionsPlaced = 12};

TEST(ProgressText, ReportsPartSpeedTimeLeftAndCaptions) {
  EXPECT_EQ(progressText(kHalfWay, 2s, 80), " 50 %  125.0 MB/s  0:02 left  12 captions placed");
}

TEST(ProgressText, CountsMinutesAndHours) {
  EXPECT_EQ(progressText(kHalfWay, 65s, 80), " 50 %  3.8 MB/s  1:05 left  12 captions placed");
  EXPECT_EQ(progressText(kHalfWay, 3661s, 80), " 50 %  0.1 MB/s  1:01:01 left  12 captions placed");
}

TEST(ProgressText, NeverPromisesTheEndBeforeItIsReached) {
  Progress nearly = kHalfWay;
  nearly.samplesWritten = 199;
  EXPECT_EQ(progressText(nearly, 2s, 80).substr(0, 5), " 99 %");
}

TEST(ProgressText, SaysNothingOfTheTimeLeftBeforeTheFirstSample) {
  Progress first = kHalfWay;
  first.samplesWritten = 0;
  first.captionsPlaced = 1;
  EXPECT_EQ(progressText(first, 2s, 80), "  0 %  125.0 MB/s  1 caption placed");
}

TEST(ProgressText, ShowsAtMost100PercentWhenMoreSamplesComeThanWereCounted) {
  Progress more = kHalfWay;
  more.samplesWritten = 300;
  EXPECT_EQ(progressText(more, 2s, 80).substr(0, 5), "100 %");
}

TEST(ProgressText, StaysOutOfTheLastColumn) {
  EXPECT_EQ(progressText(kHalfWay, 2s, 11), " 50 %  125");
  EXPECT_EQ(progressText(kHalfWay, 2s, 1), "");
  EXPECT_EQ(progressText(kHalfWay, 2s, 0), "");
}

TEST(ProgressTerminal, IsNeitherFileNorPipe) {
  const TerminalVariables variables("xterm", nullptr);
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  EXPECT_FALSE(ProgressTerminal::on(ends[1]));
  ::close(ends[0]);
  ::close(ends[1]);
  const int file = ::open("/dev/null", O_WRONLY);
  EXPECT_FALSE(ProgressTerminal::on(file));
  ::close(file);
  EXPECT_FALSE(ProgressTerminal::on(-1));
}

TEST(ProgressTerminal, IsLeftAloneWhenItCannotErase) {
  const PseudoTerminal terminal;
  {
    const TerminalVariables variables("dumb", nullptr);
    EXPECT_FALSE(ProgressTerminal::on(terminal.descriptor()));
  }
  const TerminalVariables variables(nullptr, nullptr);
  EXPECT_FALSE(ProgressTerminal::on(terminal.descriptor()));
}

TEST(ProgressTerminal, DrawsFaintAndWithoutColourOnRequest) {
  const PseudoTerminal terminal;
  {
    const TerminalVariables variables("xterm", nullptr);
    ProgressTerminal::on(terminal.descriptor())->draw("x");
    EXPECT_EQ(terminal.sent(), "\r\x1b[K\x1b[2mx\x1b[0m\r");
  }
  const TerminalVariables variables("xterm", "1");
  ProgressTerminal::on(terminal.descriptor())->draw("x");
  EXPECT_EQ(terminal.sent(), "\r\x1b[Kx\r");
}

TEST(ProgressTerminal, KnowsItsWidth) {
  const PseudoTerminal terminal;
  const ProgressTerminal screen(terminal.descriptor(), false);
  terminal.setColumns(43);
  EXPECT_EQ(screen.columns(), 43U);
  terminal.setColumns(0);
  EXPECT_EQ(screen.columns(), 80U);
}

class ProgressLineOnTerminal : public testing::Test {
 protected:
  static ProgressLine::Clock::time_point now() { return ProgressLine::Clock::time_point(time_); }
  void SetUp() override { time_ = 0ms; }

  // As many samples as are written before the line looks at its clock again.
  static void writeSome(ProgressLine& line) {
    for (int i = 0; i < 32; ++i) line.sampleWritten(1000);
  }

  PseudoTerminal terminal_;
  ProgressTerminal screen_{terminal_.descriptor(), false};
  static inline std::chrono::milliseconds time_{0};
};

TEST_F(ProgressLineOnTerminal, IsSilentInTheFirstSecond) {
  {
    ProgressLine line(screen_, &now);
    line.expectSamples(64);
    time_ = 1000ms;
    writeSome(line);
    EXPECT_EQ(terminal_.sent(), "");
  }
  EXPECT_EQ(terminal_.sent(), "") << "what was never drawn need not be erased";
}

TEST_F(ProgressLineOnTerminal, AppearsAfterASecondAndIsErasedAtTheEnd) {
  {
    ProgressLine line(screen_, &now);
    line.expectSamples(64);
    line.captionsPlaced(3);
    time_ = 2000ms;
    writeSome(line);
    EXPECT_EQ(terminal_.sent(), "\r\x1b[K 50 %  0.0 MB/s  0:02 left  3 captions placed\r");
  }
  EXPECT_EQ(terminal_.sent(), "\r\x1b[K");
}

TEST_F(ProgressLineOnTerminal, IsErasedWhenTheConversionFails) {
  try {
    ProgressLine line(screen_, &now);
    time_ = 2000ms;
    writeSome(line);
    EXPECT_NE(terminal_.sent(), "");
    throw std::string("failed");
  } catch (const std::string&) {
    EXPECT_EQ(terminal_.sent(), "\r\x1b[K");
  }
}

TEST_F(ProgressLineOnTerminal, IsErasedWhenASignalEndsTheConversion) {
  const test::TemporaryFolder folder;
  const std::string movie = (folder.path() / "clip.mp4").string();
  for (const bool isDrawn : {true, false}) {
    test::writeFile(movie, test::text("half a movie"));
    EXPECT_EQ(test::endingSignal([&] {
                ProgressLine line(screen_, &now);
                const RemovalOnInterruption removal(movie);
                if (isDrawn) time_ = 2000ms;
                writeSome(line);
                ::raise(SIGINT);
              }),
              SIGINT);
    const std::string sent = terminal_.sent();
    if (isDrawn) {
      EXPECT_NE(sent.find("placed\r\r\x1b[K"), std::string::npos) << sent;
      EXPECT_EQ(sent.substr(sent.size() - 4), "\r\x1b[K");
    } else {
      EXPECT_EQ(sent, "");
    }
  }
}

TEST_F(ProgressLineOnTerminal, IsRedrawnAtMostTenTimesASecond) {
  ProgressLine line(screen_, &now);
  std::size_t drawn = 0;
  for (time_ = 1001ms; time_ <= 2000ms; time_ += 1ms) {
    writeSome(line);
    if (!terminal_.sent().empty()) ++drawn;
  }
  EXPECT_GE(drawn, 9U);
  EXPECT_LE(drawn, 10U);
}

TEST_F(ProgressLineOnTerminal, LooksAtTheClockForManyBytesToo) {
  ProgressLine line(screen_, &now);
  time_ = 2000ms;
  line.sampleWritten(255 * 1024);
  EXPECT_EQ(terminal_.sent(), "");
  line.sampleWritten(1024);
  EXPECT_NE(terminal_.sent(), "");
}

TEST_F(ProgressLineOnTerminal, MakesWayForStandardOutput) {
  const test::CapturedConsole console;
  ProgressLine line(screen_, &now);
  time_ = 2000ms;
  writeSome(line);
  EXPECT_NE(terminal_.sent(), "");
  std::cout << "a note" << std::endl;
  EXPECT_EQ(terminal_.sent(), "\r\x1b[K");
  EXPECT_EQ(console.out(), "a note\n");
}

TEST_F(ProgressLineOnTerminal, LeavesStandardOutputAsItWas) {
  const std::ostream* const before = std::cout.tie();
  { const ProgressLine line(screen_, &now); }
  EXPECT_EQ(std::cout.tie(), before);
}

TEST_F(ProgressLineOnTerminal, IsNothingWithoutATerminal) {
  ProgressLine line(std::nullopt, &now);
  time_ = 2000ms;
  writeSome(line);
  EXPECT_EQ(terminal_.sent(), "");
}

TEST_F(ProgressLineOnTerminal, OutlivesItsTerminal) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe2(ends.data(), O_NONBLOCK), 0);
  ::close(ends[0]);
  ::close(ends[1]);
  ProgressLine line(ProgressTerminal(ends[1], false), &now);
  time_ = 2000ms;
  writeSome(line);
  EXPECT_EQ(terminal_.sent(), "");
}

}  // namespace
}  // namespace quarrypack::process
