// kp160std — the notification icon's record, its procedures and its image.
#include "desktop/tray.h"

#include <array>
#include <mutex>
#include <vector>

#include "abi/error.h"
#include "abi/error_ids.h"
#include "abi/vm.h"
#include "desktop/icon_file.h"
#include "files/path_rule.h"
#include "platform/filesystem.h"
#include "platform/platform.h"
#include "platform/tray.h"
#include "platform/win32_errors.h"

namespace kp::desktop {
namespace {

namespace fs = platform::fs;
namespace tray = platform::tray;

constexpr uint32_t kNoDisplay = 1167;  // device not connected
constexpr uint32_t kNoIcon = 1168;     // element not found
constexpr uint32_t kInvalidData = 13;
constexpr int64_t kMaxIconFile = 4 << 20;

struct Record {
  bool shown = false;
  std::u16string icon;
  std::u16string tooltip;
  ExecContext* context = nullptr;
  std::array<uintptr_t, tray::kEventCount> procedures{};
};

std::mutex gLock;
Record gRecord;

// Runs on the icon's thread.
void OnEvent(tray::Event event) {
  ExecContext* context;
  uintptr_t procedure;
  {
    std::lock_guard hold(gLock);
    if (!gRecord.shown || event < 0 || event >= tray::kEventCount) return;
    context = gRecord.context;
    procedure = gRecord.procedures[event];
  }
  if (procedure) PostProcedure(context, procedure, {});
}

// The image of a device icon file; false with the error recorded.
bool LoadImage(ExecContext* context, std::u16string_view name, tray::Image* image) {
  if (!files::CheckName(context, name)) return false;
  const fs::FileHandle file = fs::CreateFile(name, fs::kGenericRead, fs::kShareRead, fs::kOpenExisting, 0);
  if (file == fs::kInvalidFile) {
    files::RecordSystemError(context, platform::LastError());
    return false;
  }
  const int64_t size = fs::GetFileSize(file);
  std::vector<uint8_t> bytes;
  bool ok = size >= 0 && size <= kMaxIconFile;
  if (ok) {
    bytes.resize(static_cast<size_t>(size));
    uint32_t read = 0;
    ok = fs::ReadFile(file, bytes.data(), static_cast<uint32_t>(bytes.size()), &read) && read == bytes.size();
  }
  const uint32_t error = platform::LastError();
  fs::CloseHandle(file);
  if (!ok) {
    files::RecordSystemError(context, size > kMaxIconFile ? kInvalidData : error);
    return false;
  }
  std::optional<tray::Image> decoded = DecodeIcon(bytes);
  if (!decoded) {
    files::RecordSystemError(context, kInvalidData);
    return false;
  }
  *image = std::move(*decoded);
  return true;
}

bool PlatformFailure(ExecContext* context) {
  const uint32_t code = platform::LastError();
  if (code == kNoDisplay)
    RaiseSystem(context, kErrNotAvailableOnPlatform, code);
  else
    files::RecordSystemError(context, code);
  return false;
}

}  // namespace

bool AddTrayIcon(ExecContext* context, std::u16string_view icon, std::u16string_view tooltip,
                 std::span<const std::u16string_view> procedures) {
  std::array<uintptr_t, tray::kEventCount> handles{};
  for (size_t i = 0; i < procedures.size() && i < handles.size(); ++i) {
    if (procedures[i].empty()) continue;
    handles[i] = FindProcedure(context, procedures[i]);
    if (!handles[i]) {
      Raise(context, kErrNotifyProcedureMissing, {procedures[i]});
      return false;
    }
  }
  tray::Image image;
  if (!LoadImage(context, icon, &image)) return false;
  bool shown;
  {
    std::lock_guard hold(gLock);
    shown = gRecord.shown;
  }
  const std::u16string tip(tooltip);
  bool ok = false, fresh = !shown;
  if (shown) {
    ok = tray::Modify(&image, &tip);
    if (!ok && platform::LastError() == kNoDisplay) {
      tray::Remove();  // its server went away: the icon starts anew
      fresh = true;
    }
  }
  if (fresh) ok = tray::Add(image, tooltip, OnEvent);
  std::lock_guard hold(gLock);
  if (!ok) {
    if (fresh) gRecord = Record{};
    return PlatformFailure(context);
  }
  gRecord.shown = true;
  gRecord.icon = icon;
  gRecord.tooltip = tooltip;
  gRecord.context = context;
  gRecord.procedures = handles;
  return true;
}

bool ModifyTrayIcon(ExecContext* context, std::u16string_view icon, std::optional<std::u16string_view> tooltip) {
  {
    std::lock_guard hold(gLock);
    if (!gRecord.shown) {
      files::RecordSystemError(context, kNoIcon);
      return false;
    }
  }
  tray::Image image;
  if (!icon.empty() && !LoadImage(context, icon, &image)) return false;
  const std::optional<std::u16string> tip = tooltip ? std::optional<std::u16string>(*tooltip) : std::nullopt;
  if (!tray::Modify(icon.empty() ? nullptr : &image, tip ? &*tip : nullptr)) return PlatformFailure(context);
  std::lock_guard hold(gLock);
  if (!icon.empty()) gRecord.icon = icon;
  if (tip) gRecord.tooltip = *tip;
  return true;
}

bool DeleteTrayIcon(ExecContext* context) {
  {
    std::lock_guard hold(gLock);
    if (!gRecord.shown) {
      files::RecordSystemError(context, kNoIcon);
      return false;
    }
    gRecord = Record{};  // no click posts anything from here on
  }
  // Not under the lock: Remove waits for the icon's thread, whose handler
  // takes it.
  if (!tray::Remove()) return PlatformFailure(context);
  return true;
}

void EndTrayIcon() {
  {
    std::lock_guard hold(gLock);
    if (!gRecord.shown) return;
    gRecord = Record{};
  }
  tray::Remove();
}

}  // namespace kp::desktop
