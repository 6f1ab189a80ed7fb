#include "page/memory/query_row.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace page {
namespace {

using testing::Eq;
using testing::IsEmpty;
using testing::SizeIs;

const ServerNames kServers = {{1, "192.0.2.1"}, {2, "192.0.2.2"}};

TEST(QueryRow, GivesAttemptsBackAsTheyWere) {
  const std::vector<Attempt> attempts = {{"192.0.2.2", Reaction::kEmpty, 0},
                                         {"192.0.2.1", Reaction::kSilent, std::nullopt}};
  const std::string bytes = PackAttempts(attempts, {2, 1});
  EXPECT_THAT(bytes, Eq(std::string("\x02\x01\x01\x01\x02\x00", 6)));
  const std::vector<Attempt> unpacked = UnpackAttempts(bytes, kServers);
  ASSERT_THAT(unpacked, SizeIs(2));
  EXPECT_THAT(unpacked[0].server, Eq("192.0.2.2"));
  EXPECT_THAT(unpacked[0].reaction, Eq(Reaction::kEmpty));
  EXPECT_THAT(unpacked[0].microseconds, Eq(0));
  EXPECT_THAT(unpacked[1].reaction, Eq(Reaction::kSilent));
  EXPECT_THAT(unpacked[1].microseconds, Eq(std::nullopt));
}

TEST(QueryRow, TakesWhatItCanOfDamagedBytes) {
  EXPECT_THAT(UnpackAttempts(std::string("\x01\x09\x00", 3), kServers), IsEmpty());
  EXPECT_THAT(UnpackAttempts(std::string("\x01\x00", 2), kServers), IsEmpty());
  EXPECT_THAT(UnpackAttempts(std::string("\x01\x00\x01\xff", 4), kServers), SizeIs(1));
}

}  // namespace
}  // namespace page
