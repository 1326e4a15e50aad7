// kp160std — the key-string parser (see key_string.h). One pass, left to
// right; each character is looked at a bounded number of times (the name
// tables have fixed sizes), so the time is linear in the text plus the
// records made.
#include "system/key_string.h"

#include <algorithm>
#include <array>

namespace kp::system::keys {
namespace {

struct KeyName {
  std::u16string_view name;
  uint16_t vk;
};

// Matched in this order as prefixes: "F1" stays after "F16" so that it does
// not swallow "F10" ... "F16"; "ECHAP" is the escape key in both languages
// and "TAB" is listed once, as the original table has them.
constexpr std::array<KeyName, 57> kKeyTable = {{
    {u"RA", 8},           {u"BS", 8},          {u"PAUSE", 19},       {u"BREAK", 19},    {u"VERRMAJ", 20},
    {u"CAPSLOCK", 20},    {u"SUPPR", 46},      {u"DEL", 46},         {u"BAS", 40},      {u"DOWN", 40},
    {u"FIN", 35},         {u"END", 35},        {u"ENTREE", 13},      {u"ENTER", 13},    {u"ECHAP", 27},
    {u"ECHAP", 27},       {u"AIDE", 47},       {u"HELP", 47},        {u"ORIGINE", 36},  {u"HOME", 36},
    {u"INSER", 45},       {u"INSERT", 45},     {u"GAUCHE", 37},      {u"LEFT", 37},     {u"VERRNUM", 144},
    {u"NUMLOCK", 144},    {u"PGSUIV", 34},     {u"PGDN", 34},        {u"PGPREC", 33},   {u"PGUP", 33},
    {u"IMPRECR", 42},     {u"PRTSC", 42},      {u"DROITE", 39},      {u"RIGHT", 39},    {u"ARRETDEFIL", 145},
    {u"SCROLLLOCK", 145}, {u"TAB", 9},         {u"HAUT", 38},        {u"UP", 38},       {u"F2", 113},
    {u"F3", 114},         {u"F4", 115},        {u"F5", 116},         {u"F6", 117},      {u"F7", 118},
    {u"F8", 119},         {u"F9", 120},        {u"F10", 121},        {u"F11", 122},     {u"F12", 123},
    {u"F13", 124},        {u"F14", 125},       {u"F15", 126},        {u"F16", 127},     {u"F1", 112},
    {u"NUM+", 107},       {u"NUM-", 109},
}};

// Mouse messages, as the rows carry them.
constexpr uint32_t kMsgMove = 512;
constexpr uint32_t kMsgLeftDown = 513, kMsgLeftUp = 514, kMsgLeftDouble = 515;
constexpr uint32_t kMsgRightDown = 516, kMsgRightUp = 517, kMsgRightDouble = 518;
constexpr uint32_t kMsgMiddleDown = 519, kMsgMiddleUp = 520, kMsgMiddleDouble = 521;

struct MouseName {
  std::u16string_view name;
  uint32_t first;
  uint32_t second;  // 0 when the row has one message
};

constexpr std::array<MouseName, 26> kMouseTable = {{
    {u"BTNDROIT+", kMsgRightDown, 0},         {u"RIGHTBTN+", kMsgRightDown, 0},
    {u"BTNDROIT-", kMsgRightUp, 0},           {u"RIGHTBTN-", kMsgRightUp, 0},
    {u"BTNDROIT2", kMsgRightDouble, 0},       {u"RIGHTBTN2", kMsgRightDouble, 0},
    {u"BTNDROIT", kMsgRightDown, kMsgRightUp}, {u"RIGHTBTN", kMsgRightDown, kMsgRightUp},
    {u"BTNGAUCHE+", kMsgLeftDown, 0},         {u"LEFTBTN+", kMsgLeftDown, 0},
    {u"BTNGAUCHE-", kMsgLeftUp, 0},           {u"LEFTBTN-", kMsgLeftUp, 0},
    {u"BTNGAUCHE2", kMsgLeftDouble, 0},       {u"LEFTBTN2", kMsgLeftDouble, 0},
    {u"BTNGAUCHE", kMsgLeftDown, kMsgLeftUp},   {u"LEFTBTN", kMsgLeftDown, kMsgLeftUp},
    {u"BTNMILIEU+", kMsgMiddleDown, 0},       {u"MIDDLEBTN+", kMsgMiddleDown, 0},
    {u"BTNMILIEU-", kMsgMiddleUp, 0},         {u"MIDDLEBTN-", kMsgMiddleUp, 0},
    {u"BTNMILIEU2", kMsgMiddleDouble, 0},     {u"MIDDLEBTN2", kMsgMiddleDouble, 0},
    {u"BTNMILIEU", kMsgMiddleDown, kMsgMiddleUp}, {u"MIDDLEBTN", kMsgMiddleDown, kMsgMiddleUp},
    {u"SOURIS", kMsgMove, 0},                 {u"MOUSE", kMsgMove, 0},
}};

char16_t Upper(char16_t c) { return c >= u'a' && c <= u'z' ? char16_t(c - 32) : c; }

bool StartsWithNoCase(std::u16string_view text, std::u16string_view name) {
  if (text.size() < name.size()) return false;
  for (size_t i = 0; i < name.size(); ++i)
    if (Upper(text[i]) != name[i]) return false;
  return true;
}

const MouseName* MatchMouseName(std::u16string_view text, size_t* length) {
  for (const auto& row : kMouseTable) {
    if (StartsWithNoCase(text, row.name)) {
      *length = row.name.size();
      return &row;
    }
  }
  return nullptr;
}

bool IsExtended(uint16_t vk) { return vk >= 33 && vk <= 40; }

// One braced item's records before they are repeated: at most a character
// with all three shift states (8) or a double click with its move (5).
struct Item {
  std::array<InputRecord, 8> records;
  size_t size = 0;
  void push_back(const InputRecord& r) { records[size++] = r; }
  InputRecord* begin() { return records.data(); }
  InputRecord* end() { return records.data() + size; }
};

class Parser {
 public:
  Parser(std::u16string_view text, uint32_t options, const KeyStringEnv& env)
      : s_(text), options_(options), env_(env) {}

  ParseResult Run() {
    ParseResult result;
    // About two records a character; the limit caps what is reserved.
    out_.reserve(std::min(env_.maxRecords, s_.size() * 2 + 8));
    Items(&out_);
    if (error_ != ParseError::kNone) {
      result.error = error_;
      result.position = pos_;
      return result;  // nothing of a broken string is sent
    }
    result.records = std::move(out_);
    return result;
  }

 private:
  bool AtEnd() const { return pos_ >= s_.size(); }

  void Fail(ParseError e) {
    if (error_ == ParseError::kNone) error_ = e;
  }

  void Push(std::vector<InputRecord>* q, const InputRecord& r) {
    if (q->size() >= env_.maxRecords) {
      Fail(ParseError::kTooManyRecords);
      return;
    }
    q->push_back(r);
  }
  void Push(Item* item, const InputRecord& r) { item->push_back(r); }

  template <typename Q>
  void Key(Q* q, uint16_t vk, bool up) {
    InputRecord r;
    r.type = kKeyboard;
    r.vk = vk;
    r.flags = (up ? kKeyUp : 0) | (IsExtended(vk) ? kExtendedKey : 0);
    Push(q, r);
  }

  // Downs in the order Shift, Ctrl, Alt, and the ups in the same order.
  template <typename Q>
  void Modifiers(Q* q, unsigned bits, bool up) {
    if (bits & 1) Key(q, kVkShift, up);
    if (bits & 2) Key(q, kVkControl, up);
    if (bits & 4) Key(q, kVkMenu, up);
  }

  // A character typed by its own key and shift state, or by its code.
  template <typename Q>
  void Character(Q* q, char16_t c) {
    const int16_t scan = env_.vkKeyScan ? env_.vkKeyScan(c) : int16_t{-1};
    if (scan == -1) {
      InputRecord r;
      r.type = kKeyboard;
      r.scan = c;
      r.flags = kCharDown;
      Push(q, r);
      r.flags = kCharUp;
      Push(q, r);
      return;
    }
    const uint16_t vk = uint16_t(scan) & 0xFF;
    const unsigned shift = (uint16_t(scan) >> 8) & 7;
    Modifiers(q, shift, false);
    Key(q, vk, false);
    Key(q, vk, true);
    Modifiers(q, shift, true);
  }

  // atoi's reading: blanks, a sign, digits; saturates instead of overflowing.
  int64_t Number() {
    while (!AtEnd() && (s_[pos_] == u' ' || s_[pos_] == u'\t')) ++pos_;
    bool negative = false;
    if (!AtEnd() && (s_[pos_] == u'-' || s_[pos_] == u'+')) negative = s_[pos_++] == u'-';
    int64_t v = 0;
    while (!AtEnd() && s_[pos_] >= u'0' && s_[pos_] <= u'9') {
      if (v < (int64_t{1} << 40)) v = v * 10 + (s_[pos_] - u'0');
      ++pos_;
    }
    return negative ? -v : v;
  }

  void SkipUntil(std::u16string_view stops) {
    while (!AtEnd() && stops.find(s_[pos_]) == std::u16string_view::npos) ++pos_;
  }

  int32_t Scale(int64_t v, int32_t extent) const {
    if (extent <= 1) return 0;
    return int32_t(v * 65535 / (extent - 1));
  }

  void MouseEvents(Item* q, const MouseName& row, int32_t x, int32_t y) {
    if (env_.clientToScreen) env_.clientToScreen(&x, &y);
    InputRecord move;
    move.type = kMouse;
    move.x = Scale(x, env_.screenWidth);
    move.y = Scale(y, env_.screenHeight);
    move.flags = kMoveAbsolute;
    Push(q, move);
    auto button = [&](uint32_t flags) {
      InputRecord r;
      r.type = kMouse;
      r.flags = flags;
      Push(q, r);
    };
    auto message = [&](uint32_t m) {
      switch (m) {
        case kMsgLeftDown: button(kLeftDown); break;
        case kMsgLeftUp: button(kLeftUp); break;
        case kMsgLeftDouble: button(kLeftDown), button(kLeftUp), button(kLeftDown), button(kLeftUp); break;
        case kMsgRightDown: button(kRightDown); break;
        case kMsgRightUp: button(kRightUp); break;
        case kMsgRightDouble: button(kRightDown), button(kRightUp), button(kRightDown), button(kRightUp); break;
        case kMsgMiddleDown: button(kMiddleDown); break;
        case kMsgMiddleUp: button(kMiddleUp); break;
        case kMsgMiddleDouble:
          button(kMiddleDown), button(kMiddleUp), button(kMiddleDown), button(kMiddleUp);
          break;
        default: break;  // the move alone
      }
    };
    message(row.first);
    if (row.second) message(row.second);
  }

  void Braced(std::vector<InputRecord>* q) {
    ++pos_;  // "{"
    Item item;
    const std::u16string_view rest = s_.substr(pos_);
    size_t length = 0;
    const MouseName* mouse = (options_ & kMouseNames) ? MatchMouseName(rest, &length) : nullptr;
    uint16_t vk = 0;
    if (mouse) {
      pos_ += length;
      int64_t coordinates[2] = {0, 0};
      for (int i = 0; i < 2 && !AtEnd() && s_[pos_] == u','; ++i) {
        ++pos_;
        coordinates[i] = Number();
        SkipUntil(u",: }");
      }
      auto clamp = [](int64_t v) { return int32_t(v < -(1 << 30) ? -(1 << 30) : v > (1 << 30) ? (1 << 30) : v); };
      MouseEvents(&item, *mouse, clamp(coordinates[0]), clamp(coordinates[1]));
    } else if ((options_ & kKeyNames) && (vk = MatchKeyName(rest, &length)) != 0) {
      pos_ += length;
      Key(&item, vk, false);
      Key(&item, vk, true);
    } else {
      if (AtEnd()) return Fail(ParseError::kUnclosedBrace);
      Character(&item, s_[pos_++]);  // "{+}" types a plus sign
    }
    if (error_ != ParseError::kNone) return;
    if (!AtEnd() && s_[pos_] == u':') {
      ++pos_;
      const int64_t delay = Number();
      const uint32_t ms = delay < 0 ? 0 : delay > 0x7FFFFFFF ? 0x7FFFFFFF : uint32_t(delay);
      for (auto& r : item) r.delay = ms;
      SkipUntil(u" }");
    }
    int64_t repeat = 1;
    if (!AtEnd() && s_[pos_] == u' ') {
      ++pos_;
      repeat = Number();
    }
    SkipUntil(u"}");
    if (AtEnd()) return Fail(ParseError::kUnclosedBrace);
    ++pos_;  // "}"
    for (int64_t i = 0; i < repeat && error_ == ParseError::kNone; ++i)
      for (const auto& r : item) Push(q, r);
  }

  // Items one after another; a group pushes its modifiers and its ")" pops
  // them, so that deep nesting costs no stack.
  void Items(std::vector<InputRecord>* q) {
    std::vector<unsigned> groups;
    while (!AtEnd() && error_ == ParseError::kNone) {
      if (s_[pos_] == u')' && !groups.empty()) {
        ++pos_;
        Modifiers(q, groups.back(), true);
        groups.pop_back();
        continue;
      }
      unsigned mods = 0;
      for (; !AtEnd(); ++pos_) {
        const char16_t c = s_[pos_];
        if (c == u'+') mods |= 1;
        else if (c == u'^') mods |= 2;
        else if (c == u'%') mods |= 4;
        else break;
      }
      if (AtEnd()) return Fail(ParseError::kEndInModifiers);
      Modifiers(q, mods, false);
      const char16_t c = s_[pos_];
      if (c == u'(') {
        ++pos_;
        groups.push_back(mods);
        continue;
      }
      if (c == u'{') {
        Braced(q);
      } else {
        ++pos_;
        Character(q, c);
      }
      Modifiers(q, mods, true);
    }
    if (error_ == ParseError::kNone && !groups.empty()) Fail(ParseError::kUnclosedGroup);
  }

  std::u16string_view s_;
  uint32_t options_;
  const KeyStringEnv& env_;
  size_t pos_ = 0;
  ParseError error_ = ParseError::kNone;
  std::vector<InputRecord> out_;
};

}  // namespace

uint16_t MatchKeyName(std::u16string_view text, size_t* length) {
  for (const auto& row : kKeyTable) {
    if (StartsWithNoCase(text, row.name)) {
      *length = row.name.size();
      return row.vk;
    }
  }
  return 0;
}

ParseResult Parse(std::u16string_view keys, uint32_t options, const KeyStringEnv& env) {
  return Parser(keys, options, env).Run();
}

namespace {

// The US layout's punctuation keys: the character unshifted, shifted, and
// the key.
struct OemKey {
  char16_t plain, shifted;
  int16_t vk;
};
constexpr OemKey kOemKeys[] = {
    {u';', u':', 0xBA}, {u'=', u'+', 0xBB},  {u',', u'<', 0xBC}, {u'-', u'_', 0xBD},
    {u'.', u'>', 0xBE}, {u'/', u'?', 0xBF},  {u'`', u'~', 0xC0}, {u'[', u'{', 0xDB},
    {u'\\', u'|', 0xDC}, {u']', u'}', 0xDD}, {u'\'', u'"', 0xDE},
};
// Shift with the digit keys, from 0 up.
constexpr std::u16string_view kShiftedDigits = u")!@#$%^&*(";

}  // namespace

int16_t UsVkKeyScan(char16_t c) {
  constexpr int16_t kShift = 0x100;
  if (c >= u'a' && c <= u'z') return int16_t(c - u'a' + 'A');
  if (c >= u'A' && c <= u'Z') return int16_t(kShift | c);
  if (c >= u'0' && c <= u'9') return int16_t(c);
  switch (c) {
    case u' ': return 0x20;
    case u'\r': return 0x0D;
    case u'\n': return 0x20D;  // Ctrl+Enter, as the US layout answers
    case u'\t': return 0x09;
    case u'\b': return 0x08;
    default: break;
  }
  if (const size_t digit = kShiftedDigits.find(c); digit != std::u16string_view::npos)
    return int16_t(kShift | ('0' + digit));
  for (const OemKey& key : kOemKeys) {
    if (c == key.plain) return key.vk;
    if (c == key.shifted) return int16_t(kShift | key.vk);
  }
  return -1;
}

}  // namespace kp::system::keys
