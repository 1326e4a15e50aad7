// kp — table controls for the table export: the tables a script builds and
// the four table operations of the VM services object that read them.
#include <cstring>

#include "vm_internal.h"

namespace kphost {

std::map<std::u16string, Library::Table>& Library::VMTables() {
  static std::map<std::u16string, Table> tables;
  return tables;
}

std::u16string Library::TableKey(std::u16string_view name) {
  std::u16string key(name);
  for (auto& c : key)
    if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c - u'A' + u'a');
  return key;
}

namespace detail {
namespace {

const Library::Table* Find(const kl_char* name) {
  if (!name) return nullptr;
  const auto& tables = Library::VMTables();
  auto it = tables.find(Library::TableKey(name));
  return it == tables.end() ? nullptr : &it->second;
}

int32_t Copy(const std::u16string& text, kl_char* buffer, uint32_t capacity) {
  if (buffer && capacity > 0) {
    const size_t n = std::min<size_t>(text.size(), capacity - 1);
    std::memcpy(buffer, text.data(), n * sizeof(kl_char));
    buffer[n] = 0;
  }
  return static_cast<int32_t>(text.size());
}

}  // namespace

int32_t KL_CALL TableColumnCount(KLVMServices*, const kl_char* name) {
  ++gServiceCalls;
  const Library::Table* t = Find(name);
  return t ? static_cast<int32_t>(t->titles.size()) : -1;
}

int32_t KL_CALL TableRowCount(KLVMServices*, const kl_char* name) {
  ++gServiceCalls;
  const Library::Table* t = Find(name);
  return t ? static_cast<int32_t>(t->rows.size()) : -1;
}

int32_t KL_CALL TableTitle(KLVMServices*, const kl_char* name, int32_t column, kl_char* buffer, uint32_t capacity) {
  ++gServiceCalls;
  const Library::Table* t = Find(name);
  if (!t || column < 0 || static_cast<size_t>(column) >= t->titles.size()) return -1;
  return Copy(t->titles[static_cast<size_t>(column)], buffer, capacity);
}

int32_t KL_CALL TableCell(KLVMServices*, const kl_char* name, int32_t row, int32_t column, kl_char* buffer,
                          uint32_t capacity) {
  ++gServiceCalls;
  const Library::Table* t = Find(name);
  if (!t || row < 0 || static_cast<size_t>(row) >= t->rows.size() || column < 0 ||
      static_cast<size_t>(column) >= t->titles.size())
    return -1;
  return Copy(t->rows[static_cast<size_t>(row)][static_cast<size_t>(column)], buffer, capacity);
}

}  // namespace detail
}  // namespace kphost
