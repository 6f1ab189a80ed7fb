#pragma once

#include <array>
#include <cstdint>

#include "page/memory/database.h"

namespace page {

/// The totals are kept in slots of three widths, each for its own time; both in seconds.
struct SlotWidth {
  std::int64_t seconds;
  std::int64_t kept_seconds;
};
inline constexpr std::int64_t kDay = 86400;
inline constexpr std::array<SlotWidth, 3> kSlotWidths = {
    {{60, kDay + 3600}, {600, 400 * kDay}, {kDay, 400 * kDay}}};

// What a row of the totals counts. Up to 3 the outcomes by their numbers, with the time to the
// answer.
inline constexpr std::int64_t kServerSeries = 4;  ///< responses of a server, with their times
inline constexpr std::int64_t kAskedSeries = 5;   ///< what a server was asked
inline constexpr std::int64_t kEmptySeries = 6;   ///< responses of a server without answers
inline constexpr std::int64_t kDropSeries = 16;   ///< and the number of the reason

/// Makes the tables of a new database; leaves those of an older one alone. DatabaseError of damage
/// for one that is somebody else's.
void PrepareSchema(Database& database);

/// DatabaseError of damage when the database's pages do not fit together. Reads all of it.
void CheckPages(Database& database);

}  // namespace page
