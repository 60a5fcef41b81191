#pragma once

#include <exception>
#include <string>
#include <utility>

// Types that all tools of the family share.
namespace orx {

// A failure with a message for the user.
class OrxException : public std::exception {
 public:
  // The message is shown to the user unchanged.
  explicit OrxException(std::string message) : message_(std::move(message)) {}

  // The message; it lives as long as the exception.
  const char* what() const noexcept override { return message_.c_str(); }

  // A copy of the message.
  virtual std::string getMessage() const { return message_; }

 private:
  std::string message_;
};

}  // namespace orx
