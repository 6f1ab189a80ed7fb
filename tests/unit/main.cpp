#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace {

constexpr unsigned kPatienceSeconds = 100;

// A test that hangs fails by itself and is named; whoever runs the tests need not wait for them
// all.
class Deadline : public ::testing::EmptyTestEventListener {
 public:
  void OnTestStart(const ::testing::TestInfo& test) override {
    std::snprintf(said_, sizeof(said_), "%s.%s has not ended within %u s\n", test.test_suite_name(),
                  test.name(), kPatienceSeconds);
    signal(SIGALRM, EndTests);
    alarm(kPatienceSeconds);
  }
  void OnTestEnd(const ::testing::TestInfo& /*test*/) override { alarm(0); }

 private:
  static void EndTests(int /*signal*/) {
    (void)!write(STDERR_FILENO, said_, std::strlen(said_));
    _exit(1);
  }

  static char said_[256];
};

char Deadline::said_[256];

}  // namespace

// The report goes to a copy of standard output, because descriptor 1 belongs to the trace: tests
// lead it into files and pipes and close it.
int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  std::FILE* const report = fdopen(dup(STDOUT_FILENO), "w");
  if (report == nullptr) return 1;
  stdout = report;
  ::testing::UnitTest::GetInstance()->listeners().Append(new Deadline);
  return RUN_ALL_TESTS();
}
