// kp160std — the key-string grammar of EnvoieTouche, parsed into a queue of
// synthetic input records, with no display involved.
//
// A key string reads left to right: modifier prefixes ("+" Shift, "^" Ctrl,
// "%" Alt) before an item; an item is a plain character, a group "( ... )"
// whose items are typed with the group's modifiers held, or a braced name
// ("{ENTER 3}", "{F12:50}", "{LEFTBTN,10,20}"). What the parser needs from the
// outside world (the keyboard layout, where the target's client area lies on
// the screen, the screen's size) comes through KeyStringEnv, so the grammar is
// tested without a display and the same queue plays on every backend.
//
// Records use the platform's input-record numbers: keyboard flags 2 (up),
// 1 (extended key), 8/10 (character code down/up); mouse flags 0x8001
// (absolute move), 2/4 left, 8/16 right, 32/64 middle.
//
// Thread-safety: pure functions over their arguments.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

namespace kp::system::keys {

// Parse options.
constexpr uint32_t kKeyNames = 1;    // braced keyboard names ({ENTER}) allowed
constexpr uint32_t kMouseNames = 2;  // braced mouse names ({LEFTBTN}) allowed, tried first
constexpr uint32_t kNoTarget = 4;    // played without bringing a window forward

// Record kinds, as the platform's input record numbers them.
constexpr uint32_t kMouse = 0;
constexpr uint32_t kKeyboard = 1;

// Keyboard flags.
constexpr uint32_t kExtendedKey = 1;
constexpr uint32_t kKeyUp = 2;
constexpr uint32_t kCharDown = 8;
constexpr uint32_t kCharUp = 10;

// Mouse flags.
constexpr uint32_t kMoveAbsolute = 0x8001;
constexpr uint32_t kLeftDown = 2, kLeftUp = 4;
constexpr uint32_t kRightDown = 8, kRightUp = 16;
constexpr uint32_t kMiddleDown = 32, kMiddleUp = 64;

// Virtual keys of the modifiers.
constexpr uint16_t kVkShift = 16, kVkControl = 17, kVkMenu = 18;

// One input record. Keyboard: vk and scan (the character code for a
// character record), flags. Mouse: x and y normalised to 0..65535 for a move
// (0 for a button record), flags. delay is in milliseconds, 0 for none; the
// player makes it absolute.
struct InputRecord {
  uint32_t type = kKeyboard;
  uint16_t vk = 0;
  uint16_t scan = 0;
  int32_t x = 0;
  int32_t y = 0;
  uint32_t flags = 0;
  uint32_t delay = 0;
  bool operator==(const InputRecord&) const = default;
};

struct KeyStringEnv {
  // The character's virtual key in the low byte and its shift state in the
  // high byte (1 Shift, 2 Ctrl, 4 Alt), or -1 when no key types it
  // (VkKeyScan's contract).
  std::function<int16_t(char16_t)> vkKeyScan;
  // Client coordinates of the target to screen coordinates; identity when
  // absent.
  std::function<void(int32_t* x, int32_t* y)> clientToScreen;
  int32_t screenWidth = 1;
  int32_t screenHeight = 1;
  // Beyond this many records the queue counts as memory exhausted: a repeat
  // count of a billion must fail, not take the machine.
  size_t maxRecords = size_t{1} << 20;
};

enum class ParseError {
  kNone,
  kEndInModifiers,  // "+" with nothing after it
  kUnclosedGroup,   // "(ab"
  kUnclosedBrace,   // "{ENTER"
  kTooManyRecords,  // the queue would pass maxRecords
};

struct ParseResult {
  ParseError error = ParseError::kNone;
  size_t position = 0;  // where the parse stopped on an error
  std::vector<InputRecord> records;  // empty on an error
  bool ok() const { return error == ParseError::kNone; }
};

ParseResult Parse(std::u16string_view keys, uint32_t options, const KeyStringEnv& env);

// The virtual key of a braced keyboard name matched as a case-insensitive
// prefix of `text`, in table order, with the length of the name; 0 when none.
uint16_t MatchKeyName(std::u16string_view text, size_t* length);

// A US-English layout for VkKeyScan, as the Windows "US" keyboard answers:
// letters, digits and the ASCII punctuation of a 101-key board; -1 for the
// rest. The parser tests and platforms without a layout service use it.
int16_t UsVkKeyScan(char16_t c);

}  // namespace kp::system::keys
