#include "src/path_texts.h"

#include <boost/filesystem/operations.hpp>

#include <algorithm>

namespace quarrypack {
namespace {

constexpr char kSeparator = '/';

bool isDriveLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

}  // namespace

std::string genericPath(std::string path) {
  std::replace(path.begin(), path.end(), '\\', kSeparator);
  return path;
}

bool hasRootDirectory(const std::string& path) {
  const bool drive = path.size() >= 2 && isDriveLetter(path[0]) && path[1] == ':';
  const std::size_t root = drive ? 2 : 0;
  return path.size() > root && path[root] == kSeparator;
}

std::string folderOf(const std::string& path) {
  const std::size_t last = path.rfind(kSeparator);
  if (last == std::string::npos) return {};
  const std::size_t end = path.find_last_not_of(kSeparator, last);
  if (end == std::string::npos) return {kSeparator};
  return path.substr(0, end + 1);
}

std::string joinedPath(const std::string& folder, const std::string& name) {
  if (folder.empty()) return name;
  if (folder.back() == kSeparator) return folder + name;
  return folder + kSeparator + name;
}

std::string resolveRelativePath(const std::string& value, const std::string& baseFile) {
  std::string path = genericPath(value);
  if (hasRootDirectory(path)) return path;
  const std::string folder = baseFile.empty() ? boost::filesystem::current_path().string()
                                              : folderOf(genericPath(baseFile));
  return joinedPath(folder, path);
}

std::string defaultOutputPath(const std::string& inputPath) {
  const std::size_t last = inputPath.rfind(kSeparator);
  std::string name = "Converted_" + inputPath.substr(last == std::string::npos ? 0 : last + 1);
  name.erase(std::min(name.rfind('.'), name.size()));
  return joinedPath(folderOf(inputPath), name + ".mp4");
}

}  // namespace quarrypack
