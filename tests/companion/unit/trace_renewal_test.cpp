#include "companion/watch/trace_renewal.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

constexpr std::int64_t kSecond = 1000000000;
constexpr std::uint64_t kMegabyte = 1 << 20;
constexpr char kHalf[] = "The trace has reached half of its size";
constexpr char kDay[] = "The proxy has run for a day";

// What is said at two looks at the same facts, so far apart.
std::string AfterQuiet(const ctl::TraceFacts& facts, std::int64_t nanoseconds) {
  ctl::TraceRenewal renewal;
  EXPECT_EQ(renewal.Look(facts, 100 * kSecond), "");
  return renewal.Look(facts, 100 * kSecond + nanoseconds);
}

TEST(TraceRenewal, IsAskedForInAQuietSecondOnceTheTraceIsHalfFull) {
  EXPECT_EQ(AfterQuiet({64 * kMegabyte, 32 * kMegabyte, 2, 3600}, kSecond), kHalf);
  EXPECT_EQ(AfterQuiet({64 * kMegabyte, 32 * kMegabyte - 1, 2, 3600}, kSecond), "");
}

TEST(TraceRenewal, WaitsForASecondWithoutALine) {
  EXPECT_EQ(AfterQuiet({64 * kMegabyte, 32 * kMegabyte, 2, 3600}, kSecond - 1), "");

  ctl::TraceRenewal renewal;
  EXPECT_EQ(renewal.Look({64 * kMegabyte, 40 * kMegabyte, 0, 3600}, 100 * kSecond), "");
  EXPECT_EQ(renewal.Look({64 * kMegabyte, 40 * kMegabyte + 1, 0, 3600}, 101 * kSecond), "");
  EXPECT_EQ(renewal.Look({64 * kMegabyte, 40 * kMegabyte + 1, 1, 3600}, 102 * kSecond - 1), "");
  EXPECT_EQ(renewal.Look({64 * kMegabyte, 40 * kMegabyte + 1, 1, 3600}, 102 * kSecond), kHalf);
}

TEST(TraceRenewal, IsAskedForAfterADayHoweverSmallTheTrace) {
  EXPECT_EQ(AfterQuiet({64 * kMegabyte, 1, 2, 86400}, kSecond), kDay);
  EXPECT_EQ(AfterQuiet({64 * kMegabyte, 1, 2, 86399}, kSecond), "");
}

TEST(TraceRenewal, IsNotAskedForInTheProxysFirstSeconds) {
  EXPECT_EQ(AfterQuiet({64 * kMegabyte, 40 * kMegabyte, 2, 9}, kSecond), "");
  EXPECT_EQ(AfterQuiet({64 * kMegabyte, 40 * kMegabyte, 2, 10}, kSecond), kHalf);
}

TEST(TraceRenewal, IsNotAskedForWhenTheProxyTracesElsewhere) {
  EXPECT_EQ(AfterQuiet({64 * kMegabyte, 40 * kMegabyte, 90000, 86400}, kSecond), "");
  EXPECT_EQ(AfterQuiet({0, 40 * kMegabyte, 2, 86400}, kSecond), "");
}

TEST(TraceRenewal, IsAskedForAgainAfterAnotherQuietSecond) {
  const ctl::TraceFacts facts{64 * kMegabyte, 32 * kMegabyte, 2, 3600};
  ctl::TraceRenewal renewal;
  EXPECT_EQ(renewal.Look(facts, 100 * kSecond), "");
  EXPECT_EQ(renewal.Look(facts, 101 * kSecond), kHalf);
  EXPECT_EQ(renewal.Look(facts, 101 * kSecond + kSecond / 5), "");
  EXPECT_EQ(renewal.Look(facts, 102 * kSecond), kHalf);
}

}  // namespace
