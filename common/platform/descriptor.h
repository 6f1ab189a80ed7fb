#pragma once

#include <unistd.h>

namespace ctl {

/// An open file, closed when this goes. A negative number, of an `open` that failed, is kept as it
/// is.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }
  int number() const { return number_; }

 private:
  int number_;
};

}  // namespace ctl
