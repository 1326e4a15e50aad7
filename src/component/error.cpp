// kp160std — CXError operations (interim: the error table and the message
// formatter are being completed).
#include "component/error.h"

#include <string>

#include "component/messages.h"
#include "component/vm.h"
#include "platform/platform.h"

namespace kp {
namespace {

void Assign(CXError* r, KLErrorText* field, std::u16string_view text) {
  r->ops->Assign(r, field, text.data(), static_cast<uint32_t>(text.size()));
}

std::u16string Decimal(uint64_t n) {
  std::u16string s;
  do {
    s.insert(s.begin(), static_cast<char16_t>(u'0' + n % 10));
    n /= 10;
  } while (n);
  return s;
}

void SetMessage(CXError* r, std::u16string_view message) {
  if (r->texts[0].length) r->ops->Append(r, &r->texts[0], u"\r\n", 2);
  r->ops->Append(r, &r->texts[0], message.data(), static_cast<uint32_t>(message.size()));
}

}  // namespace

void Raise(CXError* r, int32_t errorId, Inserts inserts) {
  if (!r) return;
  Assign(r, &r->module, kModuleName);
  Assign(r, &r->version, kModuleVersion);
  r->errorId = errorId;
  r->level = 3;
  std::u16string text = u"##(CXError)-" + Decimal(static_cast<uint32_t>(errorId));
  for (const auto& i : inserts) text += u" <" + (i.isText ? i.text : Decimal(i.number)) + u">";
  SetMessage(r, text + u"##");
}

void RaiseText(CXError* r, uint32_t textNumber, Inserts) {
  if (!r) return;
  Assign(r, &r->module, kModuleName);
  Assign(r, &r->version, kModuleVersion);
  SetMessage(r, MessageText(textNumber));
}

void SetSystemError(CXError* r, uint32_t code) {
  if (!r) return;
  r->systemError = code;
  r->ops->ClearText(r, &r->systemText);
}

void Clear(CXError* r) {
  if (!r) return;
  for (auto& t : r->texts) r->ops->ClearText(r, &t);
  r->level = 1;
}

void RaiseOutOfMemory(CXError* r) {
  Clear(r);
  RaiseText(r, kOutOfMemoryText);
  SetSystemError(r, 14);
}

void Raise(ExecContext* c, int32_t errorId, Inserts inserts) { Raise(ErrorRecord(c), errorId, inserts); }
void RaiseText(ExecContext* c, uint32_t textNumber, Inserts inserts) { RaiseText(ErrorRecord(c), textNumber, inserts); }
void SetSystemError(ExecContext* c, uint32_t code) { SetSystemError(ErrorRecord(c), code); }
void RaiseOutOfMemory(ExecContext* c) { RaiseOutOfMemory(ErrorRecord(c)); }
void RaiseSystem(ExecContext* c, int32_t errorId, uint32_t systemError, Inserts inserts) {
  Raise(c, errorId, inserts);
  SetSystemError(c, systemError);
}
void RaiseInternal(ExecContext* c) { Raise(c, 80003); }

}  // namespace kp
