#include "page/http/request.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "page/http/admission.h"

namespace page {
namespace {

using testing::Eq;

RequestState Read(const std::string& bytes, Request& request) {
  return ReadRequest(bytes, request);
}

std::string Get(const std::string& target) {
  return "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1:5380\r\n\r\n";
}

TEST(Request, IsTakenApart) {
  Request request;
  ASSERT_THAT(Read(Get("/api/queries?name=a%2Fb+c&before=7&empty"), request),
              Eq(RequestState::kWhole));
  EXPECT_THAT(request.method, Eq("GET"));
  EXPECT_THAT(request.path, Eq("/api/queries"));
  EXPECT_THAT(request.Value("name"), Eq("a/b c"));
  EXPECT_THAT(request.Value("before"), Eq("7"));
  EXPECT_THAT(request.Value("empty"), Eq(""));
  EXPECT_THAT(request.Value("other"), Eq(""));
}

TEST(Request, MayHold4096BytesAndNoMore) {
  const std::size_t frame = Get("/").size();
  Request request;
  EXPECT_THAT(Read(Get("/" + std::string(4096 - frame, 'a')), request), Eq(RequestState::kWhole));
  EXPECT_THAT(Read(Get("/" + std::string(4097 - frame, 'a')), request),
              Eq(RequestState::kTooLarge));
  EXPECT_THAT(Read(std::string(4096, 'a'), request), Eq(RequestState::kUnfinished));
  EXPECT_THAT(Read(std::string(4097, 'a'), request), Eq(RequestState::kTooLarge));
}

TEST(Request, MayHold16ParametersAndNoMore) {
  std::string target = "/?";
  for (int at = 0; at < 16; ++at) target += "a=1&";
  Request request;
  EXPECT_THAT(Read(Get(target), request), Eq(RequestState::kWhole));
  EXPECT_THAT(Read(Get(target + "a=1"), request), Eq(RequestState::kBad));
}

TEST(Request, ToTheOwnHostIsAdmittedAndToAnyOtherNot) {
  Request request;
  request.method = "GET";
  request.path = "/";
  for (const char* own : {"127.0.0.1:5380", "localhost:5380"}) {
    request.host = own;
    EXPECT_THAT(RefusalOf(request, 5380), Eq(0)) << own;
  }
  for (const char* other :
       {"", "127.0.0.1", "127.0.0.1:53800", "LOCALHOST.example:5380", "[::1]:5380"}) {
    request.host = other;
    EXPECT_THAT(RefusalOf(request, 5380), Eq(421)) << other;
  }
}

TEST(Request, NeedsNoPortInTheHostAtPort80) {
  Request request;
  request.method = "GET";
  request.host = "localhost";
  EXPECT_THAT(RefusalOf(request, 80), Eq(0));
  EXPECT_THAT(RefusalOf(request, 81), Eq(421));
}

}  // namespace
}  // namespace page
