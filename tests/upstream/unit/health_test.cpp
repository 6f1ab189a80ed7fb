#include "upstream/relay/health.h"

#include <gtest/gtest.h>

namespace upstream {
namespace {

// A time so many milliseconds after some beginning.
Time At(int milliseconds) { return Time(1000000s) + std::chrono::milliseconds(milliseconds); }

TEST(Health, AServerOfWhichNothingIsHeardIsSilent) {
  Health health(At(0));
  EXPECT_TRUE(health.Unanswered(At(10), At(1410)));
  EXPECT_TRUE(health.IsSilent());
}

TEST(Health, AServerThatAnswersOthersMeanwhileIsNot) {
  Health health(At(0));
  health.Heard(At(10));
  EXPECT_FALSE(health.Unanswered(At(10), At(4010)));
  EXPECT_FALSE(health.IsSilent());
}

TEST(Health, WhatWasHeardBeforeTheQueryDoesNotCount) {
  Health health(At(0));
  health.Heard(At(9));
  EXPECT_TRUE(health.Unanswered(At(10), At(1410)));
}

TEST(Health, BecomesSilentOnce) {
  Health health(At(0));
  EXPECT_TRUE(health.Unanswered(At(10), At(1410)));
  EXPECT_FALSE(health.Unanswered(At(11), At(1411)));
}

TEST(Health, AfterAJumpOfTheClockWhatWasAskedBeforeSaysNothing) {
  Health health(At(0));
  health.ClockJumped(At(3600000));
  EXPECT_FALSE(health.Unanswered(At(10), At(3600000)));
  EXPECT_FALSE(health.IsSilent());
  EXPECT_TRUE(health.Unanswered(At(3600000), At(3601400)));
}

TEST(Health, AQueryThatWaitsLongWithoutASignOfLifeGivesReasonToProbe) {
  Health health(At(0));
  EXPECT_FALSE(health.WantsProbe(At(10), At(309)));
  EXPECT_TRUE(health.WantsProbe(At(10), At(310)));
}

TEST(Health, ASignOfLifeTakesTheReasonAway) {
  Health health(At(0));
  health.Heard(At(10));
  EXPECT_FALSE(health.WantsProbe(At(10), At(310)));
}

TEST(Health, OneProbeAtATimeAndOneForEachWait) {
  Health health(At(0));
  health.ProbeBegun(At(310));
  EXPECT_FALSE(health.WantsProbe(At(10), At(320)));
  health.ProbeFailed(At(1000));
  EXPECT_FALSE(health.WantsProbe(At(10), At(1001)));
  EXPECT_TRUE(health.WantsProbe(At(311), At(1001)));
}

TEST(Health, AnAnsweredProbeIsASignOfLife) {
  Health health(At(0));
  health.ProbeBegun(At(310));
  EXPECT_FALSE(health.ProbeAnswered(At(320)));
  EXPECT_FALSE(health.Unanswered(At(10), At(1410)));
}

TEST(Health, ASilentServerIsProbedAtOnceAndThenEverySecond) {
  Health health(At(0));
  health.Unanswered(At(10), At(1410));
  EXPECT_TRUE(health.WantsProbe(At(1410)));
  health.ProbeBegun(At(1410));
  health.ProbeFailed(At(1500));
  EXPECT_FALSE(health.WantsProbe(At(2409)));
  EXPECT_TRUE(health.WantsProbe(At(2410)));
}

TEST(Health, AfterAMinuteEveryFourSeconds) {
  Health health(At(0));
  health.Unanswered(At(10), At(1410));
  health.ProbeBegun(At(61410));
  health.ProbeFailed(At(62000));
  EXPECT_FALSE(health.WantsProbe(At(65409)));
  EXPECT_TRUE(health.WantsProbe(At(65410)));
}

TEST(Health, WhileItIsAskedItIsProbedFourTimesASecond) {
  Health health(At(0));
  health.Unanswered(At(10), At(1410));
  health.ProbeBegun(At(1410));
  health.ProbeFailed(At(1500));
  health.AskedWhileSilent();
  EXPECT_FALSE(health.WantsProbe(At(1659)));
  EXPECT_TRUE(health.WantsProbe(At(1660)));
}

TEST(Health, TwoAnswersInARowMakeItAlive) {
  Health health(At(0));
  health.Unanswered(At(10), At(1410));
  health.ProbeBegun(At(1410));
  EXPECT_FALSE(health.ProbeAnswered(At(1420)));
  EXPECT_TRUE(health.IsSilent());
  EXPECT_FALSE(health.WantsProbe(At(1519)));
  EXPECT_TRUE(health.WantsProbe(At(1520)));
  health.ProbeBegun(At(1520));
  EXPECT_TRUE(health.ProbeAnswered(At(1530)));
  EXPECT_FALSE(health.IsSilent());
}

TEST(Health, AFailureBetweenThemBeginsTheCountAnew) {
  Health health(At(0));
  health.Unanswered(At(10), At(1410));
  health.ProbeBegun(At(1410));
  health.ProbeAnswered(At(1420));
  health.ProbeBegun(At(1520));
  health.ProbeFailed(At(2000));
  health.ProbeBegun(At(2600));
  EXPECT_FALSE(health.ProbeAnswered(At(2610)));
  EXPECT_TRUE(health.IsSilent());
}

}  // namespace
}  // namespace upstream
