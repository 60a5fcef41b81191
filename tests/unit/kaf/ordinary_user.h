#pragma once

#include <unistd.h>

namespace quarrypack::test {

// Lets a test act as a user who has to respect permissions, even where the tests are run by root.
class OrdinaryUser {
 public:
  OrdinaryUser() : before_(geteuid()) {
    if (before_ == 0) changed_ = seteuid(kNobody) == 0;
  }
  ~OrdinaryUser() {
    if (changed_) changed_ = seteuid(before_) != 0;
  }
  OrdinaryUser(const OrdinaryUser&) = delete;
  OrdinaryUser& operator=(const OrdinaryUser&) = delete;

 private:
  static constexpr uid_t kNobody = 65534;

  uid_t before_;
  bool changed_ = false;
};

}  // namespace quarrypack::test
