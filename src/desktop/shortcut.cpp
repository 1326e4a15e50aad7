// kp160std — shortcuts: the path from the kind, the text form, creation and
// deletion through the device file system.
#include "desktop/shortcut.h"

#include "abi/error.h"
#include "abi/error_ids.h"
#include "files/fs_layer.h"
#include "files/path_rule.h"
#include "platform/codepage.h"
#include "platform/filesystem.h"
#include "platform/platform.h"
#include "platform/shell_link.h"
#include "platform/sysinfo.h"
#include "platform/win32_errors.h"

namespace kp::desktop {
namespace {

namespace fs = platform::fs;
constexpr int32_t kStartMenuFolder = 11;
constexpr std::u16string_view kExtension = u".lnk";

// Characters no file name of the device may hold (the separators included:
// a name names one file, it does not reach into other directories).
bool ValidComponent(std::u16string_view part) {
  if (part.empty() || part == u"." || part == u"..") return false;
  for (char16_t c : part)
    if (c < 0x20 || std::u16string_view(u"\\/:*?\"<>|").find(c) != std::u16string_view::npos) return false;
  return true;
}

bool IsDrive(std::u16string_view part) {
  return part.size() == 2 && part[1] == u':' &&
         ((part[0] >= u'A' && part[0] <= u'Z') || (part[0] >= u'a' && part[0] <= u'z'));
}

// Makes every missing directory of an absolute device path.
bool MakeDirectories(std::u16string_view path) {
  for (size_t at = 1; at <= path.size(); ++at) {
    if (at != path.size() && !files::IsSeparator(path[at])) continue;
    const std::u16string_view part = path.substr(0, at);
    const uint32_t attributes = fs::GetFileAttributes(part);
    if (attributes != fs::kInvalidAttributes) {
      if (!(attributes & fs::kAttrDirectory)) {
        platform::SetLastError(win32::kAlreadyExists);
        return false;
      }
      continue;
    }
    if (!fs::CreateDirectory(part)) return false;
  }
  return true;
}

bool WriteWhole(std::u16string_view path, const std::string& bytes) {
  const fs::FileHandle file = fs::CreateFile(path, fs::kGenericWrite, 0, fs::kCreateNew, 0);
  if (file == fs::kInvalidFile) return false;
  uint32_t written = 0;
  const bool ok =
      fs::WriteFile(file, bytes.data(), static_cast<uint32_t>(bytes.size()), &written) && written == bytes.size();
  const uint32_t error = platform::LastError();
  fs::CloseHandle(file);
  if (!ok) {
    fs::DeleteFile(path);  // no half-written shortcut left behind
    platform::SetLastError(error ? error : win32::kDiskFull);
  }
  return ok;
}

bool Refuse(ExecContext* context, uint32_t code) {
  RaiseSystem(context, kErrCannotCreateShortcut, code);
  return false;
}

}  // namespace

std::optional<std::u16string> ShortcutPath(int32_t kind, std::u16string_view name, std::u16string_view subDirectory,
                                           uint32_t* why) {
  uint32_t unused;
  if (!why) why = &unused;
  if (kind < shortcutFree || kind > shortcutQuickLaunch) {
    *why = win32::kInvalidParameter;
    return std::nullopt;
  }
  if (!ValidComponent(name)) {
    *why = win32::kInvalidName;
    return std::nullopt;
  }
  std::u16string path;
  if (kind == shortcutProgram) {
    path = platform::sys::SpecialFolderPath(kStartMenuFolder);
    if (path.empty()) {
      *why = win32::kPathNotFound;
      return std::nullopt;
    }
  }
  // The sub-directory's parts one by one: "." and ".." would lead out of the
  // base folder (or the device root), so they are refused, not resolved;
  // doubled separators count as one.
  size_t at = 0;
  while (at <= subDirectory.size()) {
    size_t end = at;
    while (end < subDirectory.size() && !files::IsSeparator(subDirectory[end])) ++end;
    const std::u16string_view part = subDirectory.substr(at, end - at);
    if (at == 0 && path.empty() && IsDrive(part)) {
      // A drive, on a machine that has them (Windows); the device has none.
      path = part;
      if (!files::layer::IsDirectory(fs::GetFileAttributes(path + u"\\"))) {
        *why = win32::kPathNotFound;
        return std::nullopt;
      }
    } else if (!part.empty()) {
      if (!ValidComponent(part)) {
        *why = win32::kInvalidName;
        return std::nullopt;
      }
      if (path.empty() || !files::IsSeparator(path.back())) path += u'\\';
      path += part;
    }
    at = end + 1;
  }
  if (path.empty() || !files::IsSeparator(path.back())) path += u'\\';
  path += name;
  path += kExtension;
  if (path.size() > files::kMaxPath) {
    *why = win32::kFilenameExcedRange;
    return std::nullopt;
  }
  return path;
}

std::optional<std::u16string> ShortcutText(std::u16string_view target, std::u16string_view parameters, uint32_t* why) {
  uint32_t unused;
  if (!why) why = &unused;
  // A quote cannot be escaped in the text form, and no device name holds one.
  if (target.empty() || target.find(u'"') != std::u16string_view::npos) {
    *why = win32::kInvalidName;
    return std::nullopt;
  }
  std::u16string command;
  if (target.find(u' ') != std::u16string_view::npos) {
    command = u"\"";
    command += target;
    command += u"\"";
  } else {
    command = target;
  }
  if (!parameters.empty()) {
    command += u' ';
    command += parameters;
  }
  if (command.find_first_of(u"\r\n") != std::u16string::npos) {
    *why = win32::kInvalidParameter;
    return std::nullopt;
  }
  std::u16string text;
  for (char c : std::to_string(command.size())) text += static_cast<char16_t>(c);
  text += u'#';
  text += command;
  return text;
}

std::optional<ShortcutCommand> ReadShortcutText(std::u16string_view text) {
  size_t at = 0;
  uint64_t count = 0;
  while (at < text.size() && text[at] >= u'0' && text[at] <= u'9') {
    count = count * 10 + (text[at] - u'0');
    if (count > text.size()) return std::nullopt;
    ++at;
  }
  if (at == 0 || at >= text.size() || text[at] != u'#') return std::nullopt;
  ++at;
  if (count > text.size() - at) return std::nullopt;
  const std::u16string_view command = text.substr(at, count);
  const std::u16string_view rest = text.substr(at + count);
  if (rest.find_first_not_of(u"\r\n") != std::u16string_view::npos) return std::nullopt;
  if (command.empty() || command.find_first_of(u"\r\n") != std::u16string_view::npos) return std::nullopt;
  ShortcutCommand result;
  size_t end;
  if (command.front() == u'"') {
    end = command.find(u'"', 1);
    if (end == std::u16string_view::npos || end == 1) return std::nullopt;
    result.target = command.substr(1, end - 1);
    ++end;
    if (end < command.size() && command[end] != u' ') return std::nullopt;
  } else {
    end = command.find(u' ');
    if (end == std::u16string_view::npos) end = command.size();
    result.target = command.substr(0, end);
  }
  if (end < command.size()) result.parameters = command.substr(end + 1);
  return result;
}

bool CreateShortcut(ExecContext* context, int32_t kind, std::u16string_view name, std::u16string_view target,
                    const ShortcutExtras& extras) {
  uint32_t why = 0;
  const std::optional<std::u16string> path = ShortcutPath(kind, name, extras.subDirectory, &why);
  if (!path) return Refuse(context, why);
  const std::optional<std::u16string> text = ShortcutText(target, extras.parameters, &why);
  if (!text) return Refuse(context, why);
  // Kept on purpose: an existing shortcut is not replaced and counts as made.
  const uint32_t attributes = fs::GetFileAttributes(*path);
  if (files::layer::IsFile(attributes)) return true;
  if (attributes != fs::kInvalidAttributes) return Refuse(context, win32::kAlreadyExists);  // a directory
  const std::u16string_view directory(path->data(), path->rfind(u'\\'));
  if (!directory.empty() && !MakeDirectories(directory)) return Refuse(context, platform::LastError());

  platform::ShellLink link{target, extras.parameters, extras.workingDirectory, extras.iconFile, extras.iconIndex};
  if (platform::CreateShellLink(*path, link)) return true;
  if (platform::LastError() != win32::kNotSupported) return Refuse(context, platform::LastError());

  // The handheld reads the file in its code page: a command that the code
  // page cannot hold would name another file there.
  const std::string bytes = platform::ToAnsi(*text);
  if (platform::FromAnsi(bytes) != *text) return Refuse(context, win32::kNoUnicodeTranslation);
  if (!WriteWhole(*path, bytes)) return Refuse(context, platform::LastError());
  return true;
}

bool DeleteShortcut(ExecContext* context, int32_t kind, std::u16string_view name, std::u16string_view subDirectory) {
  uint32_t why = 0;
  const std::optional<std::u16string> path = ShortcutPath(kind, name, subDirectory, &why);
  if (!path) {
    files::RecordSystemError(context, why);
    return false;
  }
  return files::layer::Delete(context, *path);
}

}  // namespace kp::desktop
