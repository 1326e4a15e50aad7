// kp160std — reporting errors into the running program's error record.
//
// An implementation that fails returns its ordinary failure value and calls
// Raise with the error identifier and its inserts, then SetSystemError with
// the platform's last error where a platform call failed. The record is the
// VM's (slot 17 of the ExecContext); a null context or record makes every
// call here a no-op, so implementations can be called without a VM.
//
// The functions taking a CXError* work on any record; those taking an
// ExecContext* fetch the record first. Every text of the record is the VM's
// memory and is changed only through the record's own operations.
//
// Thread-safety: a record belongs to one running program and is used on the thread
// that runs it.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>

#include "abi/error_ids.h"
#include "kp160std/abi.h"

namespace kp {

// One insert of a message: a number (for %n!u!, !d!, !x!, !p!) or a text
// (for %n!s! and %n).
struct Insert {
  template <typename T>
    requires std::is_integral_v<T> || std::is_enum_v<T>
  Insert(T n) : number(static_cast<uint64_t>(static_cast<int64_t>(n))) {}
  Insert(const void* p) : number(reinterpret_cast<uintptr_t>(p)) {}
  Insert(std::u16string_view t) : isText(true), text(t) {}
  Insert(const char16_t* t) : isText(true), text(t ? t : u"") {}
  Insert(const std::u16string& t) : isText(true), text(t) {}

  bool isText = false;
  uint64_t number = 0;
  std::u16string text;
};
using Inserts = std::initializer_list<Insert>;

constexpr std::u16string_view kModuleName = u"KP160STD.DLL";
constexpr std::u16string_view kModuleVersion = u"16.0.97.7";
constexpr uint32_t kOutOfMemoryText = 25193;

// Stamps the record, looks `errorId` up in gstErrorDef and adds its message
// (after "\r\n" when the record holds one: a second Raise in one call keeps
// both texts, and the second's identifier and level). An identifier without
// a row gives level 3 and a "Pas de définition" text naming it.
void Raise(CXError* record, int32_t errorId, Inserts inserts = {});
// Adds message text `textNumber` without the table; a record without an
// error gets level 3.
void RaiseText(CXError* record, uint32_t textNumber, Inserts inserts = {});
// Code and system text (in the program's language); 0, or a code the
// platform has no text for, clears the text.
void SetSystemError(CXError* record, uint32_t code);
// Clear, then text 25193 and system error 14.
void RaiseOutOfMemory(CXError* record);
// Back to a fresh record: level 1, no identifier, every text and item gone.
void Clear(CXError* record);

// --- pieces of Raise, for reports composed by hand -------------------------
// The file stream and the typed-file reader build their reports step by
// step: stamp, level, internal texts, message texts, information items.

// Sets the module and version texts to this library's.
void Stamp(CXError* record);
// Sets the level; level 1 means "no error" and clears the record instead.
void SetLevel(CXError* record, int32_t level);
// Loads message `textNumber`, formats it with the inserts and adds it to the
// record's message (after "\r\n" when there is one already).
void AddMessage(CXError* record, uint32_t textNumber, Inserts inserts = {});
// Formats an internal consistency text given literally, in the form
// "##(Class)-text##" (French only, no message number), and adds it.
void AddInternalMessage(CXError* record, std::u16string_view text, Inserts inserts = {});
// Sets information item 1..33. Items 12, 15, 16, 17 and 30 hold a number (a
// text value is read as a decimal number), the others a text (a number value
// is written in decimal); item 21 is only flagged. Other items are ignored.
void SetInfoItem(CXError* record, uint32_t item, const Insert& value);
void SetInfoItem(ExecContext* context, uint32_t item, const Insert& value);

// A text formatted as the record formats its messages; a malformed text gives
// the "Message non formaté" internal text.
std::u16string FormatText(std::u16string_view text, Inserts inserts = {});

void Raise(ExecContext* context, int32_t errorId, Inserts inserts = {});
void RaiseText(ExecContext* context, uint32_t textNumber, Inserts inserts = {});
void SetSystemError(ExecContext* context, uint32_t code);
void RaiseOutOfMemory(ExecContext* context);

// Raise followed by SetSystemError: the common pair after a failed platform
// call.
void RaiseSystem(ExecContext* context, int32_t errorId, uint32_t systemError, Inserts inserts = {});

// An entry function caught an exception it did not expect: reported as an
// internal consistency message (error 80003), never as a crash.
void RaiseInternal(ExecContext* context);
// An internal consistency error of `className`: error 80003 with the text
// "##(className)-text##", the text's own inserts put in first.
void RaiseInternal(CXError* record, std::u16string_view className, std::u16string_view text, Inserts inserts = {});

// Error numbers the record itself uses.
constexpr int32_t kInternalErrorId = kErrInternal;
constexpr uint32_t kOutOfMemorySystemError = 14;

}  // namespace kp
