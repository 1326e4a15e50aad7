#include "support/fake_context.h"

#include "context_parts.h"
#include "error_record.h"
#include "text.h"

#include <cstdlib>
#include <cstring>

namespace kp::test {

namespace {
// The host's language object has no short names.
const char16_t* kFrenchShortDays[7] = {u"lun.", u"mar.", u"mer.", u"jeu.", u"ven.", u"sam.", u"dim."};
const char16_t* kFrenchShortMonths[12] = {u"janv.", u"févr.", u"mars",  u"avr.", u"mai",  u"juin",
                                          u"juil.", u"août",  u"sept.", u"oct.", u"nov.", u"déc."};
}  // namespace

struct FakeOps {
  static CXError* KL_CALL GetError(ExecContext* c) { return &FakeContext::Self(c)->error_; }
  static int32_t KL_CALL Query(ExecContext* c, int32_t) { return FakeContext::Self(c)->serviceAnswer; }
  static const KLLanguage* KL_CALL Language(ExecContext* c) { return &FakeContext::Self(c)->language; }
  static uintptr_t KL_CALL Find(ExecContext* c, const kl_char* name) {
    auto* self = FakeContext::Self(c);
    if (!self->procedures.count(name)) return 0;
    self->names_.push_back(name);
    return self->names_.size();
  }
  static int32_t KL_CALL Call(ExecContext* c, uintptr_t p, uint32_t argc, const KLValue* args, KLValue* result) {
    auto* self = FakeContext::Self(c);
    if (p == 0 || p > self->names_.size()) return 0;
    std::vector<Value> values;
    for (uint32_t i = 0; i < argc; ++i) {
      const KLValue& a = args[i];
      switch (a.type) {
        case KL_T_BOOL: values.emplace_back(a.u.i32 != 0); break;
        case KL_T_INT: values.emplace_back(a.u.i32); break;
        case KL_T_INT64: values.emplace_back(a.u.i64); break;
        case KL_T_REAL: values.emplace_back(a.u.real); break;
        case KL_T_TEXT: values.emplace_back(std::u16string(a.u.text, a.size)); break;
        default: values.emplace_back();
      }
    }
    static thread_local Value last;
    last = self->procedures[self->names_[p - 1]](values);
    if (result) {
      *result = KLValue{};
      if (auto* b = std::get_if<bool>(&last)) *result = KLValue{KL_T_BOOL, 0, {.i32 = *b ? 1 : 0}};
      if (auto* i = std::get_if<int32_t>(&last)) *result = KLValue{KL_T_INT, 0, {.i32 = *i}};
      if (auto* t = std::get_if<std::u16string>(&last))
        *result = KLValue{KL_T_TEXT, static_cast<uint32_t>(t->size()), {.text = t->c_str()}};
    }
    return 1;
  }
  static int32_t KL_CALL TraceActive(ExecContext* c) { return FakeContext::Self(c)->traceActive; }
  static void KL_CALL Trace(ExecContext* c, const kl_char* t) { FakeContext::Self(c)->trace.emplace_back(t); }
  static uint32_t KL_CALL Project(ExecContext* c, int32_t what, kl_char* buffer, uint32_t capacity) {
    auto* self = FakeContext::Self(c);
    auto it = self->project.find(what);
    return it == self->project.end() ? 0 : kphost::CopyProjectAnswer(it->second, buffer, capacity);
  }
};

const ExecContextOps FakeContext::kOps = [] {
  ExecContextOps ops{};
  ops.GetError = &FakeOps::GetError;
  ops.QueryService = &FakeOps::Query;
  ops.GetLanguage = &FakeOps::Language;
  ops.FindProcedure = &FakeOps::Find;
  ops.CallProcedure = &FakeOps::Call;
  ops.TraceActive = &FakeOps::TraceActive;
  ops.Trace = &FakeOps::Trace;
  ops.ProjectQuery = &FakeOps::Project;
  return ops;
}();

FakeContext::FakeContext() {
  context_.base.ops = &kOps;
  context_.base.services = nullptr;
  context_.self = this;
  kphost::InitErrorRecord(error_);
  language.code = 12;
  for (int i = 0; i < 7; ++i) language.dayNames[i] = kphost::kDaysFr[i];
  for (int i = 0; i < 12; ++i) language.monthNames[i] = kphost::kMonthsFr[i];
  for (int i = 0; i < 7; ++i) language.shortDayNames[i] = kFrenchShortDays[i];
  for (int i = 0; i < 12; ++i) language.shortMonthNames[i] = kFrenchShortMonths[i];
}

FakeContext::~FakeContext() { kphost::FreeErrorRecord(error_); }

void FakeContext::clearError() { kphost::ClearErrorRecord(error_); }

std::u16string FakeContext::message() const { return kphost::ErrorText(error_.texts[0]); }
std::u16string FakeContext::systemText() const { return kphost::ErrorText(error_.systemText); }

std::string Utf8(std::u16string_view text) { return kphost::Utf8(text); }

}  // namespace kp::test
