#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace quarrypack {

// The codes that this tool ends with. Those from 10000 on are of the application's own table, which
// is shared with the sibling tools and holds many more.
namespace error_codes {
inline constexpr int kSuccess = 0;
inline constexpr int kInvalidSettings = 5210;
inline constexpr int kFirstOfTable = 10000;
inline constexpr int kWriteFailed = 10002;
inline constexpr int kFileNotFound = 10008;
inline constexpr int kInvalidConfigFile = 10009;
}  // namespace error_codes

// The texts of the application's own codes.
class ErrorMessageTable {
 public:
  ErrorMessageTable();

  // A code without a text is taken into the table with an empty one.
  const std::string& describe(int code) { return texts_[code]; }

  std::size_t size() const { return texts_.size(); }

 private:
  std::map<int, std::string> texts_;
};

// Loads the process's table. It is done first of all, so that no failure has to be described with a
// table that is yet to be built.
void loadErrorMessages();

// The text of a code: the application's own, or that of the streaming library for codes below
// 10000.
std::string describeError(int code);

}  // namespace quarrypack
