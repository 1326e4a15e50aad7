// kp160std — the file functions' layer over the device file system.
#include "files/fs_layer.h"

#include "abi/error.h"
#include "abi/vm.h"
#include "files/path_rule.h"
#include "platform/platform.h"

namespace kp::files::layer {

namespace fs = platform::fs;

namespace {

bool Report(ExecContext* context, uint32_t message, Inserts names) {
  const uint32_t code = platform::LastError();
  CXError* record = ErrorRecord(context);
  Stamp(record);
  SetLevel(record, 3);
  AddMessage(record, message, names);
  SetSystemError(record, code);
  return false;
}

}  // namespace

uint32_t Attributes(std::u16string_view name) { return fs::GetFileAttributes(name); }

bool SetAttributes(ExecContext* context, std::u16string_view name, uint32_t attributes) {
  return fs::SetFileAttributes(name, attributes) || Report(context, 28130, {name});
}

bool Copy(ExecContext* context, std::u16string_view source, std::u16string_view target) {
  return fs::CopyFile(source, target, false) || Report(context, 28125, {source, target});
}

bool Move(ExecContext* context, std::u16string_view source, std::u16string_view target) {
  return fs::MoveFile(source, target) || Report(context, 28124, {source, target});
}

bool Delete(ExecContext* context, std::u16string_view name) {
  return fs::DeleteFile(name) || Report(context, 28123, {name});
}

bool CreateDirectory(ExecContext* context, std::u16string_view name) {
  if (fs::CreateDirectory(name)) return true;
  RecordLast(context);
  return false;
}

bool RemoveDirectory(ExecContext* context, std::u16string_view name) {
  if (fs::RemoveDirectory(name)) return true;
  RecordLast(context);
  return false;
}

void RecordLast(ExecContext* context) { RecordSystemError(context, platform::LastError()); }

std::u16string WithSeparator(std::u16string_view path) {
  std::u16string out(path);
  if (out.empty() || !IsSeparator(out.back())) out += u'\\';
  return out;
}

}  // namespace kp::files::layer
