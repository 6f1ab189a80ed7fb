// The page's macOS file itself, compiled here against the stand-in header. What it includes of this
// system's own must be there before it is told that it is on macOS.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/event.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "page/follow/file_changes.h"

#define __APPLE__ 1  // NOLINT(clang-diagnostic-reserved-macro-identifier): the compiler's own there
#define st_birthtimespec st_ctim
#include "page/follow/file_changes_macos.cpp"  // NOLINT(bugprone-suspicious-include)
#undef st_birthtimespec

namespace {

// A folder with a file that is followed.
class MacosFileChanges : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* place = std::getenv("TMPDIR");
    std::string pattern = std::string(place != nullptr ? place : "/tmp") + "/file_changes.XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
    file_ = open(Path("trace").c_str(), O_CREAT | O_RDWR | O_APPEND | O_CLOEXEC, 0600);
    ASSERT_GE(file_, 0);
    changes_.Watch(Path("trace"), file_);
  }

  void TearDown() override {
    close(file_);
    for (const char* name : {"trace", "trace.before"}) unlink(Path(name).c_str());
    EXPECT_EQ(rmdir(folder_.c_str()), 0);
  }

  std::string Path(const char* name) const { return folder_ + "/" + name; }

  bool HasSomethingToTell() {
    pollfd asked{changes_.descriptor(), POLLIN, 0};
    return poll(&asked, 1, 0) == 1;
  }

  void Grow(int file) { ASSERT_EQ(write(file, "line\n", 5), 5); }

  std::string folder_;
  int file_ = -1;
  page::FileChanges changes_;
};

}  // namespace

TEST_F(MacosFileChanges, NothingIsToldBeforeSomethingHappens) {
  EXPECT_FALSE(HasSomethingToTell());
}

TEST_F(MacosFileChanges, FileThatGrowsIsToldUntilItIsTaken) {
  Grow(file_);
  EXPECT_TRUE(HasSomethingToTell());
  changes_.Drain();
  EXPECT_FALSE(HasSomethingToTell());
  Grow(file_);
  EXPECT_TRUE(HasSomethingToTell());
}

TEST_F(MacosFileChanges, FileThatIsPutAsideIsTold) {
  ASSERT_EQ(rename(Path("trace").c_str(), Path("trace.before").c_str()), 0);
  EXPECT_TRUE(HasSomethingToTell());
}

TEST_F(MacosFileChanges, AnotherFileOfTheNameIsToldByTheFolderWhenNoneIsOpen) {
  ASSERT_EQ(unlink(Path("trace").c_str()), 0);
  changes_.Watch(Path("trace"), -1);
  changes_.Drain();
  const int made = open(Path("trace").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
  ASSERT_GE(made, 0);
  close(made);
  EXPECT_TRUE(HasSomethingToTell());
}

TEST_F(MacosFileChanges, DescriptorsAreGivenBack) {
  const int before = dup(0);
  close(before);
  for (int time = 0; time < 100; ++time) changes_.Watch(Path("trace"), file_);
  const int after = dup(0);
  close(after);
  EXPECT_LE(after, before + 2);
}

TEST_F(MacosFileChanges, BirthOfAFileIsInNanosecondsAndUnknownForNone) {
  struct stat status {};
  ASSERT_EQ(fstat(file_, &status), 0);
  EXPECT_EQ(page::BirthOf(file_),
            status.st_ctim.tv_sec * std::int64_t{1000000000} + status.st_ctim.tv_nsec);
  EXPECT_EQ(page::BirthOf(-1), 0);
}
