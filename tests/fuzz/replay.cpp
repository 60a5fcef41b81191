// Passes every file of some folders to a fuzz target, with any compiler: old failures must not come
// back, and every sanitizer checks the stored inputs.
//
//     replay FOLDER_OR_FILE ...

#include <algorithm>
#include <exception>
#include <filesystem>
#include <iostream>
#include <vector>

#include "tests/fuzz/fuzz_target.h"
#include "tests/support/run_program.h"

namespace {

std::vector<std::filesystem::path> filesOf(const std::filesystem::path& path) {
  namespace fs = std::filesystem;
  if (!fs::is_directory(path)) return {path};
  std::vector<fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator(path)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t count = 0;
  for (int i = 1; i < argc; ++i) {
    const auto files = filesOf(argv[i]);
    if (files.empty()) {
      std::cerr << argv[i] << " holds no files" << std::endl;
      return 1;
    }
    for (const auto& file : files) {
      // The name is printed first, so that a crash can be attributed to the file.
      std::cout << file.string() << std::endl;
      try {
        const auto bytes = quarrypack::test::readFile(file);
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
      } catch (const std::exception& exception) {
        std::cerr << "threw " << exception.what() << std::endl;
        return 1;
      }
      ++count;
    }
  }
  std::cout << count << " files" << std::endl;
  return count == 0 ? 1 : 0;
}
