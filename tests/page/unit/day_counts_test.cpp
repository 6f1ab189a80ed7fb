#include "page/live/day_counts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace page {
namespace {

using testing::Eq;

constexpr std::int64_t kTenMinutes = 600000;
constexpr std::int64_t kDay = 144 * kTenMinutes;

TEST(DayCounts, ForgetWhatIsADayOld) {
  DayCounts counts;
  const std::size_t lost = DayCounts::KindOf(Outcome::kLost);
  counts.Add(0, lost);
  counts.Add(kTenMinutes, lost, 5);
  EXPECT_THAT(counts.Sum(kDay - 1)[lost], Eq(6));
  EXPECT_THAT(counts.Sum(kDay)[lost], Eq(5));
  EXPECT_THAT(counts.Sum(kDay + kTenMinutes)[lost], Eq(0));
}

TEST(DayCounts, TellOutcomesAndDropsApart) {
  DayCounts counts;
  counts.Add(0, DayCounts::KindOf(Outcome::kLost), 2);
  counts.Add(0, DayCounts::KindOf(ctl::DropReason::kQueryTooShort), 3);
  const DayCounts::Counts sum = counts.Sum(0);
  EXPECT_THAT(sum[DayCounts::KindOf(Outcome::kLost)], Eq(2));
  EXPECT_THAT(sum[DayCounts::KindOf(ctl::DropReason::kQueryTooShort)], Eq(3));
}

TEST(DayCounts, TakeBackOneWhereItWasCounted) {
  DayCounts counts;
  counts.Add(0, 0, 2);
  counts.Add(kTenMinutes, 0, 1);
  counts.TakeBack(kTenMinutes - 1, 0);
  EXPECT_THAT(counts.Sum(kTenMinutes)[0], Eq(2));
  EXPECT_THAT(counts.Sum(kDay)[0], Eq(1));
  counts.TakeBack(0, 0);
  EXPECT_THAT(counts.Sum(kDay)[0], Eq(1));
}

TEST(DayCounts, CountWhatComesWithAnEarlierTimeAsComeWithTheLast) {
  DayCounts counts;
  counts.Add(kDay, 0);
  counts.Add(0, 0);
  EXPECT_THAT(counts.Sum(kDay)[0], Eq(2));
}

}  // namespace
}  // namespace page
