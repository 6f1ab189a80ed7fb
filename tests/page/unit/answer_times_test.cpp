#include "page/memory/answer_times.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "page/memory/variable_number.h"

namespace page {
namespace {

using testing::Eq;

AnswerTimes Of(std::initializer_list<std::int64_t> microseconds) {
  AnswerTimes times;
  for (const std::int64_t one : microseconds) times.Add(one);
  return times;
}

TEST(AnswerTimes, HaveNoPercentileWithoutAnswers) {
  EXPECT_THAT(AnswerTimes().Percentile(0.5), Eq(std::nullopt));
}

TEST(AnswerTimes, AreExactUpToFifteenMicroseconds) {
  for (std::int64_t time = 0; time < 16; ++time) EXPECT_THAT(Of({time}).Percentile(0.5), Eq(time));
}

TEST(AnswerTimes, AreOffByLessThanAnEighthBeyond) {
  for (std::int64_t time = 16; time < 10000000000; time = time * 9 / 8 + 1) {
    const std::int64_t told = Of({time}).Percentile(0.5).value();
    EXPECT_LT(std::abs(told - time) * 8, time) << time;
  }
}

TEST(AnswerTimes, TakeTheLongestForWhateverIsLonger) {
  EXPECT_THAT(Of({INT64_MAX}).Percentile(1), Eq(Of({INT64_MAX / 2}).Percentile(1)));
}

TEST(AnswerTimes, CountPercentilesByRank) {
  AnswerTimes times;
  for (int at = 0; at < 95; ++at) times.Add(1);
  for (int at = 0; at < 5; ++at) times.Add(9);
  EXPECT_THAT(times.Percentile(0.5), Eq(1));
  EXPECT_THAT(times.Percentile(0.95), Eq(1));
  EXPECT_THAT(times.Percentile(0.96), Eq(9));
  EXPECT_THAT(times.Percentile(1), Eq(9));
}

TEST(AnswerTimes, AddUpToWhatCountingTogetherGives) {
  AnswerTimes sum = Of({1, 2000});
  sum.Add(Of({2000, 300000}));
  EXPECT_THAT(sum.Packed(), Eq(Of({1, 2000, 2000, 300000}).Packed()));
  EXPECT_THAT(sum.count(), Eq(4));
}

TEST(AnswerTimes, ComeBackAsTheyWerePacked) {
  const AnswerTimes times = Of({0, 0, 7, 8, 100000, 100000000});
  EXPECT_THAT(AnswerTimes::Unpack(times.Packed()).Packed(), Eq(times.Packed()));
  EXPECT_THAT(AnswerTimes::Unpack(times.Packed()).count(), Eq(6));
}

TEST(AnswerTimes, TakeWhatTheyCanOfDamagedBytes) {
  EXPECT_THAT(AnswerTimes::Unpack("\xff\xff\xff").count(), Eq(0));
  EXPECT_THAT(AnswerTimes::Unpack(std::string("\x05\x02\xff\x7f\x01", 5)).count(), Eq(2));
}

TEST(VariableNumber, IsAsLongAsItNeedsToBe) {
  std::string bytes;
  for (const std::uint64_t number : {std::uint64_t{0}, std::uint64_t{127}, std::uint64_t{128},
                                     std::uint64_t{16384}, UINT64_MAX}) {
    AppendVariableNumber(number, bytes);
  }
  EXPECT_THAT(bytes,
              Eq(std::string("\x00\x7f\x80\x01\x80\x80\x01", 7) + std::string(9, '\xff') + '\x01'));
  std::string_view rest = bytes;
  std::uint64_t number = 0;
  for (const std::uint64_t wanted : {std::uint64_t{0}, std::uint64_t{127}, std::uint64_t{128},
                                     std::uint64_t{16384}, UINT64_MAX}) {
    ASSERT_TRUE(TakeVariableNumber(rest, number));
    EXPECT_THAT(number, Eq(wanted));
  }
  EXPECT_FALSE(TakeVariableNumber(rest, number));
}

}  // namespace
}  // namespace page
