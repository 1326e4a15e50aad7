// kp — the VM's side of the error record (see error_record.h).
#include "error_record.h"

#include <cstdlib>
#include <cstring>

namespace kphost {
namespace {

void SetText(KLErrorText* f, const kl_char* text, uint32_t n) {
  auto* copy = static_cast<kl_char*>(std::malloc((n + 1) * sizeof(kl_char)));
  if (!copy) return;
  if (n) std::memcpy(copy, text, n * sizeof(kl_char));
  copy[n] = 0;
  std::free(f->text);
  f->text = copy;
  f->length = n;
  f->capacity = n + 1;
}

void KL_CALL Assign(CXError*, KLErrorText* f, const kl_char* t, uint32_t n) { SetText(f, t, n); }

void KL_CALL Grow(CXError*, KLErrorText* f, uint32_t capacity) {
  if (capacity <= f->capacity) return;
  auto* grown = static_cast<kl_char*>(std::realloc(f->text, capacity * sizeof(kl_char)));
  if (!grown) return;
  if (!f->text) grown[0] = 0;
  f->text = grown;
  f->capacity = capacity;
}

void KL_CALL AssignSystem(CXError*, KLErrorText* f, kl_char* t) {
  // The library hands over a text from the platform's allocator, which on
  // POSIX is malloc.
  std::free(f->text);
  uint32_t n = 0;
  while (t && t[n]) ++n;
  f->text = t;
  f->length = n;
  f->capacity = t ? n + 1 : 0;
}

void KL_CALL Append(CXError*, KLErrorText* f, const kl_char* t, uint32_t n) {
  std::u16string joined = ErrorText(*f);
  joined.append(t, n);
  SetText(f, joined.data(), static_cast<uint32_t>(joined.size()));
}

void KL_CALL ClearText(CXError*, KLErrorText* f) {
  std::free(f->text);
  *f = KLErrorText{};
}

const CXErrorOps kOps{&Assign, &Grow, &AssignSystem, &Append, &ClearText};

}  // namespace

std::u16string ErrorText(const KLErrorText& f) { return f.text ? std::u16string(f.text, f.length) : std::u16string(); }

void InitErrorRecord(CXError& record) {
  record = CXError{};
  record.ops = &kOps;
  record.level = 1;
}

void ClearErrorRecord(CXError& r) {
  for (auto& t : r.texts) ClearText(&r, &t);
  ClearText(&r, &r.systemText);
  for (auto& i : r.info) {
    std::free(const_cast<kl_char*>(i.text));
    i = KLErrorInfo{};
  }
  r.level = 1;
  r.errorId = 0;
  r.debugCode = 0;
  r.systemError = 0;
  r.item21Flagged = 0;
}

void FreeErrorRecord(CXError& r) {
  ClearErrorRecord(r);
  ClearText(&r, &r.module);
  ClearText(&r, &r.version);
}

}  // namespace kphost
