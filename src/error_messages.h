#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace quarrypack {

// The exit codes of this tool. Those from 10000 on come from the application's own table, which the
// sibling tools share and which holds many more.
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

  // A code without a text is added to the table with an empty one.
  const std::string& describe(int code) { return texts_[code]; }

  std::size_t size() const { return texts_.size(); }

 private:
  std::map<int, std::string> texts_;
};

// Loads the table of the process. Must be called before anything else, so that no failure is
// described by a table that has not been built yet.
void loadErrorMessages();

// The text of a code: the application's own, or that of the streaming library for codes below
// 10000.
std::string describeError(int code);

}  // namespace quarrypack
