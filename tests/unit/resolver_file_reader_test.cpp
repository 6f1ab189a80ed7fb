#include "dns_proxy_mac/startup/configuration_files.h"

#include <fstream>

#include "dns_proxy_mac/trace/output.h"
#include "tests/unit/child_process.h"
#include "tests/unit/private_folder.h"
#include "tests/unit/proxy_fixture.h"
#include "tests/unit/temporary_file.h"

namespace {

// Three buffers of '-', so that a test sees which bytes were written.
class ResolverFile : public SharedObjectsTest {
 protected:
  void Read(const std::string& text) {
    ReadResolverFile(TemporaryFile(text).Path(), first.data(), second.data(), third.data());
  }

  std::string first = std::string(16, '-');
  std::string second = first;
  std::string third = first;
};

}  // namespace

TEST_F(ResolverFile, FirstThreeOfFourServersFillTheBuffers) {
  Read("nameserver 192.0.2.1\nnameserver 192.0.2.2\nnameserver 192.0.2.3\nnameserver 192.0.2.4\n");
  EXPECT_EQ(first, "192.0.2.1-------");
  EXPECT_EQ(second, "192.0.2.2-------");
  EXPECT_EQ(third, "192.0.2.3-------");
  EXPECT_EQ(Trace(),
            "read dns: nameserver 192.0.2.1\n"
            "read dns: nameserver 192.0.2.2\n"
            "read dns: nameserver 192.0.2.3\n"
            "read dns: nameserver 192.0.2.4\n");
}

TEST_F(ResolverFile, LinesBehindTheFourthServerAreNotPrinted) {
  Read("nameserver 1\nnameserver 2\nnameserver 3\nnameserver 4\nsearch lan\nnameserver 5\n");
  EXPECT_EQ(Trace(),
            "read dns: nameserver 1\n"
            "read dns: nameserver 2\n"
            "read dns: nameserver 3\n"
            "read dns: nameserver 4\n");
}

TEST_F(ResolverFile, LinesBehindTheThirdServerAreStillPrinted) {
  Read("nameserver 1\nnameserver 2\nnameserver 3\nsearch lan\n");
  EXPECT_EQ(Trace(),
            "read dns: nameserver 1\n"
            "read dns: nameserver 2\n"
            "read dns: nameserver 3\n"
            "read dns: search lan\n");
}

TEST_F(ResolverFile, TabBehindTheWordIsCopied) {
  Read("nameserver\t192.0.2.1\nnameserver  \t 192.0.2.2\n");
  EXPECT_EQ(first, "\t192.0.2.1------");
  EXPECT_EQ(second, "\t 192.0.2.2-----");
}

TEST_F(ResolverFile, WordAloneIsNotCounted) {
  Read("nameserver\nnameserver   \nnameserver 192.0.2.1\n");
  EXPECT_EQ(first, "192.0.2.1-------");
  EXPECT_EQ(second, "----------------");
  EXPECT_EQ(Trace(),
            "read dns: nameserver\n"
            "read dns: nameserver   \n"
            "read dns: nameserver 192.0.2.1\n");
}

TEST_F(ResolverFile, TailOfALongerTextStaysBehindTheNewOne) {
  first = "203.0.113.254 old";
  Read("nameserver 192.0.2.1\n");
  EXPECT_EQ(first, "192.0.2.1.254 old");
}

TEST_F(ResolverFile, FileWithoutTheWordIsPrintedAndTouchesNothing) {
  Read("# made by hand\nNAMESERVER 192.0.2.1\nname server 192.0.2.2\n\n");
  EXPECT_EQ(first + second + third, std::string(48, '-'));
  EXPECT_EQ(Trace(),
            "read dns: # made by hand\n"
            "read dns: NAMESERVER 192.0.2.1\n"
            "read dns: name server 192.0.2.2\n"
            "read dns: \n");
}

TEST_F(ResolverFile, CommentedServerCounts) {
  Read("# nameserver 192.0.2.1 # old\n");
  EXPECT_EQ(first, "192.0.2.1 # old-");
}

TEST_F(ResolverFile, FirstOccurrenceOfTheWordCounts) {
  Read("my nameserver nameserver\n");
  EXPECT_EQ(first, "nameserver------");
}

TEST_F(ResolverFile, WordMayRunOnIntoItsAddress) {
  Read("nameservers 1.2\n");
  EXPECT_EQ(first, "s 1.2-----------");
}

TEST_F(ResolverFile, BlanksBehindTheAddressAreCopied) {
  Read("nameserver 192.0.2.1  \r\n");
  EXPECT_EQ(first, "192.0.2.1  \r----");
}

TEST_F(ResolverFile, MissingFileTouchesNothing) {
  ReadResolverFile("/no/such/file", first.data(), second.data(), third.data());
  EXPECT_EQ(first + second + third, std::string(48, '-'));
  EXPECT_EQ(Trace(), "");
}

#if !defined(__APPLE__)  // where nobody can have an /etc of his own
TEST_F(ResolverFile, IsTheHostsOwn) {
  ChildProcess child([this] {
    // The whole folder: a host may have no such file, or a link to nowhere.
    MakePrivateFolder("/etc/any");
    std::ofstream("/etc/resolv.conf") << "nameserver 192.0.2.1\nnameserver 192.0.2.2\n";
    get_localdns_dnsproxy(first.data(), second.data(), third.data());
    trace::Flush();
    return first + second == "192.0.2.1-------192.0.2.2-------" ? 0 : 1;
  });
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(child.rest,
            "read dns: nameserver 192.0.2.1\n"
            "read dns: nameserver 192.0.2.2\n");
}
#endif

TEST_F(ResolverFile, CarriageReturnOrCommentSignBehindTheWordIsAnEntry) {
  Read("nameserver \r\nnameserver #192.0.2.1\n");
  EXPECT_EQ(first, "\r---------------");
  EXPECT_EQ(second, "#192.0.2.1------");
}
