// kp — the VM's variants: KL values the library reads and writes through
// KLVariantOps (by-reference arguments, the services object's new variants).
#include "vm_internal.h"

namespace kphost {
namespace detail {

std::atomic<int64_t> gLiveVariants{0};

// --- variants -------------------------------------------------------------
Value FromKL(const KLValue& v) {
  switch (v.type) {
    case KL_T_BOOL: return Value::Bool(v.u.i32 != 0);
    case KL_T_INT: return Value{KL_T_INT, v.u.i32};
    case KL_T_INT64: return Value{KL_T_INT64, v.u.i64};
    case KL_T_REAL: return Value::Real(v.u.real);
    case KL_T_TEXT: return Value::Text(v.u.text ? std::u16string(v.u.text, v.size) : std::u16string());
    case KL_T_BUFFER:
      return Value::Buffer(v.u.bytes ? std::vector<uint8_t>(v.u.bytes, v.u.bytes + v.size) : std::vector<uint8_t>());
    default: return Value::None();
  }
}

KLValue ToKL(const Value& v) {
  KLValue out{};
  out.type = v.type;
  switch (v.type) {
    case KL_T_BOOL:
    case KL_T_INT: out.u.i32 = static_cast<int32_t>(v.integer); break;
    case KL_T_INT64: out.u.i64 = v.integer; break;
    case KL_T_REAL: out.u.real = v.real; break;
    case KL_T_TEXT:
      out.u.text = v.text.c_str();
      out.size = static_cast<uint32_t>(v.text.size());
      break;
    case KL_T_BUFFER:
      out.u.bytes = v.bytes.data();
      out.size = static_cast<uint32_t>(v.bytes.size());
      break;
    default: out.type = KL_T_NONE;
  }
  return out;
}

void KL_CALL VariantRelease(KLVariant* self, int32_t flags) {
  if (flags & 1) {
    --gLiveVariants;
    delete reinterpret_cast<HostVariant*>(self);
  }
}
namespace {
int32_t KL_CALL VariantGet(const KLVariant* self, KLValue* out) {
  *out = ToKL(reinterpret_cast<const HostVariant*>(self)->value);
  return 1;
}
int32_t KL_CALL VariantSet(KLVariant* self, const KLValue* value) {
  auto* variant = reinterpret_cast<HostVariant*>(self);
  variant->value = FromKL(*value);
  variant->assigned = true;
  return 1;
}
const KLVariantOps kVariantOps{&VariantRelease, &VariantGet, &VariantSet};
}  // namespace

HostVariant* NewHostVariant(Value v) {
  ++gLiveVariants;
  return new HostVariant{{&kVariantOps}, std::move(v)};
}

}  // namespace detail

int64_t Library::LiveVariants() { return detail::gLiveVariants; }

}  // namespace kphost
