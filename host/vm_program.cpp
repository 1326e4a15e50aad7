// kp — the Program: the ExecContext handed to every entry function, with its
// error record, language object, trace, procedures (called and posted) and
// project answers.
#include <cstring>

#include "context_parts.h"
#include "error_record.h"
#include "text.h"
#include "vm_internal.h"

namespace kphost {
using namespace detail;
struct ProgramOps {
  static Program* Self(ExecContext* c) { return reinterpret_cast<Program::Wrapped*>(c)->self; }

  static CXError* KL_CALL GetError(ExecContext* c) { return &Self(c)->error_; }
  static int32_t KL_CALL QueryService(ExecContext* c, int32_t code) {
    auto& s = Self(c)->service;
    return s ? s(code) : 0;
  }
  static const KLLanguage* KL_CALL GetLanguage(ExecContext* c) { return &Self(c)->language_; }
  static uintptr_t KL_CALL FindProcedure(ExecContext* c, const kl_char* name) {
    Program* self = Self(c);
    const std::string folded = FoldName(Utf8(name ? name : u""));
    if (!self->procedures.count(folded)) return 0;
    std::lock_guard lock(self->mutex_);
    auto& handles = self->procedureHandles_;
    for (size_t i = 0; i < handles.size(); ++i)
      if (handles[i] == folded) return i + 1;
    handles.push_back(folded);
    return handles.size();
  }
  static std::string HandleName(Program* self, uintptr_t p) {
    std::lock_guard lock(self->mutex_);
    return p == 0 || p > self->procedureHandles_.size() ? std::string() : self->procedureHandles_[p - 1];
  }
  static int32_t KL_CALL CallProcedure(ExecContext* c, uintptr_t p, uint32_t argc, const KLValue* args,
                                       KLValue* result) {
    Program* self = Self(c);
    auto it = self->procedures.find(HandleName(self, p));
    if (it == self->procedures.end() || (argc && !args)) return 0;
    std::vector<Value> values;
    for (uint32_t i = 0; i < argc; ++i) values.push_back(FromKL(args[i]));
    try {
      self->lastProcedureResult_ = it->second(values);
    } catch (...) {
      // The library is C across its frames: the procedure's failure is told
      // by the 0 and kept by whoever registered the procedure.
      self->lastProcedureResult_ = Value{};
      if (result) *result = KLValue{};
      return 0;
    }
    if (result) *result = ToKL(self->lastProcedureResult_);
    return 1;
  }
  static int32_t KL_CALL PostProcedure(ExecContext* c, uintptr_t p, uint32_t argc, const KLValue* args) {
    Program* self = Self(c);
    if (argc && !args) return 0;
    Program::Posted call;
    for (uint32_t i = 0; i < argc; ++i) call.args.push_back(FromKL(args[i]));  // copies: the texts are the caller's
    {
      std::lock_guard lock(self->mutex_);
      if (p == 0 || p > self->procedureHandles_.size()) return 0;
      call.procedure = self->procedureHandles_[p - 1];
      self->posted_.push_back(std::move(call));
      self->postedCount_.store(self->posted_.size(), std::memory_order_release);
    }
    self->postedReady_.notify_all();
    return 1;
  }
  static int32_t KL_CALL AssignReference(ExecContext*, KLVariant* reference, const KLValue* value) {
    return reference && value ? reference->ops->Set(reference, value) : 0;
  }
  static int32_t KL_CALL TraceActive(ExecContext* c) { return Self(c)->traceActive ? 1 : 0; }
  static void KL_CALL Trace(ExecContext* c, const kl_char* text) { Self(c)->trace.emplace_back(text ? text : u""); }
  static uint32_t KL_CALL ProjectQuery(ExecContext* c, int32_t what, kl_char* buffer, uint32_t capacity) {
    Program* self = Self(c);
    auto it = self->project.find(what);
    return it == self->project.end() ? 0 : CopyProjectAnswer(it->second, buffer, capacity);
  }
};

namespace {
const ExecContextOps kProgramOps = [] {
  ExecContextOps ops{};
  ops.GetError = &ProgramOps::GetError;
  ops.QueryService = &ProgramOps::QueryService;
  ops.GetLanguage = &ProgramOps::GetLanguage;
  ops.FindProcedure = &ProgramOps::FindProcedure;
  ops.CallProcedure = &ProgramOps::CallProcedure;
  ops.PostProcedure = &ProgramOps::PostProcedure;
  ops.AssignReference = &ProgramOps::AssignReference;
  ops.TraceActive = &ProgramOps::TraceActive;
  ops.Trace = &ProgramOps::Trace;
  ops.ProjectQuery = &ProgramOps::ProjectQuery;
  return ops;
}();
}  // namespace

// --- Program ----------------------------------------------------------------
Program::Program() {
  wrapped_.base.ops = &kProgramOps;
  wrapped_.base.services = &gVMServices;
  wrapped_.self = this;
  InitErrorRecord(error_);
  SetLanguage(KL_LANGUAGE_FRENCH);
}

Program::~Program() { FreeErrorRecord(error_); }

void Program::SetLanguage(int32_t code) {
  language_.code = code;
  const bool french = code == KL_LANGUAGE_FRENCH;
  for (int i = 0; i < 7; ++i) language_.dayNames[i] = french ? kDaysFr[i] : kDaysEn[i];
  for (int i = 0; i < 12; ++i) language_.monthNames[i] = french ? kMonthsFr[i] : kMonthsEn[i];
}

ErrorState Program::ReadError() const {
  ErrorState e;
  e.id = error_.errorId;
  e.level = error_.level;
  e.debugCode = error_.debugCode;
  e.message = ErrorText(error_.texts[0]);
  e.systemError = error_.systemError;
  e.systemText = ErrorText(error_.systemText);
  e.module = ErrorText(error_.module);
  return e;
}

void Program::ClearError() { ClearErrorRecord(error_); }

size_t Program::RunPosted() {
  if (runningPosted_ || !HasPosted()) return 0;
  runningPosted_ = true;
  struct Reset {
    bool& flag;
    ~Reset() { flag = false; }
  } reset{runningPosted_};
  size_t due;
  {
    std::lock_guard lock(mutex_);
    due = posted_.size();
  }
  size_t ran = 0;
  for (; ran < due; ++ran) {
    Posted call;
    {
      std::lock_guard lock(mutex_);
      if (posted_.empty()) break;
      call = std::move(posted_.front());
      posted_.pop_front();
      postedCount_.store(posted_.size(), std::memory_order_release);
    }
    // Looked up now: the program may have dropped the procedure since.
    auto it = procedures.find(call.procedure);
    if (it != procedures.end()) it->second(call.args);
  }
  return ran;
}

void Program::WaitPosted(std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    RunPosted();
    std::unique_lock lock(mutex_);
    if (!postedReady_.wait_until(lock, deadline, [this] { return !posted_.empty(); })) return;
  }
}

}  // namespace kphost
