// The column list of TableVersTexte on arbitrary text: the first byte is the
// table's column count, the rest the list in UTF-16. An accepted list names
// only columns of the table, and written back as plain numbers it reads the
// same.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "numbers/table_export.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const int32_t count = data[0];
  std::u16string text((size - 1) / 2, u'\0');
  std::memcpy(text.data(), data + 1, text.size() * 2);
  std::vector<int32_t> columns;
  if (!kp::numbers::ParseColumnList(text, count, &columns)) return 0;
  if (columns.size() > 65536) __builtin_trap();
  std::u16string again;
  for (int32_t c : columns) {
    if (c < 1 || c > count) __builtin_trap();
    const std::string digits = std::to_string(c);
    again += (again.empty() ? u"" : u",") + std::u16string(digits.begin(), digits.end());
  }
  std::vector<int32_t> reread;
  if (!kp::numbers::ParseColumnList(again, count, &reread) || reread != columns) __builtin_trap();
  return 0;
}
