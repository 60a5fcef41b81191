#pragma once

#include <string>
#include <utility>

namespace orx::config {

// The failures of reading a configuration document. They do not derive from std::exception: the
// caller decides how a broken document is reported, and must name these classes to do so.
class ConfigException {
 public:
  explicit ConfigException(std::string message) : message_(std::move(message)) {}
  ConfigException(const ConfigException&) = default;
  ConfigException& operator=(const ConfigException&) = default;
  virtual ~ConfigException() = default;

  const std::string& message() const { return message_; }

 private:
  std::string message_;
};

class BadFileException : public ConfigException {
 public:
  BadFileException() : ConfigException("Bad XML File") {}
};

class FileDoesNotExistException : public ConfigException {
 public:
  FileDoesNotExistException() : ConfigException("File does not exist") {}
};

class NoDataException : public ConfigException {
 public:
  NoDataException() : ConfigException("No data in this Node") {}
};

}  // namespace orx::config
