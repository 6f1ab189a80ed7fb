#include "companion/host/absence.h"

#include <gtest/gtest.h>

namespace ctl {
namespace {

using Advice = Absence::Advice;

constexpr std::int64_t kSecond = 1000000000;

TEST(AbsenceTest, TenSecondsWithoutTheProxyAreEnough) {
  Absence absence;
  EXPECT_EQ(absence.After(false, 1), Advice::kStay);
  EXPECT_EQ(absence.After(false, 10 * kSecond), Advice::kStay);
  EXPECT_EQ(absence.After(false, 10 * kSecond + 1), Advice::kOff);
  EXPECT_EQ(absence.After(false, 11 * kSecond), Advice::kOff);
}

TEST(AbsenceTest, AProxyThatServesBetweenTwoLooksHasNotBeenAway) {
  Absence absence;
  EXPECT_EQ(absence.After(false, 1), Advice::kStay);
  EXPECT_EQ(absence.After(true, 9 * kSecond), Advice::kStay);
  EXPECT_EQ(absence.After(false, 11 * kSecond), Advice::kStay);
}

TEST(AbsenceTest, AProxyIsBackWhenItHasServedTwice) {
  Absence absence;
  EXPECT_EQ(absence.After(true, 1), Advice::kStay);
  EXPECT_EQ(absence.After(true, kSecond), Advice::kOn);
  EXPECT_EQ(absence.After(false, 2 * kSecond), Advice::kStay);
  EXPECT_EQ(absence.After(true, 3 * kSecond), Advice::kStay);
  EXPECT_EQ(absence.After(true, 4 * kSecond), Advice::kOn);
}

}  // namespace
}  // namespace ctl
