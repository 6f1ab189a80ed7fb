#include "common/upstream/state_text.h"

#include <gtest/gtest.h>

namespace upstream {
namespace {

const std::string kText =
    "process 4711\n"
    "server 127.0.53.1 192.0.2.1 silent 1795341600 10 7 3 4 1 2500 90000\n"
    "server 127.0.53.2 none alive 0 0 0 0 0 0 0 0\n"
    "end\n";

State Sample() {
  State state;
  state.process = 4711;
  state.servers.push_back(
      {"127.0.53.1", "192.0.2.1", true, 1795341600, 10, 7, 3, 4, 1, 2500, 90000});
  state.servers.push_back({"127.0.53.2", "", false, 0, 0, 0, 0, 0, 0, 0, 0});
  return state;
}

TEST(StateText, IsOneLineForEachServer) { EXPECT_EQ(StateText(Sample()), kText); }

TEST(StateText, ComesBackAsItWas) {
  const auto state = ReadState(kText);
  ASSERT_TRUE(state);
  EXPECT_EQ(state->process, 4711);
  ASSERT_EQ(state->servers.size(), 2U);
  EXPECT_EQ(state->servers[0].address, "192.0.2.1");
  EXPECT_TRUE(state->servers[0].silent);
  EXPECT_EQ(state->servers[0].slow_microseconds, 90000U);
  EXPECT_EQ(state->servers[1].address, "");
  EXPECT_EQ(StateText(*state), kText);
}

TEST(StateText, PartOfItIsNothing) {
  for (std::size_t length = 0; length + 1 < kText.size(); ++length) {
    EXPECT_FALSE(ReadState(kText.substr(0, length))) << length;
  }
}

TEST(StateText, AnotherFormIsNothing) {
  EXPECT_FALSE(ReadState("process x\nend\n"));
  EXPECT_FALSE(ReadState("process 1\nserver a b dead 1 2 3 4 5 6 7 8\nend\n"));
  EXPECT_FALSE(ReadState("{}"));
}

}  // namespace
}  // namespace upstream
