// kp160std — the CXError operations.
#include "abi/error.h"

#include <string>
#include <vector>

#include "abi/error_table.h"
#include "abi/messages.h"
#include "abi/state.h"
#include "abi/vm.h"
#include "platform/format_message.h"
#include "platform/platform.h"

namespace kp {
namespace {

// The record's own texts: French only, whatever the program's language.
constexpr std::u16string_view kNoDefinition =
    u"##(CXError)-Pas de définition d'erreur dans gstErrorDef pour l'identifiant <%1!u!>##";
constexpr std::u16string_view kNotLoaded = u"##(CXError)-Ressource <%1!u!> non chargée##";
constexpr std::u16string_view kEmptyText = u"##(CXError)-Ressource <%1!u!> vide. LastError = <%2!u!>##";
constexpr std::u16string_view kNotFormattedHead = u"##(CXError)-Message non formaté : <";
constexpr std::u16string_view kNotFormattedTail = u">##";

constexpr int32_t kMissingDefinitionLevel = 3;
constexpr int32_t kDirectTextLevel = 3;

bool IsNumberItem(uint32_t item) { return item == 12 || item == 15 || item == 16 || item == 17 || item == 30; }

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

std::u16string SignedDecimal(uint64_t n) {
  return static_cast<int64_t>(n) < 0 ? u"-" + Decimal(0 - n) : Decimal(n);
}

uint32_t ParseDecimal(std::u16string_view text) {
  uint32_t n = 0;
  for (char16_t c : text) {
    if (c < u'0' || c > u'9') break;
    n = n * 10 + (c - u'0');
  }
  return n;
}

void AppendMessage(CXError* r, std::u16string_view message) {
  if (r->texts[0].length) r->ops->Append(r, &r->texts[0], u"\r\n", 2);
  r->ops->Append(r, &r->texts[0], message.data(), static_cast<uint32_t>(message.size()));
}

// An information item's text is a bare pointer in the record; it is handed
// to the record's operations as a text field of its own.
void ClearInfoText(CXError* r, KLErrorInfo& info) {
  if (!info.text) return;
  uint32_t length = 0;
  while (info.text[length]) ++length;
  KLErrorText field{const_cast<kl_char*>(info.text), length, length + 1};
  r->ops->ClearText(r, &field);
  info.text = nullptr;
}

std::u16string LoadAndFormat(uint32_t textNumber, Inserts inserts) {
  const std::optional<std::u16string> text = FetchMessageText(textNumber);
  if (!text) return FormatText(kNotLoaded, {textNumber});
  if (text->empty()) return FormatText(kEmptyText, {textNumber, platform::LastError()});
  return FormatText(*text, inserts);
}

}  // namespace

std::u16string FormatText(std::u16string_view text, Inserts inserts) {
  std::vector<platform::FormatArgument> arguments;
  arguments.reserve(inserts.size());
  for (const Insert& i : inserts) arguments.push_back({i.isText, i.number, i.text});
  if (auto formatted = platform::FormatMessageFromString(text, arguments)) return std::move(*formatted);
  std::u16string message(kNotFormattedHead);
  message += text;
  message += kNotFormattedTail;
  return message;
}

void Stamp(CXError* r) {
  if (!r) return;
  r->ops->ClearText(r, &r->module);
  r->ops->ClearText(r, &r->version);
  Assign(r, &r->module, kModuleName);
  Assign(r, &r->version, kModuleVersion);
}

void SetLevel(CXError* r, int32_t level) {
  if (!r) return;
  if (level == static_cast<int32_t>(kNoErrorLevel)) Clear(r);
  else r->level = level;
}

void AddMessage(CXError* r, uint32_t textNumber, Inserts inserts) {
  if (r) AppendMessage(r, LoadAndFormat(textNumber, inserts));
}

void AddInternalMessage(CXError* r, std::u16string_view text, Inserts inserts) {
  if (r) AppendMessage(r, FormatText(text, inserts));
}

void SetInfoItem(CXError* r, uint32_t item, const Insert& value) {
  if (!r || item < 1 || item > KL_ERROR_INFO_ITEMS) return;
  if (item == 21) {  // kept apart by the record: flagged, never stored
    r->item21Flagged = 1;
    return;
  }
  KLErrorInfo& info = r->info[item - 1];
  info.item = item;
  if (IsNumberItem(item)) {
    info.number = value.isText ? ParseDecimal(value.text) : static_cast<uint32_t>(value.number);
    return;
  }
  const std::u16string text = value.isText ? value.text : SignedDecimal(value.number);
  ClearInfoText(r, info);
  KLErrorText field{};
  Assign(r, &field, text);
  info.text = field.text;
}

void Raise(CXError* r, int32_t errorId, Inserts inserts) {
  if (!r) return;
  Stamp(r);
  const uint32_t* row = FindErrorDef(errorId);
  if (!row) {
    // kept on purpose: the identifier is not stored, only named in the text
    r->level = kMissingDefinitionLevel;
    AppendMessage(r, FormatText(kNoDefinition, {errorId}));
    return;
  }
  r->errorId = errorId;
  if (row[kErrorText]) AppendMessage(r, LoadAndFormat(row[kErrorText], inserts));
  r->debugCode = static_cast<int32_t>(row[kErrorDebugCode]);
  SetLevel(r, static_cast<int32_t>(row[kErrorSeverity]));
}

// No row gives a severity here: a text raised directly is an error, and one
// already recorded keeps its level.
void RaiseText(CXError* r, uint32_t textNumber, Inserts inserts) {
  if (!r) return;
  Stamp(r);
  AppendMessage(r, LoadAndFormat(textNumber, inserts));
  if (r->level == static_cast<int32_t>(kNoErrorLevel)) r->level = kDirectTextLevel;
}

void SetSystemError(CXError* r, uint32_t code) {
  if (!r) return;
  r->systemError = code;
  const std::u16string text = code ? platform::SystemErrorText(code, State().languageCode) : std::u16string();
  if (text.empty()) r->ops->ClearText(r, &r->systemText);
  else Assign(r, &r->systemText, text);
}

void Clear(CXError* r) {
  if (!r) return;
  for (auto& t : r->texts) r->ops->ClearText(r, &t);
  r->ops->ClearText(r, &r->systemText);
  r->ops->ClearText(r, &r->module);
  r->ops->ClearText(r, &r->version);
  for (auto& info : r->info) {
    ClearInfoText(r, info);
    info = KLErrorInfo{};
  }
  r->item21Flagged = 0;
  r->level = static_cast<int32_t>(kNoErrorLevel);
  r->errorId = 0;
  r->debugCode = 0;
  r->systemError = 0;
}

void RaiseOutOfMemory(CXError* r) {
  Clear(r);
  RaiseText(r, kOutOfMemoryText);
  SetSystemError(r, kOutOfMemorySystemError);
}

void RaiseInternal(CXError* r, std::u16string_view className, std::u16string_view text, Inserts inserts) {
  Raise(r, kInternalErrorId, {className, FormatText(text, inserts)});
}

void Raise(ExecContext* c, int32_t errorId, Inserts inserts) { Raise(ErrorRecord(c), errorId, inserts); }
void RaiseText(ExecContext* c, uint32_t textNumber, Inserts inserts) { RaiseText(ErrorRecord(c), textNumber, inserts); }
void SetSystemError(ExecContext* c, uint32_t code) { SetSystemError(ErrorRecord(c), code); }
void RaiseOutOfMemory(ExecContext* c) { RaiseOutOfMemory(ErrorRecord(c)); }
void SetInfoItem(ExecContext* c, uint32_t item, const Insert& value) { SetInfoItem(ErrorRecord(c), item, value); }
void RaiseSystem(ExecContext* c, int32_t errorId, uint32_t systemError, Inserts inserts) {
  Raise(c, errorId, inserts);
  SetSystemError(c, systemError);
}
void RaiseInternal(ExecContext* c) {
  RaiseInternal(ErrorRecord(c), u"CEntryFrame", u"Exception inattendue pendant l'appel d'une fonction");
}

}  // namespace kp
