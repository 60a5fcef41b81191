#include "tests/support/run_program.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace quarrypack::test {
namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void failWith(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

class Pipe {
 public:
  Pipe() {
    if (::pipe2(ends_.data(), O_CLOEXEC) != 0) failWith("pipe2");
  }
  ~Pipe() {
    closeReadEnd();
    closeWriteEnd();
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  int readEnd() const { return ends_[0]; }
  int writeEnd() const { return ends_[1]; }
  void closeReadEnd() { closeEnd(ends_[0]); }
  void closeWriteEnd() { closeEnd(ends_[1]); }

 private:
  static void closeEnd(int& end) {
    if (end >= 0) ::close(end);
    end = -1;
  }

  std::array<int, 2> ends_{-1, -1};
};

constexpr int kCouldNotStart = 127;

// Runs between fork and exec, where only calls that are safe in a signal handler are allowed.
[[noreturn]] void becomeProgram(const char* program, char* const* words, const char* folder,
                                const std::vector<int>& closed,
                                const std::optional<std::size_t>& largestFile, int out, int err) {
  ::setpgid(0, 0);
  if (folder != nullptr && ::chdir(folder) != 0) ::_exit(kCouldNotStart);
  const int nothing = ::open("/dev/null", O_RDONLY);
  if (nothing < 0 || ::dup2(nothing, STDIN_FILENO) < 0 || ::dup2(out, STDOUT_FILENO) < 0 ||
      ::dup2(err, STDERR_FILENO) < 0) {
    ::_exit(kCouldNotStart);
  }
  if (nothing > STDERR_FILENO) ::close(nothing);
  if (largestFile) {
    const rlimit limit{*largestFile, *largestFile};
    if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) ::_exit(kCouldNotStart);
  }
  for (const int descriptor : closed) ::close(descriptor);
  ::execv(program, words);
  ::_exit(kCouldNotStart);
}

// Reads the available bytes. Closes the pipe at the end of the stream; it is then not read again.
void takeOutput(Pipe& from, std::string& to) {
  std::array<char, 65536> block;
  const ssize_t count = ::read(from.readEnd(), block.data(), block.size());
  if (count > 0) {
    to.append(block.data(), static_cast<std::size_t>(count));
  } else if (count == 0 || errno != EINTR) {
    from.closeReadEnd();
  }
}

int millisecondsUntil(Clock::time_point end) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
  return left > 0 ? static_cast<int>(left) : 0;
}

// Reads both streams side by side, because a program blocks once an unread pipe is full. Returns
// false if the time runs out first.
bool collectOutput(Pipe& out, Pipe& err, ProgramResult& result, Clock::time_point end) {
  while (out.readEnd() >= 0 || err.readEnd() >= 0) {
    std::array<pollfd, 2> waiting{pollfd{out.readEnd(), POLLIN, 0},
                                  pollfd{err.readEnd(), POLLIN, 0}};
    const int ready = ::poll(waiting.data(), waiting.size(), millisecondsUntil(end));
    if (ready < 0 && errno != EINTR) failWith("poll");
    if (ready == 0) return false;
    if (ready < 0) continue;
    if (waiting[0].revents != 0) takeOutput(out, result.out);
    if (waiting[1].revents != 0) takeOutput(err, result.err);
  }
  return true;
}

// The program may close both streams and continue, so the end of the streams is not its end.
bool waitForEnd(pid_t child, int& state, Clock::time_point end) {
  while (true) {
    const pid_t ended = ::waitpid(child, &state, WNOHANG);
    if (ended == child) return true;
    if (ended < 0 && errno != EINTR) failWith("waitpid");
    if (Clock::now() >= end) return false;
    ::usleep(1000);
  }
}

}  // namespace

std::filesystem::path builtProgram() { return QUARRYPACK_PROGRAM; }

ProgramResult runProgram(const std::vector<std::string>& args, const ProgramOptions& options) {
  std::vector<std::string> texts;
  if (!options.noArgumentWords) {
    texts.push_back(options.programName);
    texts.insert(texts.end(), args.begin(), args.end());
  }
  std::vector<char*> words;
  for (std::string& word : texts) words.push_back(word.data());
  words.push_back(nullptr);
  const std::string program = std::filesystem::absolute(options.program).string();
  const std::string folder = options.workingDirectory.string();

  Pipe out;
  Pipe err;
  const pid_t child = ::fork();
  if (child < 0) failWith("fork");
  if (child == 0) {
    becomeProgram(program.c_str(), words.data(), folder.empty() ? nullptr : folder.c_str(),
                  options.closedDescriptors, options.largestFile, out.writeEnd(), err.writeEnd());
  }
  out.closeWriteEnd();
  err.closeWriteEnd();
  // Both processes set the group: the second call changes nothing, and no kill comes too early.
  ::setpgid(child, child);

  ProgramResult result;
  const Clock::time_point end = Clock::now() + options.timeout;
  int state = 0;
  result.timedOut = !collectOutput(out, err, result, end) || !waitForEnd(child, state, end);
  if (result.timedOut) {
    ::kill(-child, SIGKILL);
    while (::waitpid(child, &state, 0) < 0 && errno == EINTR) {
    }
  }
  result.status = WIFSIGNALED(state) ? 128 + WTERMSIG(state) : WEXITSTATUS(state);
  return result;
}

TemporaryFolder::TemporaryFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "quarrypack-test-XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) failWith("mkdtemp");
  path_ = std::filesystem::canonical(name);
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

Bytes readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path.string());
  Bytes bytes;
  std::array<char, 65536> block;
  while (file.read(block.data(), block.size()) || file.gcount() > 0) {
    bytes.insert(bytes.end(), block.data(), block.data() + file.gcount());
  }
  return bytes;
}

void writeFile(const std::filesystem::path& path, const Bytes& bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  if (!file.flush()) throw std::runtime_error("cannot write " + path.string());
}

}  // namespace quarrypack::test
