#include "page/api/why.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "page/api/exports.h"

namespace page {
namespace {

using testing::Eq;

Query With(Outcome outcome, std::vector<Attempt> attempts) {
  Query query;
  query.name = "www.example";
  query.outcome = outcome;
  query.attempts = std::move(attempts);
  return query;
}

TEST(Why, TellsEveryServerInItsTurn) {
  EXPECT_THAT(WhyOf(With(Outcome::kAnswered, {{"192.0.2.1", Reaction::kEmpty, 1500},
                                              {"192.0.2.2", Reaction::kAnswered, std::nullopt}})),
              Eq("192.0.2.1 responded without an answer after 1.5 ms. 192.0.2.2 answered, and its "
                 "answer was relayed."));
}

TEST(Why, TellsWhatWasLostWhere) {
  EXPECT_THAT(WhyOf(With(Outcome::kLost, {{"192.0.2.1", Reaction::kSilent, std::nullopt}})),
              Eq("192.0.2.1 did not respond. The application got nothing."));
  EXPECT_THAT(WhyOf(With(Outcome::kLost, {{"192.0.2.1", Reaction::kNotSent, std::nullopt}})),
              Eq("The system refused to send it to 192.0.2.1. The application got nothing."));
}

TEST(Why, TellsReverseNamesApart) {
  Query query = With(Outcome::kNoSuchName, {});
  EXPECT_THAT(WhyOf(query), Eq("There was nobody to ask: the proxy said \"no such name\"."));
  query.name = "9.9.9.9.in-addr.arpa";
  EXPECT_THAT(WhyOf(query), Eq("Names with .in-addr.arpa in them are asked of no server: the proxy "
                               "said \"no such name\"."));
}

TEST(HostMapLine, IsOfferedForNamesThatALineCanHold) {
  EXPECT_THAT(HostMapLineFor("www.example"), Eq("www.example:10.0.0.1"));
  EXPECT_THAT(HostMapLineFor("WWW.Example"), Eq("www.example:10.0.0.1"));
  for (const char* name : {"a:b.example", "a\\010b.example", "1.0.0.127.in-addr.arpa"}) {
    EXPECT_THAT(HostMapLineFor(name).back(), Eq('.')) << name;
  }
}

TEST(CsvRow, QuotesTextsAndDisarmsFormulas) {
  Query query = With(Outcome::kAnswered, {{"192.0.2.1", Reaction::kAnswered, 42}});
  query.asked = 1700000000123;
  query.microseconds = 42;
  query.name = "=1+\"1\"";
  EXPECT_THAT(CsvRow(query),
              Eq("2023-11-14T22:13:20.123Z,\"'=1+\"\"1\"\"\",answered,\"192.0.2.1\",42\r\n"));
}

}  // namespace
}  // namespace page
