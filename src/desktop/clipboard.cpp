// kp160std — the clipboard (see clipboard.h).
#include "desktop/clipboard.h"

#include <variant>

#include "abi/error.h"
#include "abi/error_ids.h"
#include "abi/value.h"
#include "platform/clipboard.h"
#include "platform/platform.h"

namespace kp::desktop {
namespace {

namespace cb = platform::clipboard;

// Without a display the function is not available here; any other failure
// is the clipboard's, with the platform's code.
void RecordFailure(ExecContext* context) {
  const uint32_t code = platform::LastError();
  if (code == cb::kNoDisplay) {
    RaiseSystem(context, kErrNotAvailableOnPlatform, code);
  } else {
    RaiseSystem(context, kErrCannotOpenClipboard, code);
  }
}

bool ImageSize(ExecContext* context, int32_t* width, int32_t* height) {
  if (cb::ImageSize(width, height)) return true;
  RecordFailure(context);
  return false;
}

}  // namespace

std::u16string ClipboardText(ExecContext* context) {
  std::u16string text;
  if (!cb::GetText(&text)) {
    RecordFailure(context);
    return {};
  }
  // The text ends at its terminating zero, wherever the owner put one.
  if (const size_t zero = text.find(u'\0'); zero != std::u16string::npos) text.resize(zero);
  return text;
}

bool SetClipboardText(ExecContext* context, std::u16string_view text) {
  if (cb::SetText(text)) return true;
  RecordFailure(context);
  return false;
}

bool SetClipboardBytes(ExecContext* context, std::span<const uint8_t> bytes) {
  if (cb::SetBytes(bytes)) return true;
  RecordFailure(context);
  return false;
}

bool SetClipboardValue(ExecContext* context, const VariantArg& value) {
  const std::optional<Value> v = ObjectValue(context, value);
  if (!v) return false;
  if (const auto* text = std::get_if<std::u16string>(&*v)) return SetClipboardText(context, *text);
  if (const auto* bytes = std::get_if<Bytes>(&*v)) return SetClipboardBytes(context, *bytes);
  return false;
}

int32_t ClipboardWidth(ExecContext* context) {
  int32_t width = 0, height = 0;
  return ImageSize(context, &width, &height) ? width : 0;
}

int32_t ClipboardHeight(ExecContext* context) {
  int32_t width = 0, height = 0;
  return ImageSize(context, &width, &height) ? height : 0;
}

bool ClipboardHasFormat(ExecContext* context, int32_t format) {
  if (format < 1) {
    Raise(context, kErrClipboardFormatUnsupported, {format});
    return false;
  }
  if (cb::HasFormat(format)) return true;
  if (platform::LastError()) RecordFailure(context);
  return false;
}

}  // namespace kp::desktop
