#pragma once

#include <exception>
#include <string>
#include <utility>

namespace orx {

// A failure with a message for the user.
class OrxException : public std::exception {
 public:
  explicit OrxException(std::string message) : message_(std::move(message)) {}

  const char* what() const noexcept override { return message_.c_str(); }
  virtual std::string getMessage() const { return message_; }

 private:
  std::string message_;
};

}  // namespace orx
