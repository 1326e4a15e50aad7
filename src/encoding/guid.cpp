// kp160std — unique identifiers.
#include "encoding/guid.h"

namespace kp::encoding {
namespace {

void Hex(std::u16string& out, uint32_t value, int digits) {
  constexpr char16_t kDigits[] = u"0123456789abcdef";
  for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) out.push_back(kDigits[(value >> shift) & 15]);
}

}  // namespace

std::u16string FormatGuid(const platform::Guid& g, bool braces) {
  std::u16string out;
  out.reserve(38);
  if (braces) out.push_back(u'{');
  Hex(out, g.data1, 8);
  if (braces) out.push_back(u'-');
  Hex(out, g.data2, 4);
  if (braces) out.push_back(u'-');
  Hex(out, g.data3, 4);
  if (braces) out.push_back(u'-');
  for (int i = 0; i < 8; ++i) {
    if (braces && i == 2) out.push_back(u'-');
    Hex(out, g.data4[i], 2);
  }
  if (braces) out.push_back(u'}');
  return out;
}

// A failure is not reported as an error: the empty text says it.
std::u16string GetGuid(ExecContext*, bool braces) {
  platform::Guid g;
  if (!platform::CreateGuid(g)) return {};
  return FormatGuid(g, braces);
}

}  // namespace kp::encoding
