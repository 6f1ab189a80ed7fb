#include "dns_proxy_mac/engine/dns_message.h"

#include "dns_proxy_mac/platform.h"
#include "tests/unit/proxy_fixture.h"

namespace {

// What a decoding left behind. The name buffer is all '#' beforehand and not zero, as it is for the
// intake, so that a test sees which bytes were written.
struct Decoded {
  Wire out;
  std::uint16_t qtype;
  std::uint16_t qclass;
};

constexpr std::uint16_t kUntouchedType = 0xEEEE;
constexpr std::uint16_t kUntouchedClass = 0xDDDD;

// Decodes the first `len` bytes of `memory` into `outsize` bytes of a longer buffer; returns the
// first `shown` bytes of that buffer.
Decoded DecodePart(const Wire& memory, int len, int outsize, std::size_t shown) {
  std::string input = memory.bytes + std::string(kLabelOverrun, 0);
  std::string out(2048, '#');
  Decoded result{{}, kUntouchedType, kUntouchedClass};
  ExtractDomain(input.data(), len, out.data(), outsize, result.qtype, result.qclass);
  result.out = WireAt(out.data(), shown);
  return result;
}

Decoded Decode(const Wire& question, std::size_t shown, int outsize = kNameCapacity) {
  return DecodePart(question, question.length(), outsize, shown);
}

class ExtractDomainTest : public SharedObjectsTest {};

}  // namespace

TEST_F(ExtractDomainTest, LabelsBecomeDottedTextWithTypeAndClass) {
  const Decoded decoded = Decode("01 61 02 62 63 00 00 01 00 01"_wire, 6);
  EXPECT_EQ(decoded.out, "61 2E 62 63 00 '#'"_wire);
  EXPECT_EQ(decoded.qtype, 1);
  EXPECT_EQ(decoded.qclass, 1);
  EXPECT_EQ(Trace(), "");
}

TEST_F(ExtractDomainTest, RootNameLeavesNameUntouchedAndReadsTypeAndClass) {
  const Decoded decoded = Decode("00 00 0F 00 03"_wire, 3);
  EXPECT_EQ(decoded.out, "'###'"_wire);
  EXPECT_EQ(decoded.qtype, 15);
  EXPECT_EQ(decoded.qclass, 3);
}

TEST_F(ExtractDomainTest, CompressionPointerFirstPrintsInvalidValueAndLeavesNameUntouched) {
  const Decoded decoded = Decode("C0 0C 00 01 00 01"_wire, 3);
  EXPECT_EQ(Trace(), "func: ExtractDomain(line:482)ExtractDomain invalid value:-64\n");
  EXPECT_EQ(decoded.out, "'###'"_wire);
  EXPECT_EQ(decoded.qtype, 0x0C00);  // from the pointer's second byte onward
  EXPECT_EQ(decoded.qclass, 0x0100);
}

TEST_F(ExtractDomainTest, CompressionPointerBehindLabelsCutsTheName) {
  const Decoded decoded = Decode("04 'mail' C0 20 00 01 00 01"_wire, 6);
  EXPECT_EQ(Trace(), "func: ExtractDomain(line:482)ExtractDomain invalid value:-64\n");
  EXPECT_EQ(decoded.out, "'mail' 00 '#'"_wire);
  EXPECT_EQ(decoded.qtype, 0x2000);
  EXPECT_EQ(decoded.qclass, 0x0100);
}

TEST_F(ExtractDomainTest, LengthByteIsPrintedSigned) {
  Decode("80"_wire, 0);
  EXPECT_EQ(Trace(), "func: ExtractDomain(line:482)ExtractDomain invalid value:-128\n");
  Decode("FF"_wire, 0);
  EXPECT_EQ(Trace(), "func: ExtractDomain(line:482)ExtractDomain invalid value:-1\n");
}

TEST_F(ExtractDomainTest, AaaaQuestionForTwoLetters) {
  const Decoded decoded = Decode("01 'a' 01 'b' 00 00 1C 00 01"_wire, 5);
  EXPECT_EQ(decoded.out, "'a.b' 00 '#'"_wire);
  EXPECT_EQ(decoded.qtype, 28);
  EXPECT_EQ(decoded.qclass, 1);
}

TEST_F(ExtractDomainTest, BothBytesOfTypeAndClassCountMostSignificantFirst) {
  const Decoded decoded = Decode("01 'a' 00 12 34 56 78"_wire, 2);
  EXPECT_EQ(decoded.qtype, 0x1234);
  EXPECT_EQ(decoded.qclass, 0x5678);
}

TEST_F(ExtractDomainTest, QuestionCutBehindTheNameLeavesTypeAndClassUnchanged) {
  const Decoded decoded = Decode("01 'a' 00"_wire, 2);
  EXPECT_EQ(decoded.out, "'a' 00"_wire);
  EXPECT_EQ(decoded.qtype, kUntouchedType);
  EXPECT_EQ(decoded.qclass, kUntouchedClass);
}

TEST_F(ExtractDomainTest, OneByteBehindTheNameIsNoType) {
  const Decoded decoded = Decode("01 'a' 00 77"_wire, 2);
  EXPECT_EQ(decoded.qtype, kUntouchedType);
  EXPECT_EQ(decoded.qclass, kUntouchedClass);
}

TEST_F(ExtractDomainTest, ExactlyTwoBytesBehindTheNameSetOnlyTheType) {
  const Decoded decoded = Decode("01 'a' 00 00 1C"_wire, 2);
  EXPECT_EQ(decoded.qtype, 28);
  EXPECT_EQ(decoded.qclass, kUntouchedClass);
}

TEST_F(ExtractDomainTest, ThreeBytesBehindTheNameSetOnlyTheType) {
  const Decoded decoded = Decode("01 'a' 00 00 1C 00"_wire, 2);
  EXPECT_EQ(decoded.qtype, 28);
  EXPECT_EQ(decoded.qclass, kUntouchedClass);
}

TEST_F(ExtractDomainTest, NothingBehindTheHeaderDecodesNothing) {
  const Decoded decoded = Decode(""_wire, 2);
  EXPECT_EQ(decoded.out, "'##'"_wire);
  EXPECT_EQ(decoded.qtype, kUntouchedType);
  EXPECT_EQ(decoded.qclass, kUntouchedClass);
  EXPECT_EQ(Trace(), "");
}

TEST_F(ExtractDomainTest, LabelOf64BytesIsAccepted) {
  const Decoded decoded = Decode("40"_wire + Repeated(64, 'x') + "00 00 01 00 01"_wire, 65);
  EXPECT_EQ(decoded.out, Repeated(64, 'x') + "00"_wire);
  EXPECT_EQ(decoded.qtype, 1);
}

TEST_F(ExtractDomainTest, LabelOf127BytesIsAccepted) {
  const Decoded decoded = Decode("7F"_wire + Repeated(127, 'x') + "00 00 01 00 01"_wire, 128);
  EXPECT_EQ(decoded.out, Repeated(127, 'x') + "00"_wire);
  EXPECT_EQ(decoded.qtype, 1);
  EXPECT_EQ(Trace(), "");
}

TEST_F(ExtractDomainTest, AnyByteInsideALabelIsCopied) {
  const Decoded decoded = Decode("06 'A.' 00 FF 20 C0 00 00 01 00 01"_wire, 7);
  EXPECT_EQ(decoded.out, "'A.' 00 FF 20 C0 00"_wire);
  EXPECT_EQ(decoded.qtype, 1);
}

TEST_F(ExtractDomainTest, LabelThatFillsTheBufferHasNoRoomForItsDot) {
  const Decoded decoded = Decode("03 'abc' 00 00 01 00 01"_wire, 5, 3);
  EXPECT_EQ(
      Trace(),
      "func: ExtractDomain(line:504)ExtractDomain: buffer overflow when add suffix dot, chunk_len: 3\n");
  EXPECT_EQ(decoded.out, "'abc##'"_wire);
  EXPECT_EQ(decoded.qtype, 0x6162);   // "ab"
  EXPECT_EQ(decoded.qclass, 0x6300);  // "c" and the name's end
}

TEST_F(ExtractDomainTest, LabelLongerThanTheBufferIsNotCopied) {
  const Decoded decoded = Decode("03 'abc' 00 00 01 00 01"_wire, 3, 2);
  EXPECT_EQ(
      Trace(),
      "func: ExtractDomain(line:488)ExtractDomain: buffer overflow when parsing qname, chunk_len: 3\n");
  EXPECT_EQ(decoded.out, "'###'"_wire);
  EXPECT_EQ(decoded.qtype, 0x6162);
  EXPECT_EQ(decoded.qclass, 0x6300);
}

TEST_F(ExtractDomainTest, SecondLabelLongerThanTheRestKeepsTheFirst) {
  const Decoded decoded = Decode("02 'ab' 02 'cd' 00 00 01 00 01"_wire, 5, 4);
  EXPECT_EQ(
      Trace(),
      "func: ExtractDomain(line:488)ExtractDomain: buffer overflow when parsing qname, chunk_len: 2\n");
  EXPECT_EQ(decoded.out, "'ab' 00 '##'"_wire);
  EXPECT_EQ(decoded.qtype, 0x6364);  // "cd"
  EXPECT_EQ(decoded.qclass, 0);
}

TEST_F(ExtractDomainTest, NameAndDotThatFillTheBufferExactlyAreKept) {
  const Decoded decoded = Decode("03 'abc' 00 00 01 00 01"_wire, 5, 4);
  EXPECT_EQ(decoded.out, "'abc' 00 '#'"_wire);
  EXPECT_EQ(decoded.qtype, 1);
  EXPECT_EQ(Trace(), "");
}

TEST_F(ExtractDomainTest, FinalDotOfTheTextItselfIsTakenForTheSuffix) {
  const Decoded decoded = Decode("03 'ab.' 00"_wire, 4, 3);
  EXPECT_EQ(
      Trace(),
      "func: ExtractDomain(line:504)ExtractDomain: buffer overflow when add suffix dot, chunk_len: 3\n");
  EXPECT_EQ(decoded.out, "'ab' 00 '#'"_wire);
}

TEST_F(ExtractDomainTest, LengthByteAtTheEndOfTheInputTakesItsLabelFromBeyond) {
  const Decoded decoded = DecodePart("01 'a' 02 'bc' 00 00 01"_wire, 3, kNameCapacity, 5);
  EXPECT_EQ(decoded.out, "'a.bc' 00"_wire);
  EXPECT_EQ(decoded.qtype, kUntouchedType);
  EXPECT_EQ(decoded.qclass, kUntouchedClass);
  EXPECT_EQ(Trace(), "");
}

TEST_F(ExtractDomainTest, LabelCutByTheEndOfTheInputIsCompletedFromBeyond) {
  const Decoded decoded = DecodePart("05 'ab'"_wire, 3, kNameCapacity, 7);
  EXPECT_EQ(decoded.out, "'ab' 00 00 00 00 '#'"_wire);
}

TEST(DNSHeaderTest, FieldsAreTheBytesOnTheWire) {
  const Wire message = "AB CD 81 83 00 01 00 02 00 03 00 04 'rest'"_wire;
  const DNSHeader header = ReadHeader(message.bytes.data());
  EXPECT_EQ(WireAt(&header.usId, 2), "AB CD"_wire);
  EXPECT_EQ(header.FlagsFirst, 0x81);
  EXPECT_EQ(header.FlagsSecond, 0x83);
  EXPECT_EQ(WireAt(&header.QuestionCount, 2), "00 01"_wire);
  EXPECT_EQ(WireAt(&header.AnswerCount, 2), "00 02"_wire);
  EXPECT_EQ(WireAt(&header.AuthorityCount, 2), "00 03"_wire);
  EXPECT_EQ(WireAt(&header.AdditionalCount, 2), "00 04"_wire);
}

TEST(DNSHeaderTest, WritingAHeaderReplacesTheFirstTwelveBytesOnly) {
  const Wire source = "AB CD 81 83 00 01 00 02 00 03 00 04"_wire;
  std::string message(14, '#');
  WriteHeader(message.data(), ReadHeader(source.bytes.data()));
  EXPECT_EQ(Wire{message}, "AB CD 81 83 00 01 00 02 00 03 00 04 '##'"_wire);
}

TEST(OSSwapInt16Test, ChangesTheTwoBytesOver) {
  EXPECT_EQ(_OSSwapInt16(0x1234), 0x3412);
  EXPECT_EQ(_OSSwapInt16(0x00FF), 0xFF00);
  EXPECT_EQ(_OSSwapInt16(0xFFFF), 0xFFFF);
}
