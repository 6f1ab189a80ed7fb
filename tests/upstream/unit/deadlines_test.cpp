#include "upstream/relay/deadlines.h"

#include <gtest/gtest.h>

#include "upstream/relay/answer_times.h"
#include "upstream/relay/exchange.h"

namespace upstream {
namespace {

struct Subject {
  std::uint64_t current = 0;
  bool IsCurrent(std::uint64_t serial) const { return serial == current; }
};

Time Moment(int milliseconds) { return Time(std::chrono::milliseconds(milliseconds)); }

TEST(Deadlines, PassInTheirOrderWhenTheirTimeHasCome) {
  Subject first{1};
  Subject second{2};
  Deadlines<Subject> deadlines;
  deadlines.Set(Moment(10), first, 1);
  deadlines.Set(Moment(20), second, 2);
  EXPECT_EQ(deadlines.Next(), &first);
  EXPECT_EQ(deadlines.TakeDue(Moment(9)), nullptr);
  EXPECT_EQ(deadlines.TakeDue(Moment(10)), &first);
  EXPECT_EQ(deadlines.TakeDue(Moment(19)), nullptr);
  EXPECT_EQ(deadlines.TakeDue(Moment(20)), &second);
  EXPECT_EQ(deadlines.TakeDue(Moment(99)), nullptr);
}

TEST(Deadlines, OnesThatMeanNothingAnyMoreArePassedOver) {
  Subject answered{0};
  Subject waiting{2};
  Deadlines<Subject> deadlines;
  deadlines.Set(Moment(10), answered, 1);
  deadlines.Set(Moment(20), waiting, 2);
  EXPECT_EQ(deadlines.Next(), &waiting);
  EXPECT_EQ(deadlines.TakeDue(Moment(20)), &waiting);
}

TEST(AnswerTimes, MedianAndTheSlowTwentieth) {
  AnswerTimes times;
  EXPECT_EQ(times.Summarized().median, 0U);
  for (std::uint64_t i = 1; i <= 100; ++i) times.Add(101 - i);
  EXPECT_EQ(times.Summarized().median, 50U);
  EXPECT_EQ(times.Summarized().slow, 95U);
}

TEST(AnswerTimes, OfTheLast256) {
  AnswerTimes times;
  times.Add(1000000);
  for (int i = 0; i < 256; ++i) times.Add(7);
  EXPECT_EQ(times.Summarized().slow, 7U);
}

class NoOwner final : public ExchangeOwner {
  void Ended(Exchange&, const Outcome&) override {}
};

TEST(ExchangePool, TakesNoMoreThanItsNumberAndItsBytes) {
  NoOwner owner;
  const Bytes query(100);
  const View view{query.data(), query.size()};
  ExchangePool by_number(owner, 2, 1000);
  EXPECT_NE(by_number.Take({}, view, Moment(0)), nullptr);
  EXPECT_NE(by_number.Take({}, view, Moment(0)), nullptr);
  EXPECT_EQ(by_number.Take({}, view, Moment(0)), nullptr);
  ExchangePool by_bytes(owner, 10, 199);
  Exchange* first = by_bytes.Take({}, view, Moment(0));
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(by_bytes.Take({}, view, Moment(0)), nullptr);
  by_bytes.GiveBack(*first);
  EXPECT_EQ(by_bytes.UnderWay(), 0U);
  EXPECT_NE(by_bytes.Take({}, view, Moment(0)), nullptr);
}

}  // namespace
}  // namespace upstream
