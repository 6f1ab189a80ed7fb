#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

#include "tests/unit/deadline.h"

// The report goes to a copy of standard output, because descriptor 1 belongs to the trace: tests
// lead it into files and pipes and close it.
int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  std::FILE* const report = fdopen(dup(STDOUT_FILENO), "w");
  if (report == nullptr) return 1;
  stdout = report;
  testing::UnitTest::GetInstance()->listeners().Append(MakeDeadline());
  return RUN_ALL_TESTS();
}
