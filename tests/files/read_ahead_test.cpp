// fLitLigne reads ahead in a buffer of the stream's own: lines, positions
// and the other handle operations must stay those of the 50-byte pieces read
// straight from the file, and a change made through any handle or name of
// this process must never leave stale bytes behind.
#include <random>

#include "files/file_io.h"
#include "files/files_fixture.h"
#include "files/paths.h"
#include "files/text.h"
#include "platform/codepage.h"
#include "platform/filesystem.h"
#include "project/stream.h"

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

}  // namespace
}  // namespace kp::test
