#include "dns_proxy_mac/platform.h"

#include <cerrno>

#include "dns_proxy_mac/startup/service.h"
#include "tests/unit/proxy_fixture.h"

#if defined(__GLIBC__)  // macOS keeps nothing of an ended thread's stack
namespace {

constexpr std::size_t kMegabyte = std::size_t{1} << 20;

// The stack size that a thread without attributes gets, as it was before each test afterwards.
class ThreadStacks : public SharedObjectsTest {
 protected:
  ThreadStacks() : before_(Size()) {}
  ~ThreadStacks() override { SetSize(before_); }

  static std::size_t Size() {
    pthread_attr_t attributes;
    std::size_t size = 0;
    EXPECT_EQ(pthread_getattr_default_np(&attributes), 0);
    EXPECT_EQ(pthread_attr_getstacksize(&attributes, &size), 0);
    pthread_attr_destroy(&attributes);
    return size;
  }

  static void SetSize(std::size_t size) {
    pthread_attr_t attributes;
    EXPECT_EQ(pthread_attr_init(&attributes), 0);
    EXPECT_EQ(pthread_attr_setstacksize(&attributes, size), 0);
    EXPECT_EQ(pthread_setattr_default_np(&attributes), 0);
    pthread_attr_destroy(&attributes);
  }

 private:
  std::size_t before_;
};

}  // namespace

TEST_F(ThreadStacks, LargeDefaultIsCutToWhatIsKeptAfterTheThreadsEnd) {
  SetSize(64 * kMegabyte);
  KeepStacksOfJoinedThreads();
  EXPECT_EQ(Size(), 8 * kMegabyte);
}

TEST_F(ThreadStacks, UsualDefaultStays) {
  SetSize(8 * kMegabyte);
  KeepStacksOfJoinedThreads();
  EXPECT_EQ(Size(), 8 * kMegabyte);
  SetSize(2 * kMegabyte);
  KeepStacksOfJoinedThreads();
  EXPECT_EQ(Size(), 2 * kMegabyte);
}

TEST_F(ThreadStacks, DefaultThatCannotBeReadStays) {
  SetSize(64 * kMegabyte);
  system_calls::Substitute(system_calls::Call::kPthreadGetattrDefault, {{ENOMEM}});
  KeepStacksOfJoinedThreads();
  EXPECT_EQ(Size(), 64 * kMegabyte);
}

TEST_F(ThreadStacks, ServiceStartCutsALargeDefault) {
  SetSize(64 * kMegabyte);
  system_calls::SubstituteThreads();
  EXPECT_TRUE(StartDnsSrv({"192.0.2.1"}, {}));
  EXPECT_EQ(Size(), 8 * kMegabyte);
}

#endif

TEST(SocketAddressSizes, AreThoseThatTheCallsAreTold) {
  EXPECT_EQ(sizeof(sockaddr), 16U);
  EXPECT_EQ(sizeof(sockaddr_in), 16U);
  EXPECT_EQ(sizeof(sockaddr_in6), 28U);
}
