#pragma once

#include <stdexcept>
#include <string>

namespace quarrypack::embed {

// A film that cannot be rewritten, or not without harm. The text is for people: what is wrong,
// where, and what can be done; one or more sentences without the last full stop.
class Refusal : public std::runtime_error {
 public:
  explicit Refusal(const std::string& text) : std::runtime_error(text) {}
};

}  // namespace quarrypack::embed
