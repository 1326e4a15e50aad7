// kp160std — the families' side of the VM's operations.
#include "abi/vm.h"

#include <new>
#include <stdexcept>
#include <vector>

#include "abi/error.h"

namespace kp {
namespace {

// Borrowed view of a Value for the VM; text and bytes point into `value`.
KLValue ToKL(const Value& value) {
  KLValue out{};
  std::visit(
      [&](const auto& v) {
        using T = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<T, std::monostate>) {
          out.type = KL_T_NONE;
        } else if constexpr (std::is_same_v<T, bool>) {
          out.type = KL_T_BOOL;
          out.u.i32 = v ? 1 : 0;
        } else if constexpr (std::is_same_v<T, int32_t>) {
          out.type = KL_T_INT;
          out.u.i32 = v;
        } else if constexpr (std::is_same_v<T, int64_t>) {
          out.type = KL_T_INT64;
          out.u.i64 = v;
        } else if constexpr (std::is_same_v<T, double>) {
          out.type = KL_T_REAL;
          out.u.real = v;
        } else if constexpr (std::is_same_v<T, std::u16string>) {
          out.type = KL_T_TEXT;
          out.size = static_cast<uint32_t>(v.size());
          out.u.text = v.c_str();
        } else {
          out.type = KL_T_BUFFER;
          out.size = static_cast<uint32_t>(v.size());
          out.u.bytes = v.data();
        }
      },
      value);
  return out;
}

std::optional<Value> FromKL(const KLValue& v) {
  switch (v.type) {
    case KL_T_NONE: return Value{};
    case KL_T_BOOL: return Value{v.u.i32 != 0};
    case KL_T_INT: return Value{v.u.i32};
    case KL_T_INT64: return Value{v.u.i64};
    case KL_T_REAL: return Value{v.u.real};
    case KL_T_TEXT: return Value{v.u.text ? std::u16string(v.u.text, v.size) : std::u16string()};
    case KL_T_BUFFER: return Value{v.u.bytes ? Bytes(v.u.bytes, v.u.bytes + v.size) : Bytes()};
    default: return std::nullopt;
  }
}

const ExecContextOps* Ops(ExecContext* context) { return context ? context->ops : nullptr; }

}  // namespace

std::optional<Value> VariantArg::Get() const {
  if (!variant_ || !variant_->ops || !variant_->ops->Get) return std::nullopt;
  KLValue v{};
  if (!variant_->ops->Get(variant_, &v)) return std::nullopt;
  return FromKL(v);
}

CXError* ErrorRecord(ExecContext* context) {
  auto* ops = Ops(context);
  return ops && ops->GetError ? ops->GetError(context) : nullptr;
}

int32_t QueryService(ExecContext* context, int32_t code) {
  auto* ops = Ops(context);
  return ops && ops->QueryService ? ops->QueryService(context, code) : 0;
}

const KLLanguage* Language(ExecContext* context) {
  auto* ops = Ops(context);
  return ops && ops->GetLanguage ? ops->GetLanguage(context) : nullptr;
}

uintptr_t FindProcedure(ExecContext* context, std::u16string_view name) {
  auto* ops = Ops(context);
  if (!ops || !ops->FindProcedure) return 0;
  const std::u16string terminated(name);
  return ops->FindProcedure(context, terminated.c_str());
}

bool CallProcedure(ExecContext* context, uintptr_t procedure, std::span<const Value> args, Value* result) {
  auto* ops = Ops(context);
  if (!ops || !ops->CallProcedure || !procedure) return false;
  std::vector<KLValue> kl;
  kl.reserve(args.size());
  for (const auto& a : args) kl.push_back(ToKL(a));
  KLValue out{};
  if (!ops->CallProcedure(context, procedure, static_cast<uint32_t>(kl.size()), kl.data(), result ? &out : nullptr))
    return false;
  if (result) *result = FromKL(out).value_or(Value{});
  return true;
}

bool PostProcedure(ExecContext* context, uintptr_t procedure, std::span<const Value> args) {
  auto* ops = Ops(context);
  if (!ops || !ops->PostProcedure || !procedure) return false;
  std::vector<KLValue> kl;
  kl.reserve(args.size());
  for (const auto& a : args) kl.push_back(ToKL(a));
  return ops->PostProcedure(context, procedure, static_cast<uint32_t>(kl.size()), kl.data()) != 0;
}

bool AssignReference(ExecContext* context, const VariantArg& reference, const Value& value) {
  auto* ops = Ops(context);
  if (!ops || !ops->AssignReference || !reference.raw()) return false;
  const KLValue v = ToKL(value);
  return ops->AssignReference(context, reference.raw(), &v) != 0;
}

bool TraceActive(ExecContext* context) {
  auto* ops = Ops(context);
  return ops && ops->TraceActive && ops->TraceActive(context) != 0;
}

void Trace(ExecContext* context, std::u16string_view text) {
  auto* ops = Ops(context);
  if (!ops || !ops->Trace) return;
  const std::u16string terminated(text);
  ops->Trace(context, terminated.c_str());
}

std::u16string ProjectQuery(ExecContext* context, int32_t what) {
  auto* ops = Ops(context);
  if (!ops || !ops->ProjectQuery) return {};
  std::u16string buffer(1024, u'\0');
  const uint32_t n = ops->ProjectQuery(context, what, buffer.data(), static_cast<uint32_t>(buffer.size()));
  buffer.resize(n < buffer.size() ? n : buffer.size() - 1);
  return buffer;
}

KLVMServices* VMServices(ExecContext* context) { return context ? context->services : nullptr; }

std::optional<Value> ObjectValue(ExecContext* context, const VariantArg& object) {
  KLVMServices* services = VMServices(context);
  if (!services || !services->ops || !services->ops->ObjectValue) return object.Get();
  KLValue v{};
  if (!object.raw() || !services->ops->ObjectValue(services, object.raw(), &v)) return std::nullopt;
  return FromKL(v);
}

std::optional<std::u16string> VMInformation(ExecContext* context, int32_t number) {
  KLVMServices* services = VMServices(context);
  if (!services || !services->ops || !services->ops->Information) return std::nullopt;
  std::u16string buffer(1024, u'\0');
  const uint32_t n = services->ops->Information(services, number, buffer.data(), static_cast<uint32_t>(buffer.size()));
  if (n == 0) return std::nullopt;
  buffer.resize(n < buffer.size() ? n : buffer.size() - 1);
  return buffer;
}

namespace {

const KLVMServicesOps* TableOps(ExecContext* context, KLVMServices** services) {
  *services = VMServices(context);
  const KLVMServicesOps* ops = *services ? (*services)->ops : nullptr;
  if (!ops || !ops->TableColumnCount || !ops->TableRowCount || !ops->TableTitle || !ops->TableCell) return nullptr;
  return ops;
}

// One text of a table: the VM answers the whole length, so a buffer found
// too small is grown once and the text asked again.
template <typename Ask>
bool ReadTableText(std::u16string& out, Ask ask) {
  out.resize(out.capacity() < 64 ? 64 : out.capacity());
  int32_t n = ask(out.data(), static_cast<uint32_t>(out.size()));
  if (n < 0) return false;
  if (static_cast<size_t>(n) >= out.size()) {
    out.resize(static_cast<size_t>(n) + 1);
    n = ask(out.data(), static_cast<uint32_t>(out.size()));
    if (n < 0) return false;
  }
  out.resize(static_cast<size_t>(n) < out.size() ? static_cast<size_t>(n) : out.size() - 1);
  return true;
}

}  // namespace

int32_t VMTableColumnCount(ExecContext* context, const std::u16string& table) {
  KLVMServices* services;
  const KLVMServicesOps* ops = TableOps(context, &services);
  return ops ? ops->TableColumnCount(services, table.c_str()) : kNoTableService;
}

int32_t VMTableRowCount(ExecContext* context, const std::u16string& table) {
  KLVMServices* services;
  const KLVMServicesOps* ops = TableOps(context, &services);
  return ops ? ops->TableRowCount(services, table.c_str()) : kNoTableService;
}

bool VMTableTitle(ExecContext* context, const std::u16string& table, int32_t column, std::u16string& out) {
  KLVMServices* services;
  const KLVMServicesOps* ops = TableOps(context, &services);
  return ops && ReadTableText(out, [&](kl_char* buffer, uint32_t capacity) {
           return ops->TableTitle(services, table.c_str(), column, buffer, capacity);
         });
}

bool VMTableCell(ExecContext* context, const std::u16string& table, int32_t row, int32_t column, std::u16string& out) {
  KLVMServices* services;
  const KLVMServicesOps* ops = TableOps(context, &services);
  return ops && ReadTableText(out, [&](kl_char* buffer, uint32_t capacity) {
           return ops->TableCell(services, table.c_str(), row, column, buffer, capacity);
         });
}

void HandVariant(CallContext* call, ExecContext* context, const Value& value) {
  // The IVMServices table is only known to reach SetResult: the variant
  // comes from the VM services object of the running program.
  KLVMServices* services = VMServices(context);
  if (!services || !services->ops || !services->ops->NewVariant)
    throw std::logic_error("the VM offers no variant service");
  KLVariant* variant = services->ops->NewVariant(services);
  if (!variant) throw std::bad_alloc();
  const KLValue v = ToKL(value);
  variant->ops->Set(variant, &v);
  // The cell handed to SetResult holds the variant object; it has its own
  // release operation, called with 1 once the VM has copied it, even when
  // SetResult fails.
  IVMServices* vm = call->vm;
  struct ReleaseAfter {
    KLVariant* v;
    ~ReleaseAfter() { v->ops->Release(v, 1); }
  } release{variant};
  vm->ops->SetResult(vm, call->resultHandle, &variant, KL_T_VARIANT);
}

}  // namespace kp
