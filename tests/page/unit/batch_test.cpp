#include "page/memory/batch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "page/memory/schema.h"

namespace page {
namespace {

using testing::Eq;

Query Answered(std::int64_t ended) {
  Query query;
  query.ended = ended;
  query.name = "www.example";
  query.outcome = Outcome::kAnswered;
  query.attempts = {{"192.0.2.1", Reaction::kEmpty, 700}, {"192.0.2.2", Reaction::kAnswered, 300}};
  query.microseconds = 1000;
  return query;
}

std::int64_t CountOf(const Batch& batch, std::int64_t minute, std::int64_t series,
                     const std::string& server) {
  const auto found = batch.totals().find({minute, series, server});
  return found == batch.totals().end() ? 0 : found->second.queries;
}

TEST(Batch, CountsAQueryAndWhatEachServerDid) {
  Batch batch(true);
  batch.AddQuery(Answered(119999));
  EXPECT_THAT(CountOf(batch, 60, 1, "192.0.2.2"), Eq(1));
  EXPECT_THAT(CountOf(batch, 60, kAskedSeries, "192.0.2.1"), Eq(1));
  EXPECT_THAT(CountOf(batch, 60, kServerSeries, "192.0.2.1"), Eq(1));
  EXPECT_THAT(CountOf(batch, 60, kEmptySeries, "192.0.2.1"), Eq(1));
  EXPECT_THAT(CountOf(batch, 60, kServerSeries, "192.0.2.2"), Eq(1));
  EXPECT_THAT(CountOf(batch, 60, kEmptySeries, "192.0.2.2"), Eq(0));
  EXPECT_THAT(batch.queries().size(), Eq(1));
}

TEST(Batch, KeepsNoSingleQueriesWhenTheyAreTurnedOff) {
  Batch batch(false);
  batch.AddQuery(Answered(0));
  EXPECT_THAT(batch.queries().size(), Eq(0));
  EXPECT_THAT(CountOf(batch, 0, 1, "192.0.2.2"), Eq(1));
}

TEST(Batch, LetsTheOldestSingleQueriesGoAndKeepsTheTotals) {
  Batch batch(true);
  Query query = Answered(0);
  query.name = std::string(1000, 'a');
  for (int at = 0; at < 5000; ++at) batch.AddQuery(query);
  EXPECT_LE(batch.bytes(), Batch::kMostBytes);
  EXPECT_LT(batch.queries().size(), 5000U);
  EXPECT_THAT(CountOf(batch, 0, 1, "192.0.2.2"), Eq(5000));
}

Query LostAtOnce(const std::string& name) {
  Query query;
  query.asked = query.ended = 60000;
  query.name = name;
  return query;
}

TEST(Batch, TakesBackOneThatWasNotLost) {
  Batch batch(true);
  for (const char* name : {"a.example", "b.example", "b.example"}) {
    batch.AddQuery(LostAtOnce(name));
  }
  batch.TakeBack(LostAtOnce("b.example"));
  EXPECT_THAT(CountOf(batch, 60, 3, ""), Eq(2));
  EXPECT_THAT(batch.queries().size(), Eq(2));
  EXPECT_THAT(batch.queries().front().name, Eq("a.example"));
  EXPECT_THAT(batch.taken_back().size(), Eq(0));
}

TEST(Batch, KeepsInMindThatOneOfAnEarlierBatchWasNotLost) {
  Batch batch(true);
  batch.TakeBack(LostAtOnce("a.example"));
  EXPECT_THAT(CountOf(batch, 60, 3, ""), Eq(-1));
  EXPECT_THAT(batch.taken_back().size(), Eq(1));
  batch.Clear();
  EXPECT_THAT(batch.taken_back().size(), Eq(0));
}

}  // namespace
}  // namespace page
