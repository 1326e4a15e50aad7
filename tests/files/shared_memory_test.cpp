// Shared-memory blocks in one process, called as the entry functions call
// them: sizes, the clipped write, reads and seeks kept in the block, the
// UTF-16 mark, the administration block and its 20 slots, fMemAttend's
// refusals, and bad input. Every test checks it left nothing in /dev/shm.
// (Several real processes: shared_memory_processes_test.cpp.)
#include "files/shared_memory.h"

#include <dirent.h>
#include <unistd.h>
#ifdef _WIN32
#include <windows.h>
#include <tlhelp32.h>
#endif

#include <cstring>

#include "abi/error_ids.h"
#include "files/file_io.h"
#include "files/files_fixture.h"
#include "platform/named_objects.h"
#include "support/dev_shm.h"

namespace kp::test {
namespace {

using namespace kp::files;
namespace named = kp::platform::named;

std::string BytesOf(const Value& v) {
  const auto& b = std::get<Bytes>(v);
  return std::string(b.begin(), b.end());
}
std::span<const uint8_t> Span(std::string_view s) { return {reinterpret_cast<const uint8_t*>(s.data()), s.size()}; }

class SharedMemory : public FilesTest {
 protected:
  void SetUp() override {
    FilesTest::SetUp();
#ifndef _WIN32
    stem_ = named::SharedMemoryStem();
#endif
  }
  void TearDown() override {
    Handles().CloseAll();
    StopMemListener();
#ifndef _WIN32  // Windows' objects go with their last handle: nothing is left to look for
    EXPECT_EQ(LeftInDevShm(stem_), std::vector<std::string>{}) << "left in /dev/shm";
#endif
    FilesTest::TearDown();
  }
  int32_t OpenBlock(std::u16string_view name, int32_t size, int32_t mode = foReadWrite,
                    std::u16string_view procedure = {}) {
    return MemOpen(ctx_, name, size, kMemScopeLocal, mode, procedure);
  }
  std::string stem_;
};

TEST_F(SharedMemory, SizesAreThoseOfTheSystemAndAnExistingBlockKeepsItsOwn) {
  const int32_t page = static_cast<int32_t>(sysconf(_SC_PAGESIZE));
  const int32_t a = OpenBlock(u"sizes", 100);
  ASSERT_GE(a, 2);
  EXPECT_EQ(SizeOfHandle(ctx_, a), page) << "the region's real size: whole pages";
  EXPECT_TRUE(MemExist(ctx_, u"sizes", kMemScopeLocal));
  EXPECT_FALSE(MemExist(ctx_, u"sizes", 1)) << "another scope is another name";
  const int32_t smaller = OpenBlock(u"sizes", 10);
  const int32_t larger = OpenBlock(u"sizes", 3 * page);
  EXPECT_EQ(SizeOfHandle(ctx_, smaller), page);
  EXPECT_EQ(SizeOfHandle(ctx_, larger), page);
  // The three handles see one memory.
  EXPECT_EQ(Write(ctx_, a, Span("shared"), -1), 6);
  EXPECT_EQ(BytesOf(Read(ctx_, larger, 6)), "shared");
  EXPECT_EQ(Close(ctx_, a), 0);
  EXPECT_EQ(Close(ctx_, smaller), 0);
  EXPECT_EQ(Close(ctx_, larger), 0);
  EXPECT_FALSE(MemExist(ctx_, u"sizes", kMemScopeLocal)) << "gone with its last handle";
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(SharedMemory, WritesAreClippedAtTheEndReadsTooAndSeeksStayInside) {
  const int32_t h = OpenBlock(u"clip", 4096);
  ASSERT_GE(h, 2);
  EXPECT_EQ(Seek(ctx_, h, 4090, 0), 4090);
  EXPECT_EQ(Write(ctx_, h, Span("0123456789"), -1), 6) << "clipped on purpose, the shorter count";
  EXPECT_EQ(Seek(ctx_, h, 0, 1), 4096);
  EXPECT_EQ(Write(ctx_, h, Span("x"), -1), 0) << "at the end nothing more fits";
  EXPECT_EQ(SizeOfHandle(ctx_, h), 4096) << "a write never grows the block";
  EXPECT_EQ(Seek(ctx_, h, -6, 1), 4090);
  EXPECT_EQ(BytesOf(Read(ctx_, h, 100)), "012345") << "reads stop at the end";
  EXPECT_EQ(BytesOf(Read(ctx_, h, 5)), "");

  // A seek out of the block fails and keeps the position.
  EXPECT_EQ(Seek(ctx_, h, 4097, 0), -1);
  EXPECT_EQ(ctx_.systemError(), 131u);
  ctx_.clearError();
  EXPECT_EQ(Seek(ctx_, h, -1, 0), -1);
  ctx_.clearError();
  EXPECT_EQ(Seek(ctx_, h, 0, 1), 4096);
  EXPECT_EQ(Seek(ctx_, h, 10, 2), 10) << "the end is no origin here: counted from the start";
  EXPECT_EQ(Seek(ctx_, h, 1, 3), -1);
  EXPECT_EQ(ctx_.errorId(), 80023);
  ctx_.clearError();

  // Lines, both ways, and the block's zeros after them.
  EXPECT_EQ(Seek(ctx_, h, 0, 0), 0);
  EXPECT_TRUE(WriteLine(ctx_, h, u"first"));
  EXPECT_TRUE(WriteLine(ctx_, h, u"second"));
  EXPECT_EQ(Seek(ctx_, h, 0, 0), 0);
  EXPECT_EQ(ReadLine(ctx_, h), u"first");
  EXPECT_EQ(ReadLine(ctx_, h), u"second");
  EXPECT_EQ(Seek(ctx_, h, 4096, 0), 4096);
  EXPECT_EQ(ReadLine(ctx_, h), kEndOfFile);

  // Into and from memory.
  char buffer[8] = {};
  EXPECT_EQ(Seek(ctx_, h, 0, 0), 0);
  EXPECT_EQ(ReadToAddress(ctx_, h, 5, reinterpret_cast<uintptr_t>(buffer)), 5);
  EXPECT_STREQ(buffer, "first");
  EXPECT_EQ(WriteFromAddress(ctx_, h, reinterpret_cast<uintptr_t>("FIRST"), 5), 5);
  EXPECT_EQ(Seek(ctx_, h, 0, 0), 0);
  EXPECT_EQ(BytesOf(Read(ctx_, h, 10)), std::string("firstFIRST"));
  EXPECT_FALSE(ctx_.hasError());

  EXPECT_FALSE(ChangeSize(ctx_, h, 10));
  EXPECT_EQ(ctx_.errorId(), kErrChangeSizeNeedsDiskFile);
}

TEST_F(SharedMemory, ANewUnicodeBlockStartsWithTheMarkThatIsSkippedLater) {
  const int32_t a = OpenBlock(u"utf16", 4096, foReadWrite | foUnicode);
  ASSERT_GE(a, 2);
  EXPECT_EQ(Seek(ctx_, a, 0, 1), 2) << "after the mark it wrote";
  EXPECT_TRUE(WriteLine(ctx_, a, u"été"));
  const int32_t b = OpenBlock(u"utf16", 4096, foReadWrite | foUnicode);
  EXPECT_EQ(Seek(ctx_, b, 0, 1), 2) << "the mark is skipped";
  EXPECT_EQ(ReadLine(ctx_, b), u"été");
  const int32_t plain = OpenBlock(u"utf16", 4096, foReadWrite);
  EXPECT_EQ(BytesOf(Read(ctx_, plain, 2)), "\xFF\xFE");

  // A block without the mark is read from its first byte.
  const int32_t other = OpenBlock(u"nomark", 4096);
  EXPECT_EQ(Write(ctx_, other, Span(std::string_view("a\0b\0", 4)), -1), 4);
  const int32_t u = OpenBlock(u"nomark", 4096, foRead | foUnicode);
  EXPECT_EQ(Seek(ctx_, u, 0, 1), 0);
  EXPECT_EQ(BytesOf(Read(ctx_, u, 4)), std::string("a\0b\0", 4));
  EXPECT_EQ(Write(ctx_, u, Span("no"), -1), -1) << "opened for reading only";
  EXPECT_EQ(ctx_.systemError(), 5u);
}

TEST_F(SharedMemory, AdministrationBlockSlots) {
  uint8_t block[kAdminSize] = {kAdminVersion};
  for (uint32_t pid = 100; pid < 120; ++pid) EXPECT_TRUE(AdminEnrol(block, pid));
  EXPECT_EQ(block[1], 20);
  EXPECT_TRUE(AdminEnrol(block, 105)) << "already among them";
  EXPECT_FALSE(AdminEnrol(block, 999)) << "the 21st";
  AdminWithdraw(block, 100);
  EXPECT_EQ(block[1], 19);
  EXPECT_EQ(block[4], 101) << "the later ones move down, in order";
  EXPECT_EQ(AdminOthers(block, 101).size(), 18u);
  AdminWithdraw(block, 12345);
  EXPECT_EQ(block[1], 19) << "an unknown identifier is left alone";
  block[1] = 250;  // as another process may have left it
  EXPECT_EQ(AdminOthers(block, 1).size(), kAdminSlots) << "read as 20";
  EXPECT_FALSE(AdminEnrol(block, 777));
  block[0] = 2;
  EXPECT_FALSE(AdminUsable(block));
}

TEST_F(SharedMemory, TheTwentyFirstProcessIsRefused) {
  ctx_.procedures[u"Changed"] = [](const std::vector<Value>&) { return Value{}; };
  const int32_t h = OpenBlock(u"full", 4096);
  ASSERT_GE(h, 2);
  // Twenty other processes enrolled, as they would have written it.
  const named::Handle adm = named::OpenMapping(u"Local\\full_ADM", true);
  ASSERT_NE(adm, named::kNoHandle);
  auto* slots = static_cast<uint8_t*>(named::MapView(adm, true, kAdminSize));
  ASSERT_NE(slots, nullptr);
  EXPECT_EQ(slots[0], 1) << "version 1 when created";
  for (uint32_t i = 0; i < 20; ++i) AdminEnrol(slots, 0x7FFF0000 + i);
  EXPECT_EQ(OpenBlock(u"full", 4096, foReadWrite, u"Changed"), -1);
  EXPECT_EQ(ctx_.errorId(), kErrTooManySharedMemoryNotifications);
  ctx_.clearError();
  // fMemAttend: the others' receipts do not exist (no such processes): nothing to wait for.
  EXPECT_TRUE(MemWait(ctx_, h, 100));
  AdminWithdraw(slots, 0x7FFF0000);
  const int32_t enrolled = OpenBlock(u"full", 4096, foReadWrite, u"Changed");
  EXPECT_GE(enrolled, 2) << "a slot came free";
  EXPECT_EQ(slots[1], 20);
  EXPECT_EQ(Close(ctx_, enrolled), 0);
  EXPECT_EQ(slots[1], 19) << "closing withdrew it";
  named::UnmapView(slots);
  named::CloseHandle(adm);
}

TEST_F(SharedMemory, AWaitWithNobodyElseIsTrueAtOnce) {
  ctx_.procedures[u"Changed"] = [](const std::vector<Value>&) { return Value{}; };
  const int32_t h = OpenBlock(u"alone", 4096, foReadWrite, u"Changed");
  ASSERT_GE(h, 2);
  EXPECT_EQ(Write(ctx_, h, Span("me"), -1), 2);
  EXPECT_TRUE(MemWait(ctx_, h, 0)) << "only this process is enrolled: no limit, yet at once";
  EXPECT_FALSE(ctx_.hasError());

  PutFile("f", "x");
  const int32_t file = Open(ctx_, u"\\f", foRead);
  EXPECT_FALSE(MemWait(ctx_, file, 10));
  EXPECT_EQ(ctx_.errorId(), kErrNeedsSharedMemory);
  ctx_.clearError();
  for (int32_t bad : {0, 1, 99, -5}) {
    EXPECT_FALSE(MemWait(ctx_, bad, 10));
    EXPECT_EQ(ctx_.errorId(), kErrBadFileHandle);
    ctx_.clearError();
  }
  EXPECT_EQ(Close(ctx_, h), 0);
  EXPECT_EQ(Close(ctx_, h), -1) << "closed twice";
  EXPECT_EQ(ctx_.errorId(), kErrBadFileHandle);
  ctx_.clearError();
  EXPECT_EQ(Write(ctx_, h, Span("x"), -1), -1);
  EXPECT_EQ(ctx_.errorId(), kErrBadFileHandle);
}

size_t Threads() {
  size_t n = 0;
#ifdef _WIN32
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  if (snapshot == INVALID_HANDLE_VALUE) return 0;
  THREADENTRY32 t{};
  t.dwSize = sizeof t;
  for (BOOL more = Thread32First(snapshot, &t); more; more = Thread32Next(snapshot, &t))
    n += t.th32OwnerProcessID == GetCurrentProcessId();
  CloseHandle(snapshot);
  return n;
#endif
  if (DIR* d = opendir("/proc/self/task")) {
    while (dirent* e = readdir(d)) n += e->d_name[0] != '.';
    closedir(d);
  }
  return n;
}

TEST_F(SharedMemory, TheListenerRunsWhileABlockHasAProcedure) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "ThreadSanitizer starts a thread of its own at a moment of its choosing: threads cannot be counted";
#endif
  ctx_.procedures[u"Changed"] = [](const std::vector<Value>&) { return Value{}; };
  const size_t before = Threads();
  const int32_t a = OpenBlock(u"one", 4096, foReadWrite, u"Changed");
  const int32_t b = OpenBlock(u"two", 4096, foReadWrite, u"Changed");
  ASSERT_GE(a, 2);
  ASSERT_GE(b, 2);
  EXPECT_EQ(Threads(), before + 1) << "one listener for the process";
  EXPECT_EQ(Close(ctx_, a), 0);
  EXPECT_EQ(Threads(), before + 1);
  EXPECT_EQ(Close(ctx_, b), 0);
  EXPECT_EQ(Threads(), before) << "stopped and joined with the last block";
  const int32_t c = OpenBlock(u"three", 4096, foReadWrite, u"Changed");
  EXPECT_EQ(Threads(), before + 1) << "started again";
  EXPECT_EQ(Close(ctx_, c), 0);
}

TEST_F(SharedMemory, BadInputGetsAClearErrorAndNoObjectIsLeft) {
  struct Case {
    std::u16string name;
    int32_t size;
    bool opens;
  };
  const Case cases[] = {
      {u"", 4096, false},                        // a scope with no name
      {u"a", 4096, true},                        // one character
      {std::u16string(300, u'n'), 4096, false},  // past 260 characters
      {u"back\\slash", 4096, false},
      {u"for/ward", 4096, true},  // a slash is an ordinary character of a name
      {u"zero", 0, false},
      {u"minus", -1, false},
  };
  for (const Case& c : cases) {
    ctx_.clearError();
    const int32_t h = OpenBlock(c.name, c.size);
    if (c.opens) {
      EXPECT_GE(h, 2) << kp::test::Utf8(c.name);
      EXPECT_FALSE(ctx_.hasError());
      EXPECT_EQ(Close(ctx_, h), 0);
    } else {
      EXPECT_EQ(h, -1) << kp::test::Utf8(c.name) << " " << c.size;
      EXPECT_EQ(ctx_.errorId(), kErrCannotOpenSharedMemory);
      EXPECT_NE(ctx_.systemError(), 0u);
    }
    EXPECT_FALSE(MemExist(ctx_, c.name, kMemScopeLocal));
  }
  // The largest size: the system gives it (sparse memory) or refuses it, clearly.
  ctx_.clearError();
  const int32_t big = OpenBlock(u"big", 0x7FFFFFFF);
  if (big >= 2) {
    EXPECT_EQ(SizeOfHandle(ctx_, big), int64_t{0x80000000});
    EXPECT_EQ(Seek(ctx_, big, 0x7FFFFFFE, 0), 0x7FFFFFFE);
    EXPECT_EQ(Write(ctx_, big, Span("end"), -1), 2);
    EXPECT_EQ(Close(ctx_, big), 0);
  } else {
    EXPECT_EQ(ctx_.errorId(), kErrCannotOpenSharedMemory);
  }
  // Every mode bit: writing, UTF-16, and the rest ignored.
  ctx_.clearError();
  const int32_t all = OpenBlock(u"modes", 4096, -1);
  ASSERT_GE(all, 2);
  EXPECT_EQ(Seek(ctx_, all, 0, 1), 2) << "UTF-16: the mark";
  EXPECT_EQ(Close(ctx_, all), 0);
  // A procedure the program does not have: refused, nothing kept.
  EXPECT_EQ(OpenBlock(u"proc", 4096, foReadWrite, u"NoSuchProcedure"), -1);
  EXPECT_EQ(ctx_.errorId(), kErrTooManySharedMemoryNotifications);
  EXPECT_FALSE(MemExist(ctx_, u"proc", kMemScopeLocal));
  EXPECT_EQ(Handles().inUse(), 2) << "only the placeholders";
}

}  // namespace
}  // namespace kp::test
