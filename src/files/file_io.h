// kp160std — the file-handle functions: fOuvre, fCrée, fFerme, fLitLigne,
// fLit, fEcritLigne, fEcrit, fPositionne, fChangeTaille, fTaille (handle)
// and fNomFichier.
//
// Each function takes the program's ExecContext first, returns its ordinary
// failure value (-1, false, "", 0 as each says) and records the error. The
// handles come from the process-wide table (files/handles.h).
//
// Thread-safety: like the table, used from the thread that runs the KL
// program.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "abi/value.h"
#include "abi/vm.h"
#include "files/handles.h"
#include "kp160std/abi.h"

namespace kp::files {

// Mode bits.
constexpr int32_t foRead = 1;
constexpr int32_t foWrite = 2;
constexpr int32_t foReadWrite = 3;
constexpr int32_t foCreateIfNotExist = 0x100;
constexpr int32_t foCreate = 0x200;
constexpr int32_t foAdd = 0x800;
constexpr int32_t foUnicode = 0x1000;

// fLitLigne's end-of-file answer: the one character 4.
inline constexpr std::u16string_view kEndOfFile = u"\x04";

int32_t Open(ExecContext* context, std::u16string_view name, int32_t mode);
int32_t Create(ExecContext* context, std::u16string_view name, int32_t mode);
int32_t Close(ExecContext* context, int32_t handle);

// The line stays in the handle's buffer until the next fLitLigne on the
// handle or its fFerme: the entry function copies it into the VM's result.
std::u16string_view ReadLine(ExecContext* context, int32_t handle);
// The pattern form: the capturing groups go to the variables in order; the
// frame hands over the first variable only (the descriptor declares one).
bool ReadLineInto(ExecContext* context, int32_t handle, std::u16string_view pattern,
                  std::span<const VariantArg> variables);
Value Read(ExecContext* context, int32_t handle, int32_t count);
int32_t ReadToAddress(ExecContext* context, int32_t handle, int32_t count, uintptr_t address);

bool WriteLine(ExecContext* context, int32_t handle, std::u16string_view text);
bool WriteLineFromAddress(ExecContext* context, int32_t handle, uintptr_t address, int32_t count);
// count -1: the whole value.
int32_t Write(ExecContext* context, int32_t handle, std::span<const uint8_t> bytes, int32_t count);
int32_t WriteFromAddress(ExecContext* context, int32_t handle, uintptr_t address, int32_t count);

int64_t Seek(ExecContext* context, int32_t handle, int64_t position, int32_t origin);
bool ChangeSize(ExecContext* context, int32_t handle, int64_t size);
int64_t SizeOfHandle(ExecContext* context, int32_t handle);
std::u16string NameOfFile(ExecContext* context, int32_t handle);

// One piece of a line (at most 50 bytes) read at the stream's position, as
// fLitLigne reads it: a line ends only at CR LF (0D 0A, or 0D 00 0A 00 in
// UTF-16). Exposed for tests and fuzzing.
struct LinePiece {
  uint8_t bytes[50];
  uint32_t size = 0;
  bool finished = false;
};
bool ReadLinePiece(project::IXStream& stream, bool unicode, LinePiece* piece);
// The whole line as fLitLigne assembles it (false on a failed read), read
// from the file as it is now; `nothing` (optional) tells that not a byte
// was found at the position.
bool AssembleLine(project::IXStream& stream, bool unicode, std::u16string* line, bool* nothing = nullptr);

}  // namespace kp::files
