// Resolution beneath the device root: links that stay inside are followed,
// every way out is refused, and the answer names the object by a held
// directory handle and a leaf.
#include "platform/posix/beneath.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "files/files_fixture.h"
#include "support/temp_dir.h"
#include "platform/win32_errors.h"

namespace kp::test {
namespace {

using platform::fs::Location;
using platform::fs::LocateBeneath;

class BeneathTest : public FilesTest {
 protected:
  void SetUp() override {
    FilesTest::SetUp();
    outside_ = dir_ + "/outside";
    std::filesystem::create_directories(outside_ + "/deep");
    PutFile("in/a.txt", "inside");
    std::filesystem::create_directories(Host("in/sub"));
  }
  void Link(const std::string& target, const std::string& relative) const {
    std::filesystem::create_symlink(target, Host(relative));
  }
  uint32_t Locate(const std::string& relative, Location* at) const { return LocateBeneath(relative, at); }
  std::string outside_;
};

TEST_F(BeneathTest, FindsNamesAsTheyAreOnDiskWithoutRegardToCase) {
  Location at;
  ASSERT_EQ(Locate("IN/A.TXT", &at), 0u);
  EXPECT_TRUE(at.exists);
  EXPECT_EQ(at.leaf, "a.txt");
  EXPECT_EQ(at.relative, "in/a.txt");
  const int fd = platform::fs::OpenAt(at, O_RDONLY);
  ASSERT_GE(fd, 0);
  char buffer[8] = {};
  EXPECT_EQ(read(fd, buffer, sizeof buffer), 6);
  close(fd);

  ASSERT_EQ(Locate("in/new.txt", &at), 0u);
  EXPECT_FALSE(at.exists);
  EXPECT_EQ(at.leaf, "new.txt");
  EXPECT_EQ(Locate("nodir/new.txt", &at), win32::kPathNotFound);
  EXPECT_EQ(Locate("in/a.txt/x", &at), win32::kPathNotFound);

  ASSERT_EQ(Locate("", &at), 0u);
  EXPECT_TRUE(at.isRoot);
  EXPECT_TRUE(S_ISDIR(at.st.st_mode));
}

TEST_F(BeneathTest, LinksThatStayInsideAreFollowed) {
  Link("in/a.txt", "rel-file");
  Link("../../in", "in/sub/up");                    // relative, climbing but not above the root
  Link(Host("in"), "abs-dir");                     // absolute, inside
  Link("sub/", "in/slash");                        // ends on a directory
  Location at;
  ASSERT_EQ(Locate("rel-file", &at), 0u);
  EXPECT_EQ(at.relative, "in/a.txt");
  ASSERT_EQ(Locate("in/sub/up/a.txt", &at), 0u);
  EXPECT_EQ(at.relative, "in/a.txt");
  ASSERT_EQ(Locate("abs-dir/a.txt", &at), 0u);
  EXPECT_TRUE(at.exists);
  ASSERT_EQ(Locate("abs-dir/created.txt", &at), 0u);
  EXPECT_FALSE(at.exists);
  EXPECT_EQ(at.relative, "in/created.txt");
  ASSERT_EQ(Locate("in/slash", &at), 0u);
  EXPECT_EQ(at.relative, "in/sub");
  EXPECT_TRUE(S_ISDIR(at.st.st_mode));
}

TEST_F(BeneathTest, EveryWayOutIsRefused) {
  Link(outside_, "abs-out");
  Link("../../outside", "in/rel-out");
  Link("../../..", "in/sub/to-root-parent");
  Link(Host("in") + "/../../outside", "dotted-out");  // starts with the root's path, then climbs out
  Link("missing", "dangling");
  Link("loop-b", "loop-a");
  Link("loop-a", "loop-b");
  Location at;
  EXPECT_EQ(Locate("abs-out/deep", &at), win32::kAccessDenied);
  EXPECT_EQ(Locate("abs-out", &at), win32::kAccessDenied);
  EXPECT_EQ(Locate("in/rel-out/x", &at), win32::kAccessDenied);
  EXPECT_EQ(Locate("in/sub/to-root-parent", &at), win32::kAccessDenied);
  EXPECT_EQ(Locate("dotted-out/deep", &at), win32::kAccessDenied);
  EXPECT_EQ(Locate("dangling", &at), win32::kAccessDenied);
  EXPECT_EQ(Locate("loop-a", &at), win32::kAccessDenied);
  EXPECT_EQ(Locate("..", &at), win32::kPathNotFound);
}

TEST_F(BeneathTest, ALeafSwappedForALinkAfterTheWalkIsNotFollowed) {
  Location at;
  ASSERT_EQ(Locate("in/a.txt", &at), 0u);
  std::filesystem::remove(Host("in/a.txt"));
  std::ofstream(outside_ + "/canary") << "secret";
  Link(outside_ + "/canary", "in/a.txt");
  EXPECT_LT(platform::fs::OpenAt(at, O_RDONLY), 0);
  EXPECT_EQ(errno, ELOOP);
}

TEST_F(BeneathTest, AHeldDirectoryStaysTheOneThatWasChecked) {
  Location at;
  ASSERT_EQ(Locate("in/sub/new.txt", &at), 0u);
  // The directory is swapped for a link to the outside after the walk.
  std::filesystem::rename(Host("in/sub"), Host("in/sub-moved"));
  Link(outside_, "in/sub");
  const int fd = platform::fs::OpenAt(at, O_WRONLY | O_CREAT | O_EXCL, 0600);
  ASSERT_GE(fd, 0);
  close(fd);
  EXPECT_TRUE(HostExists("in/sub-moved/new.txt"));
  EXPECT_FALSE(std::filesystem::exists(outside_ + "/new.txt"));
}

TEST_F(BeneathTest, ARootMadeAgainIsFound) {
  Location at;
  ASSERT_EQ(Locate("in/a.txt", &at), 0u);
  std::filesystem::remove_all(dir_ + "/fs");
  std::filesystem::create_directories(dir_ + "/fs/again");
  ASSERT_EQ(Locate("again", &at), 0u);
  EXPECT_TRUE(at.exists);
}

// Walks borrow the root's handle instead of duplicating it: a location in
// the root must stay usable after the handle was replaced (another prefix),
// and the replaced handle must be closed once its last holder is gone.
size_t OpenDescriptors() {
  size_t n = 0;
  for ([[maybe_unused]] auto& e : std::filesystem::directory_iterator("/proc/self/fd")) ++n;
  return n;
}

TEST_F(BeneathTest, ALocationInTheRootOutlivesTheRootBeingReplaced) {
  PutFile("top.txt", "top");
  TempDir other;
  ASSERT_TRUE(other.ok());
  Location warm;
  ASSERT_EQ(Locate("top.txt", &warm), 0u);
  warm = Location{};
  const size_t before = OpenDescriptors();
  {
    Location at;
    ASSERT_EQ(Locate("top.txt", &at), 0u);
    setenv("KP_PREFIX", other.path().c_str(), 1);
    Location elsewhere;
    EXPECT_EQ(Locate("missing.txt", &elsewhere), 0u);
    EXPECT_FALSE(elsewhere.exists);
    setenv("KP_PREFIX", dir_.c_str(), 1);
    ASSERT_EQ(Locate("in/a.txt", &elsewhere), 0u);
    // The root's handle was opened again twice since `at` was found.
    const int fd = platform::fs::OpenAt(at, O_RDONLY);
    ASSERT_GE(fd, 0);
    char buffer[8] = {};
    EXPECT_EQ(read(fd, buffer, sizeof buffer), 3);
    EXPECT_STREQ(buffer, "top");
    close(fd);
    // A borrowed handle handed over is the caller's own to close.
    const int released = at.dir.release();
    ASSERT_GE(released, 0);
    EXPECT_EQ(close(released), 0);
    EXPECT_GE(fcntl(elsewhere.dir.get(), F_GETFD), 0);
  }
  EXPECT_EQ(OpenDescriptors(), before);
}

}  // namespace
}  // namespace kp::test
