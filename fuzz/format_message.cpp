// Fuzz target: the message formatter and the error record's use of it.
//
// Input: byte 0 is the number of inserts (mod 8); each insert is a text when
// the next byte is odd, else a number from the following 8 bytes; the rest is
// the message text as UTF-16.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "abi/error.h"
#include "platform/format_message.h"
#include <cstdlib>

namespace {

// A record whose texts live on the heap, as a VM's would.
void KL_CALL Assign(CXError*, KLErrorText* f, const kl_char* t, uint32_t n) {
  std::free(f->text);
  f->text = static_cast<kl_char*>(std::malloc((n + 1) * sizeof(kl_char)));
  if (n) std::memcpy(f->text, t, n * sizeof(kl_char));
  f->text[n] = 0;
  f->length = n;
  f->capacity = n + 1;
}
void KL_CALL Grow(CXError*, KLErrorText*, uint32_t) {}
void KL_CALL AssignSystem(CXError* r, KLErrorText* f, kl_char* t) {
  std::free(f->text);
  *f = KLErrorText{t, 0, 0};
}
void KL_CALL Append(CXError* r, KLErrorText* f, const kl_char* t, uint32_t n) {
  std::u16string joined = f->text ? std::u16string(f->text, f->length) : std::u16string();
  joined.append(t, n);
  Assign(r, f, joined.data(), static_cast<uint32_t>(joined.size()));
}
void KL_CALL ClearText(CXError*, KLErrorText* f) {
  std::free(f->text);
  *f = KLErrorText{};
}
const CXErrorOps kOps{&Assign, &Grow, &AssignSystem, &Append, &ClearText};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  size_t at = 1;
  const size_t count = data[0] % 8;
  std::vector<std::u16string> texts;
  std::vector<kp::platform::FormatArgument> arguments;
  texts.reserve(count);
  for (size_t i = 0; i < count && at < size; ++i) {
    const bool isText = data[at++] & 1;
    if (isText) {
      const size_t n = at < size ? data[at++] : 0;
      std::u16string t;
      for (size_t k = 0; k < n && at < size; ++k) t += static_cast<char16_t>(data[at++]);
      texts.push_back(std::move(t));
      arguments.push_back({true, 0, texts.back()});
    } else {
      uint64_t v = 0;
      for (int k = 0; k < 8 && at < size; ++k) v = v << 8 | data[at++];
      arguments.push_back({false, v, {}});
    }
  }
  std::u16string text;
  for (; at + 1 < size; at += 2) text += static_cast<char16_t>(data[at] | data[at + 1] << 8);

  const auto out = kp::platform::FormatMessageFromString(text, arguments);
  if (out && out->size() > text.size() * (kp::platform::kMaxFieldWidth + 1) + 64 * 256 * arguments.size() + 16)
    __builtin_trap();  // no output may grow without bound

  // The same text through the error record (the not-formatted path too),
  // twice so that the second message is appended to the first.
  CXError record{};
  record.ops = &kOps;
  record.level = 1;
  kp::AddInternalMessage(&record, text, {});
  kp::RaiseInternal(&record, u"Fuzz", text, {});
  kp::SetInfoItem(&record, 1 + data[0] % 33, std::u16string_view(text));
  kp::Clear(&record);
  return 0;
}
