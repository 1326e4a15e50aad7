// kp160std — reporting errors into the running program's error record.
//
// An implementation that fails returns its ordinary failure value and calls
// Raise with the error identifier and its inserts, then SetSystemError with
// the platform's last error where a platform call failed. The record is the
// VM's (slot 17 of the ExecContext); a null context or record makes every
// call here a no-op, so implementations can be called without a VM.
//
// The functions taking a CXError* work on any record; those taking an
// ExecContext* fetch the record first.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>

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

void Raise(CXError* record, int32_t errorId, Inserts inserts = {});
void RaiseText(CXError* record, uint32_t textNumber, Inserts inserts = {});
void SetSystemError(CXError* record, uint32_t code);
void RaiseOutOfMemory(CXError* record);
void Clear(CXError* record);

void Raise(ExecContext* context, int32_t errorId, Inserts inserts = {});
void RaiseText(ExecContext* context, uint32_t textNumber, Inserts inserts = {});
void SetSystemError(ExecContext* context, uint32_t code);
void RaiseOutOfMemory(ExecContext* context);

// Raise followed by SetSystemError: the common pair after a failed platform
// call.
void RaiseSystem(ExecContext* context, int32_t errorId, uint32_t systemError, Inserts inserts = {});

// An entry function caught an exception it did not expect: reported as an
// internal consistency message, never as a crash.
void RaiseInternal(ExecContext* context);

}  // namespace kp
