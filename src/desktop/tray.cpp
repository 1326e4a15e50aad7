// kp160std — the notification icon's record, its procedures and its image;
// the icon shown is the record's, so what is shown and what the program
// asked for cannot part.
#include "desktop/tray.h"

#include <array>
#include <memory>
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
  std::unique_ptr<tray::Icon> shown;
  std::u16string icon;
  std::u16string tooltip;
  ExecContext* context = nullptr;
  std::array<uintptr_t, tray::kEventCount> procedures{};
};

std::mutex gLock;
Record gRecord;

// Empties the record; the icon it held is removed out of the lock, as its
// removal waits for the icon's thread, whose handler takes the lock.
std::unique_ptr<tray::Icon> TakeRecord() {
  std::unique_ptr<tray::Icon> icon;
  {
    std::lock_guard hold(gLock);
    icon = std::move(gRecord.shown);
    gRecord = Record{};
  }
  return icon;
}

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
  if (image.width <= 0 || image.height <= 0) {
    files::RecordSystemError(context, win32::kInvalidParameter);
    return false;
  }
  const std::u16string tip(tooltip);
  bool changed = false;
  {
    std::lock_guard hold(gLock);
    if (gRecord.shown && !gRecord.shown->Broken()) {
      gRecord.shown->Change(&image, &tip);
      changed = true;
    }
  }
  std::unique_ptr<tray::Icon> shown;
  if (!changed) {
    TakeRecord().reset();  // none yet, or its server went away: the icon starts anew
    shown = tray::Show(image, tooltip, OnEvent);
    if (!shown) return PlatformFailure(context);
  }
  std::lock_guard hold(gLock);
  if (shown) gRecord.shown = std::move(shown);
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
  std::lock_guard hold(gLock);
  if (!gRecord.shown) {  // ended by another thread meanwhile
    files::RecordSystemError(context, kNoIcon);
    return false;
  }
  if (gRecord.shown->Broken()) {
    RaiseSystem(context, kErrNotAvailableOnPlatform, kNoDisplay);
    return false;
  }
  gRecord.shown->Change(icon.empty() ? nullptr : &image, tip ? &*tip : nullptr);
  if (!icon.empty()) gRecord.icon = icon;
  if (tip) gRecord.tooltip = *tip;
  return true;
}

bool DeleteTrayIcon(ExecContext* context) {
  // No click posts anything once the record is empty.
  if (!TakeRecord()) {
    files::RecordSystemError(context, kNoIcon);
    return false;
  }
  return true;
}

void EndTrayIcon() { TakeRecord().reset(); }

uint64_t TrayIconWindow() {
  std::lock_guard hold(gLock);
  return gRecord.shown ? gRecord.shown->Window() : 0;
}

}  // namespace kp::desktop
