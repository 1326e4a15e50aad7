// The key-string grammar on its own: the queue of records each string makes,
// with a US layout and a target whose client area starts at (100, 50) on a
// 1024 x 768 screen.
#include "system/key_string.h"

#include <gtest/gtest.h>

#include <string>

namespace kp::system::keys {
namespace {

constexpr uint32_t kAll = kKeyNames | kMouseNames;

KeyStringEnv Env() {
  KeyStringEnv env;
  env.vkKeyScan = UsVkKeyScan;
  env.clientToScreen = [](int32_t* x, int32_t* y) { *x += 100, *y += 50; };
  env.screenWidth = 1024;
  env.screenHeight = 768;
  return env;
}

InputRecord Down(uint16_t vk, uint32_t delay = 0) {
  return {kKeyboard, vk, 0, 0, 0, (vk >= 33 && vk <= 40) ? kExtendedKey : 0u, delay};
}
InputRecord Up(uint16_t vk, uint32_t delay = 0) {
  return {kKeyboard, vk, 0, 0, 0, kKeyUp | ((vk >= 33 && vk <= 40) ? kExtendedKey : 0u), delay};
}
InputRecord Button(uint32_t flags) { return {kMouse, 0, 0, 0, 0, flags, 0}; }
InputRecord Move(int32_t x, int32_t y) { return {kMouse, 0, 0, x, y, kMoveAbsolute, 0}; }

using Queue = std::vector<InputRecord>;

Queue Records(std::u16string_view keys, uint32_t options = kAll) {
  const ParseResult r = Parse(keys, options, Env());
  EXPECT_TRUE(r.ok()) << "error " << int(r.error) << " at " << r.position;
  return r.records;
}

std::string Show(const Queue& q) {
  std::string s;
  for (const auto& r : q)
    s += (r.type == kKeyboard ? "K" : "M") + std::to_string(r.vk) + "/" + std::to_string(r.scan) + "/" +
         std::to_string(r.x) + "," + std::to_string(r.y) + "/" + std::to_string(r.flags) + "/" +
         std::to_string(r.delay) + " ";
  return s;
}

#define EXPECT_QUEUE(keys, ...)                                         \
  do {                                                                  \
    const Queue got = Records(keys);                                    \
    const Queue want = __VA_ARGS__;                                     \
    EXPECT_EQ(got, want) << Show(got) << "\nwanted " << Show(want);     \
  } while (0)

TEST(KeyString, PlainCharactersAndModifiers) {
  EXPECT_QUEUE(u"abc", {Down('A'), Up('A'), Down('B'), Up('B'), Down('C'), Up('C')});
  // An explicit Shift around the letter's own (unshifted) key.
  EXPECT_QUEUE(u"+a", {Down(kVkShift), Down('A'), Up('A'), Up(kVkShift)});
  // A capital carries its own Shift inside the explicit one.
  EXPECT_QUEUE(u"+A", {Down(kVkShift), Down(kVkShift), Down('A'), Up('A'), Up(kVkShift), Up(kVkShift)});
  // Downs and ups both in the order Shift, Ctrl, Alt, whatever the prefix order.
  EXPECT_QUEUE(u"%^+x", {Down(kVkShift), Down(kVkControl), Down(kVkMenu), Down('X'), Up('X'), Up(kVkShift),
                         Up(kVkControl), Up(kVkMenu)});
  // Modifiers hold for one item only.
  EXPECT_QUEUE(u"^ab", {Down(kVkControl), Down('A'), Up('A'), Up(kVkControl), Down('B'), Up('B')});
  // No key in the layout: the character code, flags 8 then 10.
  EXPECT_QUEUE(u"é", {{kKeyboard, 0, u'é', 0, 0, kCharDown, 0}, {kKeyboard, 0, u'é', 0, 0, kCharUp, 0}});
  // A ")" with no group open is a character (Shift+0 on this layout).
  EXPECT_QUEUE(u")", {Down(kVkShift), Down('0'), Up('0'), Up(kVkShift)});
  EXPECT_QUEUE(u"", {});
}

TEST(KeyString, GroupsHoldTheirModifiers) {
  EXPECT_QUEUE(u"^(ab)", {Down(kVkControl), Down('A'), Up('A'), Down('B'), Up('B'), Up(kVkControl)});
  EXPECT_QUEUE(u"+(a%(b))c", {Down(kVkShift), Down('A'), Up('A'), Down(kVkMenu), Down('B'), Up('B'), Up(kVkMenu),
                              Up(kVkShift), Down('C'), Up('C')});
  EXPECT_QUEUE(u"()", {});
  // Nesting costs no stack: a hundred thousand levels parse.
  std::u16string deep(100000, u'(');
  deep += u'a';
  deep += std::u16string(100000, u')');
  EXPECT_EQ(Records(deep).size(), 2u);
}

TEST(KeyString, BracedKeyNames) {
  EXPECT_QUEUE(u"{ENTER 3}", {Down(13), Up(13), Down(13), Up(13), Down(13), Up(13)});
  EXPECT_QUEUE(u"{ENTREE}", {Down(13), Up(13)});
  EXPECT_QUEUE(u"{F1}", {Down(112), Up(112)});
  EXPECT_QUEUE(u"{f1}", {Down(112), Up(112)});
  EXPECT_QUEUE(u"{F12}", {Down(123), Up(123)});
  EXPECT_QUEUE(u"{F10}", {Down(121), Up(121)});  // not swallowed by F1
  EXPECT_QUEUE(u"{F16}", {Down(127), Up(127)});
  EXPECT_QUEUE(u"{ECHAP}", {Down(27), Up(27)});
  // No "ESC": its E is the key, the rest up to "}" skipped.
  EXPECT_QUEUE(u"{ESC}", {Down(kVkShift), Down('E'), Up('E'), Up(kVkShift)});
  EXPECT_QUEUE(u"{tab}", {Down(9), Up(9)});
  EXPECT_QUEUE(u"{NUM+}{NUM-}", {Down(107), Up(107), Down(109), Up(109)});
  // Names match as prefixes: DELETE is DEL, and the rest is skipped.
  EXPECT_QUEUE(u"{DELETE}", {Down(46), Up(46)});
  // Page up/down, end, home and the arrows are extended keys.
  EXPECT_QUEUE(u"{HOME}{PGDN}", {Down(36), Up(36), Down(34), Up(34)});
  EXPECT_EQ(Records(u"{UP}")[0].flags, kExtendedKey);
  EXPECT_EQ(Records(u"{UP}")[1].flags, kKeyUp | kExtendedKey);
  EXPECT_EQ(Records(u"{INSERT}")[0].flags, 0u);
  // Characters the grammar uses are typed from braces.
  EXPECT_QUEUE(u"{+}", {Down(kVkShift), Down(0xBB), Up(0xBB), Up(kVkShift)});
  EXPECT_QUEUE(u"{(}{{}", {Down(kVkShift), Down('9'), Up('9'), Up(kVkShift), Down(kVkShift), Down(0xDB), Up(0xDB),
                           Up(kVkShift)});
  // Modifiers before a braced name.
  EXPECT_QUEUE(u"^{F4}", {Down(kVkControl), Down(115), Up(115), Up(kVkControl)});
}

TEST(KeyString, DelaysAndRepeats) {
  EXPECT_QUEUE(u"{a:50 2}", {Down('A', 50), Up('A', 50), Down('A', 50), Up('A', 50)});
  EXPECT_QUEUE(u"{ENTER:20ms}", {Down(13, 20), Up(13, 20)});
  EXPECT_QUEUE(u"{ENTER 0}", {});
  EXPECT_QUEUE(u"{ENTER -4}", {});
  EXPECT_QUEUE(u"{ENTERjunk}", {Down(13), Up(13)});  // no space: the junk is skipped
  EXPECT_QUEUE(u"{ENTER junk}", {});                 // a count read as atoi reads it: 0
}

TEST(KeyString, MouseNames) {
  // Client (10, 20) is screen (110, 70), scaled by 65535 / (extent - 1).
  const InputRecord at = Move(110 * 65535 / 1023, 70 * 65535 / 767);
  EXPECT_QUEUE(u"{LEFTBTN,10,20}", {at, Button(kLeftDown), Button(kLeftUp)});
  EXPECT_QUEUE(u"{BTNGAUCHE,10,20}", {at, Button(kLeftDown), Button(kLeftUp)});
  EXPECT_QUEUE(u"{leftbtn,10px,20px}", {at, Button(kLeftDown), Button(kLeftUp)});
  EXPECT_QUEUE(u"{RIGHTBTN2,10,20}",
               {at, Button(kRightDown), Button(kRightUp), Button(kRightDown), Button(kRightUp)});
  EXPECT_QUEUE(u"{MIDDLEBTN+,10,20}{MIDDLEBTN-,10,20}", {at, Button(kMiddleDown), at, Button(kMiddleUp)});
  EXPECT_QUEUE(u"{MOUSE,10,20}", {at});
  EXPECT_QUEUE(u"{SOURIS}", {Move(100 * 65535 / 1023, 50 * 65535 / 767)});  // no coordinates: the client origin
  EXPECT_QUEUE(u"{LEFTBTN,10,20:5 2}", {{kMouse, 0, 0, at.x, at.y, kMoveAbsolute, 5}, {kMouse, 0, 0, 0, 0, kLeftDown, 5},
                                        {kMouse, 0, 0, 0, 0, kLeftUp, 5}, {kMouse, 0, 0, at.x, at.y, kMoveAbsolute, 5},
                                        {kMouse, 0, 0, 0, 0, kLeftDown, 5}, {kMouse, 0, 0, 0, 0, kLeftUp, 5}});
  // Without mouse names, LEFTBTN is the LEFT arrow and BTN is skipped.
  EXPECT_EQ(Records(u"{LEFTBTN}", kKeyNames), (Queue{Down(37), Up(37)}));
  // Without key names, ENTER is its E.
  EXPECT_EQ(Records(u"{ENTER}", kMouseNames), (Queue{Down(kVkShift), Down('E'), Up('E'), Up(kVkShift)}));
}

TEST(KeyString, ErrorsSendNothing) {
  const std::pair<std::u16string_view, ParseError> cases[] = {
      {u"{ENTER", ParseError::kUnclosedBrace}, {u"ab{", ParseError::kUnclosedBrace},
      {u"{a:5", ParseError::kUnclosedBrace},   {u"(ab", ParseError::kUnclosedGroup},
      {u"((a)", ParseError::kUnclosedGroup},   {u"ab+", ParseError::kEndInModifiers},
      {u"(^)", ParseError::kUnclosedGroup},   {u"{LEFTBTN,1,2", ParseError::kUnclosedBrace},
  };
  for (const auto& [keys, error] : cases) {
    const ParseResult r = Parse(keys, kAll, Env());
    EXPECT_EQ(r.error, error) << std::string(keys.begin(), keys.end());
    EXPECT_TRUE(r.records.empty());
  }
  // "(^)": the ")" after a prefix is the prefix's item, so the group closes only at a second ")".
  EXPECT_QUEUE(u"(^))", {Down(kVkControl), Down(kVkShift), Down('0'), Up('0'), Up(kVkShift), Up(kVkControl)});
  // A repeat count past the queue's limit is memory exhaustion, found before the memory is spent.
  KeyStringEnv env = Env();
  env.maxRecords = 1000;
  const ParseResult big = Parse(u"{a 999999999}", kAll, env);
  EXPECT_EQ(big.error, ParseError::kTooManyRecords);
  EXPECT_TRUE(big.records.empty());
  EXPECT_TRUE(Parse(u"{a 500}", kAll, env).ok());  // exactly 1000 records
  EXPECT_FALSE(Parse(u"{a 500}b", kAll, env).ok());
}

TEST(KeyString, NoLayoutTypesEveryCharacterByItsCode) {
  KeyStringEnv env;  // no layout, no target
  const ParseResult r = Parse(u"a", kAll, env);
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.records, (Queue{{kKeyboard, 0, u'a', 0, 0, kCharDown, 0}, {kKeyboard, 0, u'a', 0, 0, kCharUp, 0}}));
}

}  // namespace
}  // namespace kp::system::keys
