#include <gtest/gtest.h>

#include "tests/unit/deadline.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(MakeDeadline());
  return RUN_ALL_TESTS();
}
