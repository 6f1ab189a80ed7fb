#include "upstream/wire/message.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace upstream {
namespace {

// Bytes of a text of hexadecimal digits and blanks.
Bytes Hex(const std::string& text) {
  Bytes bytes;
  std::string digits;
  for (const char c : text) {
    if (c != ' ') digits += c;
  }
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes.push_back(static_cast<std::uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

View Of(const Bytes& bytes) { return {bytes.data(), bytes.size()}; }

const Bytes kQuery = Hex("12 34 01 00 00 01 00 00 00 00 00 00 01 61 02 62 63 00 00 01 00 01");

TEST(Message, AHeaderHasTwelveBytes) {
  EXPECT_FALSE(HasHeader(Of(Bytes(11))));
  EXPECT_TRUE(HasHeader(Of(Bytes(12))));
}

TEST(Message, TheQuestionEndsBehindTypeAndClass) {
  EXPECT_EQ(QuestionEnd(Of(kQuery)), 22U);
  EXPECT_EQ(QuestionEnd(Of(Hex("00 00 00 00 00 01 00 00 00 00 00 00 00 00 02 00 01"))), 17U);
}

TEST(Message, ThereIsNoQuestionToRead) {
  const std::string header = "12 34 01 00 00 01 00 00 00 00 00 00";
  EXPECT_EQ(QuestionEnd(Of(Hex(header))), std::nullopt) << "nothing behind the header";
  EXPECT_EQ(QuestionEnd(Of(Hex(header + "01 61 00 00 01 00"))), std::nullopt) << "cut in the class";
  EXPECT_EQ(QuestionEnd(Of(Hex(header + "05 61"))), std::nullopt) << "cut in a label";
  EXPECT_EQ(QuestionEnd(Of(Hex(header + "C0 0C 00 01 00 01"))), std::nullopt) << "compressed";
  EXPECT_EQ(QuestionEnd(Of(Hex("12 34 01 00 00 00 00 00 00 00 00 00"))), std::nullopt) << "none";
  EXPECT_EQ(QuestionEnd(Of(Hex("12 34 01 00 00 02 00 00 00 00 00 00 00 00 01 00 01"))),
            std::nullopt)
      << "two announced";
  EXPECT_EQ(QuestionEnd(Of(Hex("12 34 01 00 01 01 00 00 00 00 00 00 00 00 01 00 01"))),
            std::nullopt)
      << "257 announced";
}

TEST(Message, ANameHasAtMost255Bytes) {
  const auto with_name = [](std::size_t bytes) {
    Bytes query(kQuery.begin(), kQuery.begin() + 12);
    while (bytes > 64 + 1) {
      query.push_back(63);
      query.insert(query.end(), 63, 'a');
      bytes -= 64;
    }
    query.push_back(static_cast<std::uint8_t>(bytes - 2));
    query.insert(query.end(), bytes - 2, 'b');
    query.insert(query.end(), {0, 0, 1, 0, 1});
    return query;
  };
  EXPECT_EQ(QuestionEnd(Of(with_name(255))), 12U + 255 + 4);
  EXPECT_EQ(QuestionEnd(Of(with_name(256))), std::nullopt);
}

TEST(Message, OnlyQueriesCanBeAsked) {
  EXPECT_TRUE(CanBeAsked(Of(kQuery)));
  Bytes response = kQuery;
  response[2] = 0x81;
  EXPECT_FALSE(CanBeAsked(Of(response)));
}

TEST(Message, AFailureRepeatsTheQuestionAndNothingElse) {
  Bytes query = kQuery;
  query[11] = 1;  // an EDNS record
  const Bytes record = Hex("00 00 29 10 00 00 00 00 00 00 00");
  query.insert(query.end(), record.begin(), record.end());
  EXPECT_EQ(ServerFailure(Of(query)),
            Hex("12 34 81 82 00 01 00 00 00 00 00 00 01 61 02 62 63 00 00 01 00 01"));
}

TEST(Message, AFailureWithoutAReadableQuestionIsAHeader) {
  EXPECT_EQ(ServerFailure(Of(Hex("AB CD 00 10 00 02 00 01 00 01 00 01 FF"))),
            Hex("AB CD 80 82 00 00 00 00 00 00 00 00"));
}

TEST(Message, TheAskerGetsItsIdAndItsLetters) {
  Bytes response = Hex("FF FF 81 80 00 01 00 00 00 00 00 00 01 41 02 42 63 00 00 01 00 01 99");
  RestoreAsker(Of(kQuery), response);
  EXPECT_EQ(response, Hex("12 34 81 80 00 01 00 00 00 00 00 00 01 61 02 62 63 00 00 01 00 01 99"));
}

TEST(Message, AnotherQuestionStaysAsItIs) {
  const Bytes other = Hex("FF FF 81 80 00 01 00 00 00 00 00 00 01 41 02 42 64 00 00 01 00 01");
  Bytes response = other;
  RestoreAsker(Of(kQuery), response);
  EXPECT_EQ(Bytes(response.begin() + 2, response.end()), Bytes(other.begin() + 2, other.end()));
}

}  // namespace
}  // namespace upstream
