// The library's own message block and the message lookup in front of it.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "abi/error_table.h"
#include "abi/message_block.h"
#include "abi/message_texts.h"
#include "abi/messages.h"
#include "abi/state.h"
#include "platform/format_message.h"
#include "support/fake_context.h"

namespace kp {
namespace {

using test::Utf8;

struct StateGuard {
  LibraryState saved = State();
  ~StateGuard() { State() = saved; }
};

std::string Plain(const char8_t* s) { return reinterpret_cast<const char*>(s); }

std::vector<uint32_t> UsedNumbers() {
  std::vector<uint32_t> numbers;
  for (const auto& row : gstErrorDef)
    if (row[kErrorText]) numbers.push_back(row[kErrorText]);
  for (uint32_t n = 28204; n <= 28222; ++n) numbers.push_back(n);  // days, then months
  for (uint32_t n : {25193u, 27904u, 28003u, 28011u, 28160u, 28259u, 28555u}) numbers.push_back(n);
  return numbers;
}

bool Neutral(uint32_t number) {
  for (const auto& m : kMessageTexts)
    if (m.number == number) return m.english == nullptr;
  return false;
}

TEST(MessageBlock, EveryUsedNumberResolvesInBothLanguages) {
  for (uint32_t n : UsedNumbers()) {
    const auto french = BlockMessageText(n, true);
    const auto english = BlockMessageText(n, false);
    ASSERT_TRUE(french && english) << n;
    EXPECT_FALSE(french->empty()) << n;
    if (!Neutral(n)) EXPECT_NE(*french, *english) << n;
  }
  EXPECT_EQ(*BlockMessageText(28210, true), u"dimanche");
  EXPECT_EQ(*BlockMessageText(28204, false), u"Monday");
  EXPECT_EQ(*BlockMessageText(28218, true), u"août");
}

TEST(MessageBlock, BlockDecodesToTheSourceTexts) {
  for (const auto& m : kMessageTexts) {
    EXPECT_EQ(Utf8(*BlockMessageText(m.number, true)), Plain(m.french)) << m.number;
    EXPECT_EQ(Utf8(*BlockMessageText(m.number, false)), Plain(m.english ? m.english : m.french)) << m.number;
  }
}

TEST(MessageBlock, LayoutMarkersAndCoding) {
  const auto bytes = MessageBlockBytes();
  const std::string block(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  EXPECT_EQ(block.rfind("KORVAN RES BLOC START", 0), 0u);
  ASSERT_GE(block.size(), 22u);
  EXPECT_EQ(block.substr(block.size() - 20), "KORVAN RES BLOC STOP");
  EXPECT_EQ(block.substr(block.size() - 22, 2), "\xFF\xFF");
  // coded: no text can be read from the bytes
  EXPECT_EQ(block.find("Date invalide"), std::string::npos);
  EXPECT_EQ(block.find("dimanche"), std::string::npos);

  const auto offsets = MessageBlockOffsets();
  ASSERT_EQ(offsets.size(), kMessageBlockRecords);
  for (size_t i = 1; i < offsets.size(); ++i) {
    const uint32_t previous = offsets[i - 1];
    EXPECT_EQ(offsets[i], previous + 4 + 4u * bytes[previous + 3]);
    EXPECT_EQ(bytes[offsets[i] - 1], 0) << "each text ends with zero padding";
  }
}

TEST(MessageBlock, BinarySearchFindsEveryRecord) {
  const auto bytes = MessageBlockBytes();
  uint16_t previous = 0;
  for (uint32_t offset : MessageBlockOffsets()) {
    const auto number = static_cast<uint16_t>(bytes[offset] | bytes[offset + 1] << 8);
    EXPECT_GT(number, previous);
    previous = number;
    EXPECT_EQ(FindMessageRecord(number), static_cast<int64_t>(offset)) << number;
  }
  EXPECT_EQ(FindMessageRecord(1), -1);
  EXPECT_EQ(FindMessageRecord(640), -1);
  EXPECT_EQ(FindMessageRecord(0xFFFF), -1);
}

TEST(MessageBlock, Attributes) {
  EXPECT_EQ(MessageAttribute(639), 1);
  EXPECT_EQ(MessageAttribute(28204), 3);
  EXPECT_EQ(MessageAttribute(28308), 4);
  EXPECT_EQ(MessageAttribute(FindErrorDef(81701)[kErrorText]), 2);
  EXPECT_EQ(MessageAttribute(640), -1);
  EXPECT_EQ(MessageAttribute(0), -1);
  EXPECT_EQ(MessageAttribute(639 | 0x8000), -1);  // the English twin is not a message of its own
  EXPECT_EQ(MessageAttribute(static_cast<uintptr_t>(-1)), -1);
}

TEST(MessageBlock, TextsAreWellFormedForTheFormatter) {
  const platform::FormatArgument args[3] = {{true, 0, u"x"}, {true, 0, u"y"}, {true, 0, u"z"}};
  for (const auto& m : kMessageTexts) {
    for (const char8_t* source : {m.french, m.english}) {
      if (!source) continue;
      const auto text = *BlockMessageText(m.number, source == m.french);
      const auto formatted = platform::FormatMessageFromString(text, args);
      ASSERT_TRUE(formatted) << m.number;
      EXPECT_EQ(formatted->find(u'%'), std::u16string::npos) << m.number << ": a marker was left";
    }
  }
}

uint32_t KL_CALL Vm(uint32_t number, kl_char* buffer, uint32_t capacity) {
  if (number != 639 || capacity < 3) return 0;
  buffer[0] = u'V';
  buffer[1] = u'M';
  buffer[2] = 0;
  return 2;
}

TEST(Messages, CallbackFirstThenBlockInTheCurrentLanguage) {
  StateGuard guard;
  State().messageCallback = nullptr;
  State().languageCode = KL_LANGUAGE_FRENCH;
  EXPECT_EQ(MessageText(28205), u"mardi");
  State().languageCode = 9;
  EXPECT_EQ(MessageText(28205), u"Tuesday");
  State().messageCallback = &Vm;
  EXPECT_EQ(MessageText(639), u"VM");
  EXPECT_EQ(MessageText(28205), u"Tuesday");
  EXPECT_FALSE(FetchMessageText(640));
  EXPECT_EQ(MessageText(640), u"");
}

TEST(Messages, CopyTruncatesAndTerminates) {
  StateGuard guard;
  State().messageCallback = nullptr;
  State().languageCode = KL_LANGUAGE_FRENCH;
  kl_char buffer[8];
  std::fill(std::begin(buffer), std::end(buffer), u'#');
  EXPECT_EQ(CopyMessageText(28206, buffer, 5), 4u);
  EXPECT_EQ(std::u16string(buffer), u"merc");
  EXPECT_EQ(CopyMessageText(28206, buffer, 0), 0u);
  EXPECT_EQ(CopyMessageText(28206, nullptr, 8), 0u);
  EXPECT_EQ(CopyMessageText(640, buffer, 8), 0u);
  EXPECT_EQ(CopyMessageText(28204, buffer, 8), 5u);
  EXPECT_EQ(std::u16string(buffer), u"lundi");
}

}  // namespace
}  // namespace kp
