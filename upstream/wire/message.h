#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace upstream {

// DNS messages as bytes (RFC 1035 section 4.1). Nothing behind the question is ever looked at.

using Bytes = std::vector<std::uint8_t>;

inline constexpr std::size_t kHeaderBytes = 12;
/// The proxy's buffers hold no more, in either direction.
inline constexpr std::size_t kMostMessageBytes = 8192;

struct View {
  const std::uint8_t* bytes;
  std::size_t count;
};

/// Whether it is long enough for a header.
bool HasHeader(View message);
/// These look at the header, which must be there.
bool IsResponse(View message);
bool IsTruncated(View message);

/// Where the question ends, when there is exactly one and its name is whole and not compressed.
std::optional<std::size_t> QuestionEnd(View message);

/// Whether it can be asked of a server: a query with one whole question.
bool CanBeAsked(View query);

/// The response without answer records that says "server failure" to `query`, which has a header.
/// It repeats the question where that can be read.
Bytes ServerFailure(View query);

/// Gives `response` the id of `query` and the question as the asker spelled it: a server may spell
/// the name in other letters. Everything else stays.
void RestoreAsker(View query, Bytes& response);

}  // namespace upstream
