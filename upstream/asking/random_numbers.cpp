#include "upstream/asking/random_numbers.h"

#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace upstream {

std::uint16_t RandomNumbers::Next() {
  if (left_ == 0) {
    if (getentropy(drawn_.data(), sizeof drawn_) != 0) {
      throw std::system_error(errno, std::generic_category(), "no random numbers");
    }
    left_ = kDrawnAtOnce;
  }
  return drawn_[--left_];
}

}  // namespace upstream
