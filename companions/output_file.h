#pragma once

#include <csignal>
#include <cstdint>
#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>

namespace quarrypack::companions {

// A file operation that the system refused. The text is for people and names the file.
class FileError : public std::runtime_error {
 public:
  explicit FileError(const std::string& text) : std::runtime_error(text) {}
};

// Whether two paths refer to the same file; false if one of them refers to no file. Throws
// FileError for a file that cannot be examined.
bool areSameFile(const std::string& first, const std::string& second);

// A file that appears under its name completely or not at all:
//
//     OutputFile file("film.mp4");
//     write(file.temporaryPath());
//     file.commit();
//
// The file is written under a temporary name in its future folder. The temporary file is created
// exclusively, with the permissions of the file that it replaces, or else with those of a new one.
// A name that is a link stays one: its target is replaced. Unless the file was committed, the
// destructor removes the temporary file. So do SIGINT, SIGTERM and SIGHUP before they end the
// process; they erase the progress line too. A signal that the program was started to ignore stays
// ignored. At most one object at a time.
//
// A process that is killed, or a power failure, leaves the temporary file. Its name is
// ".NAME.PROCESS.NUMBER.tmp", with the name of the output, so it is hidden.
class OutputFile {
 public:
  // Throws FileError if no file can be created in the folder, and for a path that refers to
  // anything but a file.
  explicit OutputFile(const std::string& path);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // The path to write to. The file exists already and is empty.
  const std::string& temporaryPath() const { return temporary_; }
  int descriptor() const { return descriptor_; }  // of the same file

  // Hints to the system to begin writing the file to the disk, up to a position in bytes, so that
  // commit() has less to wait for. Returns at once and reports no failure. Call it with rising
  // positions.
  void writtenUpTo(std::uint64_t position);

  // Synchronizes the written bytes to the disk and gives the file its name. Even after a power
  // failure the name refers to the old file or to the new one, and to the new one if the file
  // system can synchronize folders. Throws FileError; the old file is then unchanged. Call it once,
  // after all streams to the file are flushed.
  void commit();

 private:
  void create();
  void takeSignals();
  void giveSignalsBack();

  static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

  std::string path_;    // as it was given
  std::string target_;  // without links
  std::string temporary_;
  int descriptor_ = -1;
  std::uint64_t handedOver_ = 0;  // position up to which the system writes already
  struct sigaction before_[3]{};
  bool isPending_ = false;
};

// Writes the text of a file or of standard output.
using WriteText = std::function<void(std::ostream& out)>;

// Writes a file as OutputFile does. Throws FileError.
void writeTextFile(const std::string& path, const WriteText& write);

// Writes and flushes standard output. Throws FileError.
void writeStandardOutput(const WriteText& write);

}  // namespace quarrypack::companions
