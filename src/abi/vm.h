// kp160std — what the families may ask of the VM.
//
// Families include this instead of reaching into the ABI's slots: the error
// record, the service question, the language, procedure calls, by-reference
// assignment, the trace and the project queries. Each call goes to the
// ExecContext of the running program.
//
// Thread-safety: on the thread that runs the program, except PostProcedure,
// which any thread may call.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "abi/value.h"
#include "kp160std/abi.h"

namespace kp {

// A variant argument (code 0x1f) as the VM handed it.
class VariantArg {
 public:
  explicit VariantArg(KLVariant* variant) : variant_(variant) {}
  KLVariant* raw() const { return variant_; }
  // The value it holds; nullopt when the VM gave none or the variant cannot
  // say.
  std::optional<Value> Get() const;

 private:
  KLVariant* variant_;
};

CXError* ErrorRecord(ExecContext* context);

// The VM's answer to a service question; 0 when the context cannot answer.
int32_t QueryService(ExecContext* context, int32_t code);

const KLLanguage* Language(ExecContext* context);

// 0 when the program has no procedure of that name.
uintptr_t FindProcedure(ExecContext* context, std::u16string_view name);
bool CallProcedure(ExecContext* context, uintptr_t procedure, std::span<const Value> args, Value* result = nullptr);
bool PostProcedure(ExecContext* context, uintptr_t procedure, std::span<const Value> args);
bool AssignReference(ExecContext* context, const VariantArg& reference, const Value& value);

bool TraceActive(ExecContext* context);
void Trace(ExecContext* context, std::u16string_view text);

// KL_PROJECT_NAME, KL_PROJECT_DIRECTORY, KL_PROJECT_REGISTRY_KEY; empty when
// the VM does not know.
std::u16string ProjectQuery(ExecContext* context, int32_t what);

// The VM services object the context leads to; null when the VM gave none.
KLVMServices* VMServices(ExecContext* context);

// The value of a VM object, as the VM's services object gives it (its text
// types as a text); the variant's own value when the VM gave no services
// object; nullopt when neither can say.
std::optional<Value> ObjectValue(ExecContext* context, const VariantArg& object);

// A numbered piece of the VM's information as text; nullopt when the VM has
// no services object or no answer.
std::optional<std::u16string> VMInformation(ExecContext* context, int32_t number);

// The content of a table control through the VM services object. The
// counts answer kNoTableService when the VM offers no tables and -1 when it
// knows no table of that name. The texts are written into `out` (whose
// storage is reused from call to call); false when there is no such text.
constexpr int32_t kNoTableService = -2;
int32_t VMTableColumnCount(ExecContext* context, const std::u16string& table);
int32_t VMTableRowCount(ExecContext* context, const std::u16string& table);
bool VMTableTitle(ExecContext* context, const std::u16string& table, int32_t column, std::u16string& out);
bool VMTableCell(ExecContext* context, const std::u16string& table, int32_t row, int32_t column,
                 std::u16string& out);

// Used by the entry functions: builds a variant through the context's VM
// services object and hands it over with SetResult, the one operation of the
// call's IVMServices table the library uses.
void HandVariant(CallContext* call, ExecContext* context, const Value& value);

}  // namespace kp
