// File calls that fail, are interrupted or are killed at the k-th of them while quarrypack-embed
// works, for every k; and memory that runs out. In every case OUTPUT is the old file or the new
// one, nothing else is left, and a failure reports the error of the system.

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <functional>
#include <new>
#include <optional>
#include <set>
#include <system_error>

#include "companions/embed/embed_program.h"
#include "companions/output_file.h"
#include "tests/faults/fault_runs.h"
#include "tests/faults/short_memory.h"
#include "tests/support/run_program.h"
#include "tests/support/system_calls.h"

namespace quarrypack::test {
namespace {

namespace fs = std::filesystem;
using companions::EmbedOptions;
using companions::FileError;

const Bytes kOld = text("what was there before");
constexpr mode_t kOldPermissions = 0640;

// Large enough to be written in several transfers.
Bytes filmToEmbed() {
  const Bytes popOn = {0x94, 0x20, 0x94, 0xE0, 0xC1, 0x80, 0x94, 0x2F};
  return MovieBuilder({videoTrack({.count = 20}), soundTrack({.count = 20, .size = 60'000}),
                       captionTrack(CaptionTrackOptions{
                           .samples = {cdat(popOn), cdat({0x94, 0x2C})}, .duration = 8 * 1001})})
      .build();
}

// What is at OUTPUT before the run.
enum class Before { nothing, file, linkToFile };

class EmbedProgramFaults : public testing::TestWithParam<Before> {
 protected:
  void SetUp() override {
    fs::create_directory(folder() / "out");
    fs::create_directory(folder() / "real");
    writeFile(input(), film_);
    options_.input = input().string();
    options_.output = output().string();
    begin();
    resetSystemCalls();
    run();
    whole_ = readFile(output());
  }
  void TearDown() override { resetSystemCalls(); }

  // Makes OUTPUT what it is before a run.
  void begin() {
    for (const fs::path& part : {output(), target()}) fs::remove(part);
    if (GetParam() == Before::nothing) return;
    if (GetParam() == Before::linkToFile) fs::create_symlink("../real/film.mp4", output());
    writeFile(target(), kOld);
    chmod(target().c_str(), kOldPermissions);
  }

  void run() const { companions::embedCaptions(options_); }

  // The text of the failure of a run; none if the run succeeds.
  std::optional<std::string> failureOfRun() const {
    try {
      run();
      return std::nullopt;
    } catch (const FileError& error) {
      return error.what();
    } catch (const std::bad_alloc&) {
      return "memory";
    }
  }

  void expectOld() const {
    EXPECT_EQ(fs::is_symlink(output()), GetParam() == Before::linkToFile);
    EXPECT_EQ(fs::exists(target()), GetParam() != Before::nothing);
    if (GetParam() == Before::nothing) return;
    EXPECT_TRUE(readFile(target()) == kOld);
    expectPermissions();
  }

  void expectNew() const {
    EXPECT_EQ(fs::is_symlink(output()), GetParam() == Before::linkToFile);
    EXPECT_TRUE(readFile(target()) == whole_);
    if (GetParam() != Before::nothing) expectPermissions();
  }

  void expectOldOrNew() const {
    fs::exists(target()) && readFile(target()) == whole_ ? expectNew() : expectOld();
  }

  void expectUnchangedInput() const { EXPECT_TRUE(readFile(input()) == film_); }

  // The files that are neither INPUT nor OUTPUT.
  std::set<std::string> leftFiles() const {
    std::set<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(folder())) {
      const fs::path& path = entry.path();
      if (path == input() || path == output() || path == target()) continue;
      if (!fs::is_directory(path)) names.insert(fs::relative(path, folder()).string());
    }
    return names;
  }

  const fs::path& folder() const { return folder_.path(); }
  fs::path input() const { return folder() / "film.mov"; }
  fs::path output() const { return folder() / "out" / "film.mp4"; }
  fs::path target() const {
    return GetParam() == Before::linkToFile ? folder() / "real" / "film.mp4" : output();
  }
  std::string what(const std::string& fault) const {
    static const char* const kNames[] = {"no output", "an output", "a linked output"};
    return "embedding with " + std::string(kNames[static_cast<int>(GetParam())]) + ", " + fault;
  }

 private:
  void expectPermissions() const {
    struct stat status {};
    ASSERT_EQ(stat(target().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, kOldPermissions);
  }

  TemporaryFolder folder_;
  const Bytes film_ = filmToEmbed();
  EmbedOptions options_;
  Bytes whole_;
};

TEST_P(EmbedProgramFaults, OfEveryFileCallLeaveTheOldOutputAndSayWhy) {
  for (const int error : {EIO, ENOSPC, EACCES}) {
    const std::string reason = std::generic_category().message(error);
    forEachFault(what(reason), [&](std::size_t k) {
      begin();
      resetSystemCalls();
      recordSystemCalls();
      failAnySystemCall(k, error);
      const std::optional<std::string> failure = failureOfRun();
      const bool met = systemFaultWasMet();
      const RecordedCall call = faultySystemCall();
      resetSystemCalls();
      const std::string where = "call " + std::to_string(k) + ", sort " +
                                std::to_string(static_cast<int>(call.call)) + " of " + call.path;
      SCOPED_TRACE(where);
      if (failure) {
        EXPECT_TRUE(failure->ends_with(": " + reason)) << *failure;
        EXPECT_NE(failure->find("film."), std::string::npos) << *failure;
        expectOld();
      } else {
        expectNew();
      }
      EXPECT_EQ(leftFiles(), std::set<std::string>());
      expectUnchangedInput();
      return met;
    });
  }
}

TEST_P(EmbedProgramFaults, OfWritesNameTheOutput) {
  begin();
  resetSystemCalls();
  failSystemCall(SystemCall::write, 2, ENOSPC);
  EXPECT_EQ(failureOfRun(), "cannot write '" + output().string() + "': No space left on device");
  begin();
  resetSystemCalls();
  failSystemCall(SystemCall::synchronize, 1, ENOSPC);
  EXPECT_EQ(failureOfRun(), "cannot write '" + output().string() + "': No space left on device");
}

TEST_P(EmbedProgramFaults, OfReadsNameTheFileThatWasRead) {
  std::set<std::string> failures;
  forEachFault(what("reads"), [&](std::size_t k) {
    begin();
    resetSystemCalls();
    failSystemCall(SystemCall::read, k, EIO);
    if (const auto failure = failureOfRun()) failures.insert(*failure);
    return systemFaultWasMet();
  });
  EXPECT_EQ(failures, (std::set<std::string>{
                          "cannot read '" + input().string() + "': Input/output error",
                          "cannot read '" + output().string() + "' again: Input/output error"}));
}

TEST_P(EmbedProgramFaults, OfInterruptedCallsDoNotMatter) {
  const std::set<SystemCall> interruptible = {SystemCall::open, SystemCall::read, SystemCall::write,
                                              SystemCall::setLength, SystemCall::synchronize};
  for (const SystemCall call : interruptible) {
    for (std::size_t k = 1;; ++k) {
      begin();
      resetSystemCalls();
      failSystemCall(call, k, EINTR);
      EXPECT_EQ(failureOfRun(), std::nullopt) << k;
      if (!systemFaultWasMet()) break;
      resetSystemCalls();
      expectNew();
      EXPECT_EQ(leftFiles(), std::set<std::string>());
    }
  }
}

TEST_P(EmbedProgramFaults, OfShortTransfersDoNotMatter) {
  for (const SystemCall call : {SystemCall::read, SystemCall::write}) {
    forEachFault(what("short transfers"), [&](std::size_t k) {
      begin();
      resetSystemCalls();
      shortenSystemCall(call, k);
      EXPECT_EQ(failureOfRun(), std::nullopt) << k;
      const bool met = systemFaultWasMet();
      resetSystemCalls();
      expectNew();
      return met;
    });
  }
}

TEST_P(EmbedProgramFaults, OfMemoryLeaveTheOldOutput) {
  forEachFault(what("allocations"), [&](std::size_t k) {
    begin();
    resetSystemCalls();
    bool isWhole = false;
    {
      const ShortMemory shortMemory(k);
      isWhole = !failureOfRun();
    }
    const bool met = ShortMemory::faultWasMet();
    SCOPED_TRACE("allocation " + std::to_string(k));
    isWhole ? expectNew() : expectOld();
    EXPECT_EQ(leftFiles(), std::set<std::string>());
    return met;
  });
}

// Runs the program in a process of its own, which one of its calls may kill.
bool isKilled(const std::function<void()>& run) {
  const pid_t child = fork();
  if (child == 0) {
    run();
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
}

TEST_P(EmbedProgramFaults, AKilledProcessLeavesTheOldOutputOrTheNewOne) {
  std::size_t leaving = 0;
  forEachFault(what("kills"), [&](std::size_t k) {
    begin();
    resetSystemCalls();
    const bool killed = isKilled([&] {
      killAtSystemCall(k);
      run();
    });
    SCOPED_TRACE("call " + std::to_string(k));
    expectOldOrNew();
    expectUnchangedInput();
    for (const std::string& name : leftFiles()) {
      ++leaving;
      EXPECT_TRUE(fs::path(name).filename().string().starts_with(".film.mp4.")) << name;
      EXPECT_TRUE(name.ends_with(".0.tmp")) << name;
      fs::remove(folder() / name);
    }
    return killed;
  });
  EXPECT_GT(leaving, 0u);
}

// So a power failure leaves the old file or the new one as well.
TEST_P(EmbedProgramFaults, TheFileIsOnTheDiskBeforeItGetsItsNameAndTheNameBeforeTheEnd) {
  begin();
  resetSystemCalls();
  recordSystemCalls();
  run();
  const std::vector<RecordedCall> calls = recordedSystemCalls();
  resetSystemCalls();
  std::vector<std::string> steps;
  const std::string outputFolder = target().parent_path().string();
  for (const RecordedCall& call : calls) {
    const fs::path path = fs::path(call.path).lexically_normal();
    const bool isTemporary = path.extension() == ".tmp";
    std::string step;
    if (call.call == SystemCall::write && isTemporary) step = "write";
    if (call.call == SystemCall::setLength) step = "set length";
    if (call.call == SystemCall::synchronize && isTemporary) step = "synchronize file";
    if (call.call == SystemCall::rename && isTemporary) step = "rename";
    if (call.call == SystemCall::synchronize && path == outputFolder + '/') {
      step = "synchronize folder";
    }
    if (isTemporary && path.parent_path() != outputFolder) step = "elsewhere";
    if (!step.empty() && (steps.empty() || steps.back() != step)) steps.push_back(step);
  }
  EXPECT_EQ(steps, (std::vector<std::string>{"write", "synchronize file", "rename",
                                             "synchronize folder"}));
}

INSTANTIATE_TEST_SUITE_P(Outputs, EmbedProgramFaults,
                         testing::Values(Before::nothing, Before::file, Before::linkToFile));

}  // namespace
}  // namespace quarrypack::test
