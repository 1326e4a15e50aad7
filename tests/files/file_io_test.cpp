// The handle table and the file-handle functions, called as the entry
// functions call them.
#include "files/file_io.h"
#include "files/files_fixture.h"

namespace kp::test {
namespace {

using namespace kp::files;

using HandleTableTest = FilesTest;
using FileIo = FilesTest;

std::string BytesOf(const Value& v) {
  const auto& b = std::get<Bytes>(v);
  return std::string(b.begin(), b.end());
}

TEST_F(HandleTableTest, FirstHandleIsTwoAndReleasedNumbersAreReusedFirst) {
  PutFile("a", "");
  const int32_t h2 = Open(ctx_, u"\\a", foRead);
  const int32_t h3 = Open(ctx_, u"\\a", foRead);
  const int32_t h4 = Open(ctx_, u"\\a", foRead);
  EXPECT_EQ(h2, 2);
  EXPECT_EQ(h3, 3);
  EXPECT_EQ(h4, 4);
  EXPECT_EQ(Close(ctx_, h3), 0);
  EXPECT_EQ(Open(ctx_, u"\\a", foRead), 3);
  EXPECT_EQ(Close(ctx_, 4), 0);
  EXPECT_EQ(Close(ctx_, 3), 0);
  EXPECT_EQ(Open(ctx_, u"\\a", foRead), 3);  // the last released comes back first
  EXPECT_EQ(Open(ctx_, u"\\a", foRead), 4);
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(HandleTableTest, PlaceholdersAndUnusedSlotsAreInvalid) {
  for (int32_t h : {0, 1, 2, 7, -1}) {
    ctx_.clearError();
    EXPECT_EQ(Close(ctx_, h), -1);
    EXPECT_EQ(ctx_.errorId(), 80022);
  }
  ctx_.clearError();
  EXPECT_EQ(ReadLine(ctx_, 0), u"");
  EXPECT_EQ(ctx_.errorId(), 80022);
}

TEST_F(HandleTableTest, GrowsByFiveAndClosesEverything) {
  PutFile("a", "");
  HandleTable& table = Handles();
  EXPECT_EQ(table.capacity(), 5);
  std::vector<int32_t> handles;
  for (int i = 0; i < 9; ++i) handles.push_back(Open(ctx_, u"\\a", foRead));
  EXPECT_EQ(handles.back(), 10);
  EXPECT_EQ(table.capacity(), 15);
  EXPECT_EQ(table.inUse(), 11);
  table.CloseAll();
  EXPECT_EQ(table.inUse(), 2);
  EXPECT_EQ(Open(ctx_, u"\\a", foRead), 2);
}

TEST_F(FileIo, RelativeNamesAreRefusedAndPortsAccepted) {
  EXPECT_EQ(Open(ctx_, u"a.txt", foRead), -1);
  EXPECT_EQ(ctx_.errorId(), 80600);
  ctx_.clearError();
  EXPECT_EQ(Open(ctx_, u"", foRead), -1);
  EXPECT_EQ(ctx_.errorId(), 80600);
  ctx_.clearError();
  // A port name passes the rule; the device has no such port: a system error.
  EXPECT_EQ(Open(ctx_, u"COM1:", foRead), -1);
  EXPECT_NE(ctx_.errorId(), 80600);
  EXPECT_NE(ctx_.systemError(), 0u);
  ctx_.clearError();
  EXPECT_EQ(Open(ctx_, u"\\missing.txt", foRead), -1);
  EXPECT_EQ(ctx_.systemError(), 2u);
}

TEST_F(FileIo, AFailedOpenIsTracedWithItsMessage) {
  ctx_.traceActive = true;
  EXPECT_EQ(Open(ctx_, u"\\missing\\a.txt", foRead), -1);
  ASSERT_EQ(ctx_.trace.size(), 1u);
  EXPECT_TRUE(ctx_.trace[0].starts_with(u"L'ouverture de <\\missing\\a.txt> a échoué après "));
}

TEST_F(FileIo, LinesEndOnlyAtCrLf) {
  PutFile("l.txt", std::string("a\nb\r\nc"));
  const int32_t h = Open(ctx_, u"\\l.txt", foRead);
  EXPECT_EQ(ReadLine(ctx_, h), u"a\nb");
  EXPECT_EQ(ReadLine(ctx_, h), u"c");
  EXPECT_EQ(ReadLine(ctx_, h), kEndOfFile);
  EXPECT_EQ(ReadLine(ctx_, h), kEndOfFile);
}

TEST_F(FileIo, LongLinesAcrossThePieceAndBlockEdges) {
  // Lengths around 50 (piece) and 160 (block), CR LF split across the block edge.
  std::string content;
  std::vector<size_t> lengths = {0, 49, 50, 51, 120, 158, 159, 160, 161, 320, 1000};
  for (size_t n : lengths) {
    for (size_t i = 0; i < n; ++i) content += char('a' + (i + n) % 26);
    content += "\r\n";
  }
  content += "tail";
  PutFile("long.txt", content);
  const int32_t h = Open(ctx_, u"\\long.txt", foRead);
  for (size_t n : lengths) {
    std::u16string expected;
    for (size_t i = 0; i < n; ++i) expected += char16_t('a' + (i + n) % 26);
    EXPECT_EQ(ReadLine(ctx_, h), expected) << n;
  }
  EXPECT_EQ(ReadLine(ctx_, h), u"tail");
  EXPECT_EQ(ReadLine(ctx_, h), kEndOfFile);
}

// Each line is handed out from the handle's own buffer, reused from line to
// line: a short line after a long one, a converted line after ASCII ones,
// and another handle's lines in between all come out as themselves.
TEST_F(FileIo, EachLineIsWholeWhateverCameBeforeIt) {
  const std::string longAscii(1000, 'L');
  std::string longAccented(700, 'a');
  longAccented[350] = '\xE9';
  PutFile("mixed.txt", longAscii + "\r\nshort\r\n\r\n" + longAccented + "\r\n\xE9t\xE9\r\nx");
  PutFile("other.txt", "first\r\nsecond");
  const int32_t h = Open(ctx_, u"\\mixed.txt", foRead);
  const int32_t o = Open(ctx_, u"\\other.txt", foRead);
  ASSERT_GE(h, 2);
  ASSERT_GE(o, 2);
  std::u16string accented(700, u'a');
  accented[350] = u'\u00e9';
  EXPECT_EQ(ReadLine(ctx_, h), std::u16string(1000, u'L'));
  const std::u16string_view first = ReadLine(ctx_, o);
  EXPECT_EQ(ReadLine(ctx_, h), u"short");
  EXPECT_EQ(first, u"first");
  EXPECT_EQ(ReadLine(ctx_, h), u"");
  EXPECT_EQ(ReadLine(ctx_, h), accented);
  EXPECT_EQ(ReadLine(ctx_, h), u"\u00e9t\u00e9");
  EXPECT_EQ(ReadLine(ctx_, o), u"second");
  EXPECT_EQ(ReadLine(ctx_, h), u"x");
  EXPECT_EQ(ReadLine(ctx_, h), kEndOfFile);
  EXPECT_EQ(ReadLine(ctx_, o), kEndOfFile);
}

TEST_F(FileIo, UnicodeLinesAndMarks) {
  const int32_t h = Create(ctx_, u"\\u.txt", foUnicode);
  ASSERT_GE(h, 2);
  EXPECT_EQ(GetFile("u.txt"), "\xFF\xFE");
  EXPECT_TRUE(WriteLine(ctx_, h, u"é€"));
  EXPECT_TRUE(WriteLine(ctx_, h, std::u16string(130, u'x')));
  EXPECT_EQ(Close(ctx_, h), 0);
  EXPECT_EQ(GetFile("u.txt").substr(0, 10), std::string("\xFF\xFE\xE9\x00\xAC\x20\x0D\x00\x0A\x00", 10));
  const int32_t r = Open(ctx_, u"\\u.txt", foRead | foUnicode);
  EXPECT_EQ(ReadLine(ctx_, r), u"é€");
  EXPECT_EQ(ReadLine(ctx_, r), std::u16string(130, u'x'));
  EXPECT_EQ(ReadLine(ctx_, r), kEndOfFile);
  // Without a mark the file is read from its first byte, still as UTF-16.
  PutFile("nomark.txt", std::string("h\0i\0\r\0\n\0", 8));
  const int32_t n = Open(ctx_, u"\\nomark.txt", foRead | foUnicode);
  EXPECT_EQ(ReadLine(ctx_, n), u"hi");
}

TEST_F(FileIo, AnsiLinesGoThroughTheCodePage) {
  const int32_t h = Create(ctx_, u"\\a.txt", 0);
  EXPECT_TRUE(WriteLine(ctx_, h, u"é€ж"));
  EXPECT_EQ(GetFile("a.txt"), "\xE9\x80?\r\n");
  EXPECT_EQ(Seek(ctx_, h, 0, 0), 0);
  EXPECT_EQ(ReadLine(ctx_, h), u"é€?");
  // The buffer form always ends with a UTF-16 line end, even in an ANSI file.
  const char raw[] = "ab";
  EXPECT_TRUE(WriteLineFromAddress(ctx_, h, reinterpret_cast<uintptr_t>(raw), 2));
  EXPECT_EQ(GetFile("a.txt"), std::string("\xE9\x80?\r\nab\x0D\x00\x0A\x00", 11));
}

TEST_F(FileIo, CreateIfNotExistWritesTheMarkOnlyWhenNew) {
  const int32_t h = Open(ctx_, u"\\c.txt", foReadWrite | foCreateIfNotExist | foUnicode);
  EXPECT_TRUE(WriteLine(ctx_, h, u"1"));
  Close(ctx_, h);
  const int32_t again = Open(ctx_, u"\\c.txt", foReadWrite | foCreateIfNotExist | foUnicode);
  EXPECT_EQ(ReadLine(ctx_, again), u"1");
  Close(ctx_, again);
  const int32_t add = Open(ctx_, u"\\c.txt", foWrite | foAdd | foUnicode);
  EXPECT_TRUE(WriteLine(ctx_, add, u"2"));
  Close(ctx_, add);
  EXPECT_EQ(GetFile("c.txt"), std::string("\xFF\xFE" "1\0\r\0\n\0" "2\0\r\0\n\0", 14));
}

TEST_F(FileIo, ReadOnlyFileOpensForReadingOnlyAndWriteOnlyRetry) {
  PutFile("ro.txt", "data\r\n");
  chmod(Host("ro.txt").c_str(), 0444);
  EXPECT_EQ(Open(ctx_, u"\\ro.txt", foReadWrite), -1);
  EXPECT_EQ(ctx_.systemError(), 5u);
  ctx_.clearError();
  const int32_t h = Open(ctx_, u"\\ro.txt", foRead);
  EXPECT_EQ(ReadLine(ctx_, h), u"data");
  EXPECT_EQ(Write(ctx_, h, std::span<const uint8_t>(reinterpret_cast<const uint8_t*>("x"), 1), -1), -1);
  EXPECT_EQ(ctx_.systemError(), 5u);
}

TEST_F(FileIo, BytesSeekAndSize) {
  const int32_t h = Create(ctx_, u"\\b.bin", 0);
  const uint8_t data[] = {1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(Write(ctx_, h, data, -1), 8);
  EXPECT_EQ(Write(ctx_, h, data, 3), 3);
  EXPECT_EQ(SizeOfHandle(ctx_, h), 11);
  EXPECT_EQ(Seek(ctx_, h, 2, 0), 2);
  EXPECT_EQ(BytesOf(Read(ctx_, h, 3)), std::string("\3\4\5"));
  EXPECT_EQ(Seek(ctx_, h, -1, 2), 10);
  EXPECT_EQ(BytesOf(Read(ctx_, h, 100)), std::string("\3"));
  EXPECT_EQ(BytesOf(Read(ctx_, h, 100)), "");
  // A failure answers the empty text, the end of the file an empty buffer.
  EXPECT_EQ(Read(ctx_, h, -1), Value{std::u16string()});
  EXPECT_EQ(Seek(ctx_, h, 0, 3), -1);
  EXPECT_EQ(ctx_.errorId(), 80023);
  ctx_.clearError();
  EXPECT_EQ(Seek(ctx_, h, -100, 1), -1);
  EXPECT_EQ(ctx_.systemError(), 131u);
  uint8_t target[4] = {};
  Seek(ctx_, h, 0, 0);
  EXPECT_EQ(ReadToAddress(ctx_, h, 4, reinterpret_cast<uintptr_t>(target)), 4);
  EXPECT_EQ(target[3], 4);
  EXPECT_EQ(WriteFromAddress(ctx_, h, reinterpret_cast<uintptr_t>(target), 2), 2);
  ctx_.clearError();
  EXPECT_EQ(ReadToAddress(ctx_, h, 4, 16), 0);
  EXPECT_EQ(ctx_.errorId(), 81812);
  EXPECT_EQ(NameOfFile(ctx_, h), u"\\b.bin");
}

TEST_F(FileIo, ChangeSizeRestoresAPosition) {
  const int32_t h = Create(ctx_, u"\\c.bin", 0);
  Write(ctx_, h, std::span<const uint8_t>(reinterpret_cast<const uint8_t*>("0123456789"), 10), -1);
  EXPECT_TRUE(ChangeSize(ctx_, h, 4));  // position 10 is past the new end
  EXPECT_EQ(Seek(ctx_, h, 0, 1), 4);
  Seek(ctx_, h, 2, 0);
  EXPECT_TRUE(ChangeSize(ctx_, h, 20));
  EXPECT_EQ(Seek(ctx_, h, 0, 1), 2);
  Seek(ctx_, h, 0, 0);
  EXPECT_TRUE(ChangeSize(ctx_, h, 8));
  EXPECT_EQ(Seek(ctx_, h, 0, 1), 0);
  EXPECT_EQ(SizeOfHandle(ctx_, h), 8);
  EXPECT_FALSE(ChangeSize(ctx_, 1, 8));
  EXPECT_EQ(ctx_.errorId(), 80022);
}

// A context whose by-reference assignments land in a map, for the pattern form.
struct AssigningContext {
  ExecContext base{&kOps, nullptr};
  CXError error{};
  std::map<KLVariant*, std::u16string> assigned;
  static AssigningContext* Self(ExecContext* c) { return reinterpret_cast<AssigningContext*>(c); }
  static int32_t KL_CALL Assign(ExecContext* c, KLVariant* ref, const KLValue* v) {
    Self(c)->assigned[ref] = std::u16string(v->u.text ? v->u.text : u"", v->size);
    return 1;
  }
  static const ExecContextOps kOps;
};
const ExecContextOps AssigningContext::kOps = [] {
  ExecContextOps ops{};
  ops.AssignReference = &AssigningContext::Assign;
  return ops;
}();

TEST_F(FileIo, PatternFormAssignsGroupsInOrder) {
  PutFile("p.txt", "key=value\r\nno match here\r\n");
  const int32_t h = Open(ctx_, u"\\p.txt", foRead);
  AssigningContext a;
  KLVariant v1{}, v2{};
  const VariantArg vars[] = {VariantArg(&v1), VariantArg(&v2)};
  EXPECT_TRUE(ReadLineInto(&a.base, h, u"(\\w+)=(\\w+)", vars));
  EXPECT_EQ(a.assigned[&v1], u"key");
  EXPECT_EQ(a.assigned[&v2], u"value");
  a.assigned.clear();
  a.assigned[&v1] = u"stale";
  EXPECT_TRUE(ReadLineInto(&a.base, h, u"(\\d+)", vars));
  EXPECT_EQ(a.assigned[&v1], u"");
  EXPECT_FALSE(a.assigned.count(&v2));
  EXPECT_FALSE(ReadLineInto(&a.base, h, u"(", vars));
}

}  // namespace
}  // namespace kp::test
