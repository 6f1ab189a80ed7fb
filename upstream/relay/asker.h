#pragma once

#include <netinet/in.h>

#include <cstddef>

#include "upstream/wire/message.h"

namespace upstream {

/// Who has asked: which of the listening addresses was asked, and where the response goes.
struct Asker {
  std::size_t place = 0;  ///< counted from 0
  sockaddr_in address{};
};

/// Takes the responses, each a whole DNS message with the asker's own id.
class Responses {
 public:
  virtual void Respond(const Asker& asker, View response) = 0;

 protected:
  ~Responses() = default;
};

}  // namespace upstream
