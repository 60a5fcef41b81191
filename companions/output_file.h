#pragma once

#include <csignal>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace quarrypack::companions {

// A file operation that the system refused. The text is for people and names the file.
class FileError : public std::runtime_error {
 public:
  explicit FileError(const std::string& text) : std::runtime_error(text) {}
};

// Whether two paths lead to the same file, by whatever names; false where one leads to none.
bool areSameFile(const std::string& first, const std::string& second);

// A file that appears under its name as a whole or not at all:
//
//     OutputFile file("film.mp4");
//     write(file.temporaryPath());
//     file.commit();
//
// It is written under a temporary name in the folder where it will be, made exclusively and with
// the permissions of the file that it replaces, or else with those of a new one. A name that is a
// link keeps being one: what it leads to is replaced. Unless it was committed, the destructor
// removes the temporary file, and so do SIGINT, SIGTERM and SIGHUP before they end the process. A
// signal that the program was started to ignore stays ignored. At most one object at a time.
class OutputFile {
 public:
  // Throws FileError where nothing can be made in the folder, and for a path that leads to anything
  // but a file.
  explicit OutputFile(const std::string& path);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Where to write. The file is there already and empty.
  const std::string& temporaryPath() const { return temporary_; }

  // Brings what was written to the disk and gives it its name. After a power failure too, the name
  // leads to the old file or to the new one. Throws FileError; the old file is untouched then. To
  // be called once, when no stream holds back anything.
  void commit();

 private:
  void create();
  void takeSignals();
  void giveSignalsBack();

  static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

  std::string target_;  // without links
  std::string temporary_;
  int descriptor_ = -1;
  struct sigaction before_[3]{};
  bool isPending_ = false;
};

}  // namespace quarrypack::companions
