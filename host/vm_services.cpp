// kp — the services objects the VM hands the library: IVMServices (the
// result of a call, through SetResult), the VM services object of the
// ExecContext (variants, objects, information) and the message callback
// (CommandeComposante 2); and the 8-bit conversion services, exported by name
// from this program (the library finds them through bInitKLConvFromVM). They
// live in this file so that every program linking the host keeps them.
#include <cstdlib>
#include <cstring>

#include "os.h"
#include "vm_internal.h"

namespace kphost {
namespace detail {

// --- the services object --------------------------------------------------
PendingResult gPending;

namespace {
void KL_CALL SetResult(IVMServices*, uint32_t handle, const void* cell, uint32_t code) {
  if (!gPending.out || handle != gPending.handle || !cell) return;
  Value& out = *gPending.out;
  out = Value{};
  out.type = code;
  switch (code) {
    case KL_T_BOOL:
    case KL_T_INT:
    case KL_T_INSTANCE:
    case KL_T_WINDOW: {
      int32_t v;
      std::memcpy(&v, cell, sizeof v);
      out.integer = code == KL_T_BOOL ? (v != 0) : v;
      if (code == KL_T_INSTANCE || code == KL_T_WINDOW) out.integer = static_cast<uint32_t>(v);
      break;
    }
    case KL_T_INT64:
    case KL_T_DURATION: std::memcpy(&out.integer, cell, sizeof out.integer); break;
    case KL_T_REAL: std::memcpy(&out.real, cell, sizeof out.real); break;
    case KL_T_CURRENCY: {
      KLCurrency c;
      std::memcpy(&c, cell, sizeof c);
      out.integer = c.value;
      out.scale = c.scale;
      break;
    }
    case KL_T_TEXT:
    case KL_T_BUFFER: {
      const void* holder = *static_cast<const KLStringHolder*>(cell);
      if (holder) {
        const uint32_t length = HeaderOf(holder)->length;
        if (code == KL_T_TEXT)
          out.text.assign(static_cast<const char16_t*>(holder), length / 2);
        else
          out.bytes.assign(static_cast<const uint8_t*>(holder), static_cast<const uint8_t*>(holder) + length);
      }
      break;
    }
    case KL_T_VARIANT: {
      const KLVariant* variant = *static_cast<KLVariant* const*>(cell);
      KLValue v{};
      if (variant && variant->ops->Get(variant, &v)) out = FromKL(v);
      break;
    }
    default: break;
  }
  gPending.set = true;
}

// The IVMServices table is exactly as long as the library may rely on: 150
// operations, SetResult last. It ends at a page boundary and the next page is
// inaccessible, so a library that reads any slot after SetResult faults at
// once instead of calling whatever happens to follow.
const IVMServicesOps* GuardedServicesOps() {
  static const IVMServicesOps* table = [] {
    IVMServicesOps ops{};
    ops.SetResult = &SetResult;
    return static_cast<const IVMServicesOps*>(os::GuardedCopy(&ops, sizeof ops));
  }();
  return table;
}
}  // namespace
IVMServices gServices{GuardedServicesOps()};

// --- the VM services object (the ExecContext's second field) ---------------
std::atomic<int64_t> gServiceCalls{0};

namespace {
KLVariant* KL_CALL NewVariant(KLVMServices*) {
  ++gServiceCalls;
  return &NewHostVariant()->base;
}

int32_t KL_CALL ObjectValue(KLVMServices*, const KLVariant* object, KLValue* out) {
  ++gServiceCalls;
  if (!object) return 0;
  return object->ops->Get(object, out);
}

uint32_t KL_CALL Information(KLVMServices*, int32_t number, kl_char* buffer, uint32_t capacity) {
  ++gServiceCalls;
  const auto& answers = Library::VMInformation();
  auto it = answers.find(number);
  if (it == answers.end() || !buffer || capacity == 0) return 0;
  const uint32_t n = std::min<uint32_t>(static_cast<uint32_t>(it->second.size()), capacity - 1);
  std::memcpy(buffer, it->second.data(), n * sizeof(kl_char));
  buffer[n] = 0;
  return n;
}

const KLVMServicesOps kVMServicesOps{&NewVariant,       &ObjectValue,   &Information, &TableColumnCount,
                                     &TableTitle,       &TableRowCount, &TableCell};
}  // namespace
KLVMServices gVMServices{&kVMServicesOps};

// --- message texts (CommandeComposante 2) ---------------------------------
uint32_t KL_CALL MessageCallback(uint32_t number, kl_char* buffer, uint32_t capacity) {
  const auto& messages = Library::VMMessages();
  auto it = messages.find(number);
  if (it == messages.end() || !buffer || capacity == 0) return 0;
  const uint32_t n = std::min<uint32_t>(static_cast<uint32_t>(it->second.size()), capacity - 1);
  std::memcpy(buffer, it->second.data(), n * sizeof(kl_char));
  buffer[n] = 0;
  return n;
}

}  // namespace detail

using namespace detail;

int64_t Library::ServiceCalls() { return gServiceCalls; }
const IVMServices* Library::Services() { return &gServices; }
std::map<int32_t, std::u16string>& Library::VMInformation() {
  static std::map<int32_t, std::u16string> answers;
  return answers;
}
std::map<uint32_t, std::u16string>& Library::VMMessages() {
  static std::map<uint32_t, std::u16string> messages;
  return messages;
}

}  // namespace kphost

// --- the VM's conversion services, found by name in this program -------------
// 8-bit text is Windows-1252, the ANSI code page, unless the extended form
// names another code page. Every call is counted.
namespace {

int32_t ConvertIn(int32_t direction, uint32_t codePage, const void* source, int32_t length, void** result) {
  ++kphost::detail::gConversions;
  if (!result || length < 0 || (!source && length)) return -1;
  if (direction != KL_CONV_TO_UTF16 && direction != KL_CONV_FROM_UTF16) return -1;
  return kphost::os::ConvertText(direction == KL_CONV_TO_UTF16, codePage, source, static_cast<size_t>(length), result);
}

}  // namespace

extern "C" {

KL_EXPORT int32_t KL_CALL nConversionDepassement(int32_t direction, const void* source, int32_t length,
                                                 void** result) {
  return ConvertIn(direction, 0, source, length, result);
}

KL_EXPORT int32_t KL_CALL nConversionDepassementEx(int32_t direction, uint32_t codePage, const void* source,
                                                   int32_t length, void** result) {
  return ConvertIn(direction, codePage, source, length, result);
}

KL_EXPORT void KL_CALL FinConversion(void* result) {
  ++kphost::detail::gConversionEnds;
  std::free(result);
}

}  // extern "C"
