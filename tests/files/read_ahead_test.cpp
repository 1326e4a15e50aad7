// fLitLigne reads ahead in a buffer of the stream's own: lines, positions
// and the other handle operations must stay those of the 50-byte pieces read
// straight from the file, and a change made by anyone (through any handle or
// name of this process, or by another process) must never leave stale bytes
// behind.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <random>
#include <thread>

#include "files/file_io.h"
#include "files/files_fixture.h"
#include "files/paths.h"
#include "files/text.h"
#include "platform/codepage.h"
#include "platform/filesystem.h"
#include "project/stream.h"
#include "support/deadline.h"

namespace kp::test {
namespace {

using namespace kp::files;
namespace fs = platform::fs;

using ReadAhead = FilesTest;

std::string BytesOf(const Value& v) {
  const auto& b = std::get<Bytes>(v);
  return std::string(b.begin(), b.end());
}

std::u16string U(const std::string& ascii) { return std::u16string(ascii.begin(), ascii.end()); }

// The line as the pieces give it, read straight from the file.
std::u16string PieceLine(project::IXStream& s, bool unicode) {
  std::string bytes;
  LinePiece piece;
  do {
    if (!ReadLinePiece(s, unicode, &piece)) return u"<failed>";
    bytes.append(reinterpret_cast<const char*>(piece.bytes), piece.size);
  } while (!piece.finished);
  if (!unicode) return platform::FromAnsi(bytes);
  std::u16string out;
  for (size_t i = 0; i + 1 < bytes.size(); i += 2)
    out += static_cast<char16_t>(static_cast<uint8_t>(bytes[i]) | (static_cast<uint8_t>(bytes[i + 1]) << 8));
  return out;
}

// Both readers over the whole file: every line and every position agree.
void ExpectSameLines(const std::u16string& name, bool unicode) {
  project::IXStream buffered, plain;
  ASSERT_TRUE(buffered.Open(name, fs::kGenericRead, 3, fs::kOpenExisting, 0));
  ASSERT_TRUE(plain.Open(name, fs::kGenericRead, 3, fs::kOpenExisting, 0));
  const int64_t size = plain.Size();
  int lines = 0;
  while (plain.Position() < size) {
    std::u16string line;
    ASSERT_TRUE(AssembleLine(buffered, unicode, &line));
    ASSERT_EQ(line, PieceLine(plain, unicode)) << "line " << lines;
    ASSERT_EQ(buffered.Position(), plain.Position()) << "line " << lines;
    ++lines;
  }
  EXPECT_EQ(buffered.Position(), size);
}

TEST_F(ReadAhead, LinesAndPositionsMatchThePiecesAcrossEveryBufferEdge) {
  const size_t kBuffer = 64 * 1024;
  std::vector<std::string> contents;
  // A terminator cut by the end of the read-ahead, at every offset around it.
  for (size_t cr = kBuffer - 5; cr <= kBuffer + 2; ++cr) {
    std::string s(kBuffer + 40, 'a');
    s[cr] = '\r';
    s[cr + 1] = '\n';
    contents.push_back(s);
  }
  // A line longer than the buffer, lone CRs, LF CR, a CR ending the file.
  contents.push_back(std::string(3 * kBuffer + 7, 'x') + "\r\nend\r");
  contents.push_back("a\rb\n\rc\r\r\n\r\n\r\nlast");
  std::mt19937 random(7);
  std::string noisy;
  for (int i = 0; i < 300000; ++i) noisy += "ab\r\n\xE9"[random() % 5];
  contents.push_back(noisy);
  // Lines of every length up to a few blocks: every edge of the growing reads.
  std::string lengths;
  for (size_t n = 0; n < 2200; ++n) lengths += std::string(n, 'L') + "\r\n";
  contents.push_back(lengths);
  for (size_t i = 0; i < contents.size(); ++i) {
    SCOPED_TRACE(i);
    PutFile("f.txt", contents[i]);
    ExpectSameLines(u"\\f.txt", false);
  }
}

TEST_F(ReadAhead, UnicodeTerminatorsCountOnlyAtEvenDistances) {
  const size_t kBuffer = 64 * 1024;
  std::vector<std::string> contents;
  for (size_t cr = kBuffer - 6; cr <= kBuffer + 2; ++cr) {
    std::string s(kBuffer + 40, 'a');
    s.replace(cr, 4, std::string("\r\0\n\0", 4));
    contents.push_back(s);
  }
  contents.push_back(std::string("x\r\0\n\0y\r\0\n\0z", 12));  // odd: the first one is off by a byte
  contents.push_back(std::string(2 * kBuffer + 1, 'q'));        // an odd last byte is dropped
  std::string lengths;
  for (size_t n = 0; n < 1200; ++n) lengths += std::string(2 * n, 'L') + std::string("\r\0\n\0", 4);
  contents.push_back(lengths);
  for (size_t i = 0; i < contents.size(); ++i) {
    SCOPED_TRACE(i);
    PutFile("u.txt", contents[i]);
    ExpectSameLines(u"\\u.txt", true);
  }
}

TEST_F(ReadAhead, PositionReadAndWriteFollowTheLinesNotTheBuffer) {
  PutFile("p.txt", "one\r\ntwo\r\nthree\r\nfour\r\n");
  const int32_t h = Open(ctx_, u"\\p.txt", 0);
  ASSERT_GE(h, 2);
  EXPECT_EQ(ReadLine(ctx_, h), u"one");
  EXPECT_EQ(Seek(ctx_, h, 0, 1), 5);
  EXPECT_EQ(BytesOf(Read(ctx_, h, 3)), "two");
  EXPECT_EQ(ReadLine(ctx_, h), u"");  // the rest of "two"'s line
  EXPECT_EQ(ReadLine(ctx_, h), u"three");
  // A write lands at the line position, and the same handle reads it back.
  const std::string bytes = "FOUR";
  EXPECT_EQ(Write(ctx_, h, {reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()}, -1), 4);
  EXPECT_EQ(Seek(ctx_, h, -6, 1), 15);
  EXPECT_EQ(ReadLine(ctx_, h), u"");
  EXPECT_EQ(ReadLine(ctx_, h), u"FOUR");
  EXPECT_EQ(ReadLine(ctx_, h), kEndOfFile);
  EXPECT_EQ(Seek(ctx_, h, 5, 0), 5);
  EXPECT_EQ(ReadLine(ctx_, h), u"two");
  // A seek before the start fails as before and leaves the position alone.
  EXPECT_EQ(Seek(ctx_, h, -100, 1), -1);
  EXPECT_EQ(ctx_.systemError(), 131u);
  ctx_.clearError();
  EXPECT_EQ(Seek(ctx_, h, 0, 1), 10);
  EXPECT_EQ(SizeOfHandle(ctx_, h), 23);
  EXPECT_EQ(Close(ctx_, h), 0);
  EXPECT_EQ(GetFile("p.txt"), "one\r\ntwo\r\nthree\r\nFOUR\r\n");
}

TEST_F(ReadAhead, ChangeSizeThenReadSeesTheNewEnd) {
  PutFile("c.txt", "alpha\r\nbravo\r\ncharlie\r\n");
  const int32_t h = Open(ctx_, u"\\c.txt", 0);
  EXPECT_EQ(ReadLine(ctx_, h), u"alpha");
  ASSERT_TRUE(ChangeSize(ctx_, h, 10));
  EXPECT_EQ(Seek(ctx_, h, 0, 1), 7);
  EXPECT_EQ(ReadLine(ctx_, h), u"bra");
  EXPECT_EQ(ReadLine(ctx_, h), kEndOfFile);
  ASSERT_TRUE(ChangeSize(ctx_, h, 14));  // grows with zeros
  EXPECT_EQ(Seek(ctx_, h, 7, 0), 7);
  EXPECT_EQ(ReadLine(ctx_, h), std::u16string(u"bra\0\0\0\0", 7));
  EXPECT_EQ(ReadLine(ctx_, h), kEndOfFile);
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(ReadAhead, AChangeThroughAnotherHandleOrNameIsSeenAtOnce) {
  PutFile("s.txt", "first\r\nsecond\r\nthird\r\n");
  const int32_t reader = Open(ctx_, u"\\s.txt", foRead);
  const int32_t writer = Open(ctx_, u"\\S.TXT", 0);  // the same file under another case
  ASSERT_GE(reader, 2);
  ASSERT_GE(writer, 2);
  EXPECT_EQ(ReadLine(ctx_, reader), u"first");  // the rest is read ahead now
  EXPECT_EQ(Seek(ctx_, writer, 7, 0), 7);
  const std::string bytes = "SECOND";
  EXPECT_EQ(Write(ctx_, writer, {reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()}, -1), 6);
  EXPECT_EQ(ReadLine(ctx_, reader), u"SECOND");

  // Cut short through the other handle: the end of the file comes early.
  ASSERT_TRUE(ChangeSize(ctx_, writer, 17));
  EXPECT_EQ(ReadLine(ctx_, reader), u"th");
  EXPECT_EQ(ReadLine(ctx_, reader), kEndOfFile);

  // Rewritten by name (a copy onto it, a text saved over it).
  PutFile("other.txt", "copie\r\nover\r\n");
  EXPECT_EQ(Seek(ctx_, reader, 0, 0), 0);
  EXPECT_EQ(ReadLine(ctx_, reader), u"first");
  ASSERT_TRUE(fs::CopyFile(u"\\other.txt", u"\\s.txt", false));
  EXPECT_EQ(ReadLine(ctx_, reader), u"over");
  EXPECT_TRUE(SaveText(ctx_, u"\\s.txt", Value{std::u16string(u"saved\r\nlines\r\n")}));
  EXPECT_EQ(Seek(ctx_, reader, 0, 0), 0);
  EXPECT_EQ(ReadLine(ctx_, reader), u"saved");
  EXPECT_EQ(ReadLine(ctx_, reader), u"lines");
  EXPECT_EQ(ReadLine(ctx_, reader), kEndOfFile);
  EXPECT_EQ(Close(ctx_, reader), 0);
  EXPECT_EQ(Close(ctx_, writer), 0);
}

TEST_F(ReadAhead, AnotherWritersRewriteAndAppendAreSeenAtOnce) {
  PutFile("w.txt", "alpha\r\nbravo\r\n");
  const int32_t h = Open(ctx_, u"\\w.txt", foRead);
  ASSERT_GE(h, 2);
  EXPECT_EQ(ReadLine(ctx_, h), u"alpha");
  // A descriptor of its own, past the platform layer: as another process writes.
  const int fd = ::open(Host("w.txt").c_str(), O_WRONLY);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(pwrite(fd, "BRAVO", 5, 7), 5);
  EXPECT_EQ(ReadLine(ctx_, h), u"BRAVO");
  EXPECT_EQ(ReadLine(ctx_, h), kEndOfFile);
  ASSERT_EQ(pwrite(fd, "charlie\r\ndelta", 14, 14), 14);
  EXPECT_EQ(ReadLine(ctx_, h), u"charlie");
  EXPECT_EQ(ReadLine(ctx_, h), u"delta");
  EXPECT_EQ(ReadLine(ctx_, h), kEndOfFile);
  ASSERT_EQ(pwrite(fd, "\r\necho\r\n", 8, 28), 8);
  EXPECT_EQ(ReadLine(ctx_, h), u"");  // the rest of "delta"'s line: its terminator
  EXPECT_EQ(ReadLine(ctx_, h), u"echo");
  EXPECT_EQ(ReadLine(ctx_, h), kEndOfFile);
  ::close(fd);
  EXPECT_FALSE(ctx_.hasError());
  EXPECT_EQ(Close(ctx_, h), 0);
}

TEST_F(ReadAhead, AFailedLineReadReportsAndLeavesThePosition) {
  PutFile("wo.txt", "abc\r\n");
  const int32_t h = Open(ctx_, u"\\wo.txt", foCreateIfNotExist);  // neither read nor write bit: write only
  ASSERT_GE(h, 2);
  EXPECT_EQ(ReadLine(ctx_, h), u"");
  EXPECT_EQ(ctx_.systemError(), 5u);
  ctx_.clearError();
  EXPECT_EQ(Seek(ctx_, h, 0, 1), 0);
  EXPECT_EQ(Write(ctx_, h, {reinterpret_cast<const uint8_t*>("X"), 1}, -1), 1);
  EXPECT_EQ(Close(ctx_, h), 0);
  EXPECT_EQ(GetFile("wo.txt"), "Xbc\r\n");
}

// A loop that reads to the end of a log and waits for more, as a KL TANTQUE
// loop does, while another process appends: every line comes back, in order,
// and the loop ends.
TEST_F(ReadAhead, ALoopReadsWhatAnotherProcessAppends) {
  PutFile("log.txt", "");
  // 16 bytes a line, each written at once: no line straddles a page, so
  // the reader never sees half of one.
  std::vector<std::string> lines;
  std::string expected;
  for (int i = 0; i < 300; ++i) {
    std::string line = "line " + std::to_string(1000 + i) + " abcd";
    expected += line;
    lines.push_back(line + "\r\n");
    ASSERT_EQ(lines.back().size(), 16u);
  }
  const int32_t h = Open(ctx_, u"\\log.txt", foRead);
  ASSERT_GE(h, 2);
  const int fd = ::open(Host("log.txt").c_str(), O_WRONLY | O_APPEND);
  ASSERT_GE(fd, 0);
  const pid_t writer = fork();
  ASSERT_GE(writer, 0);
  if (writer == 0) {
    for (size_t i = 0; i < lines.size(); ++i) {
      if (write(fd, lines[i].data(), lines[i].size()) != 16) _exit(1);
      if (i % 20 == 0) usleep(2000);
    }
    _exit(0);
  }
  ::close(fd);
  const std::u16string all = WithinSeconds(30, "a loop reading another process's appends", [&] {
    std::u16string text;
    while (text.size() < expected.size()) {
      const std::u16string_view line = ReadLine(ctx_, h);
      if (line == kEndOfFile)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      else
        text += line;
    }
    return text;
  });
  int status = 0;
  ASSERT_EQ(waitpid(writer, &status, 0), writer);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(all, U(expected));
  EXPECT_EQ(ReadLine(ctx_, h), kEndOfFile);
  EXPECT_EQ(Close(ctx_, h), 0);
}

}  // namespace
}  // namespace kp::test

namespace kp::test {
namespace {

using namespace kp::files;

// Every line of the handle to its end, as fLitLigne gives them.
std::vector<std::u16string> AllLines(ExecContext* ctx, int32_t h) {
  std::vector<std::u16string> out;
  for (std::u16string line; (line = ReadLine(ctx, h)) != kEndOfFile;) out.push_back(line);
  return out;
}

// The lines of ASCII bytes ending at CR LF, the last one at the end.
std::vector<std::u16string> Split(const std::string& bytes) {
  std::vector<std::u16string> out;
  size_t at = 0;
  while (at < bytes.size()) {
    const size_t end = bytes.find("\r\n", at);
    out.push_back(U(bytes.substr(at, end == std::string::npos ? std::string::npos : end - at)));
    at = end == std::string::npos ? bytes.size() : end + 2;
  }
  return out;
}

// The line reader reads a mapped window of the file: a file cut short under
// it loses the window's pages past its new end, and reading one must give
// the end of the file (never a crash, never a stale line); the handle then
// reads on as before, and what is written again is seen.
TEST_F(ReadAhead, AFileCutShortUnderTheWindowEndsWithoutAFault) {
  std::string text;
  for (int i = 0; text.size() < 5 * 4096; ++i) text += "line " + std::to_string(i) + "\r\n";
  PutFile("cut.txt", text);
  const int32_t h = Open(ctx_, u"\\cut.txt", foRead);
  ASSERT_GE(h, 2);
  EXPECT_EQ(ReadLine(ctx_, h), u"line 0");  // the window is mapped, the size known
  const int fd = ::open(Host("cut.txt").c_str(), O_WRONLY);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(ftruncate(fd, 100), 0);
  // Three pages past the new end: that page is gone.
  EXPECT_EQ(Seek(ctx_, h, 3 * 4096 + 10, 0), 3 * 4096 + 10);
  EXPECT_EQ(ReadLine(ctx_, h), kEndOfFile);
  EXPECT_FALSE(ctx_.hasError());
  // From the start: the lines of the 100 bytes left, not the zeros after them.
  EXPECT_EQ(Seek(ctx_, h, 0, 0), 0);
  EXPECT_EQ(AllLines(ctx_, h), Split(text.substr(0, 100)));
  // Written again past the cut: seen at once.
  const std::string more = "\r\nagain\r\n";
  ASSERT_EQ(pwrite(fd, more.data(), more.size(), 100), static_cast<ssize_t>(more.size()));
  EXPECT_EQ(Seek(ctx_, h, 0, 0), 0);
  EXPECT_EQ(AllLines(ctx_, h), Split(text.substr(0, 100) + more));
  ::close(fd);
  EXPECT_FALSE(ctx_.hasError());
  EXPECT_EQ(Close(ctx_, h), 0);
}

// A line across the end of the window (8 MB) is read as any other, and so
// are the lines of the next window.
TEST_F(ReadAhead, LinesAcrossTheWindowsEdgeComeOutWhole) {
  const size_t kWindow = 8 * 1024 * 1024;
  for (const size_t cr : {kWindow - 1, kWindow - 2, kWindow + 5}) {
    SCOPED_TRACE(cr);
    std::string text(kWindow + 64, 'w');
    text.replace(10, 2, "\r\n");
    text.replace(cr, 2, "\r\n");
    text.replace(kWindow + 20, 2, "\r\n");
    PutFile("big.txt", text);
    const int32_t h = Open(ctx_, u"\\big.txt", foRead);
    ASSERT_GE(h, 2);
    EXPECT_EQ(AllLines(ctx_, h), Split(text));
    EXPECT_EQ(Close(ctx_, h), 0);
  }
}

// The reader's fault handler takes only the faults of its own window: any
// other SIGBUS still ends the process.
TEST_F(ReadAhead, AnotherBusErrorStillEndsTheProcess) {
  PutFile("b.txt", "x\r\n");
  const int32_t h = Open(ctx_, u"\\b.txt", foRead);
  ASSERT_GE(h, 2);
  EXPECT_EQ(ReadLine(ctx_, h), u"x");  // the handler is in place
#if defined(__SANITIZE_ADDRESS__)
  // Under AddressSanitizer the handler before ours is the sanitizer's, which
  // reports the fault and exits: the fault still went to it.
  EXPECT_DEATH(raise(SIGBUS), "AddressSanitizer: BUS");
#else
  EXPECT_EXIT(raise(SIGBUS), ::testing::KilledBySignal(SIGBUS), "");
#endif
  EXPECT_EQ(Close(ctx_, h), 0);
}

}  // namespace
}  // namespace kp::test
