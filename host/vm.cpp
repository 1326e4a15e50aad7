// kp — the VM side of the library's interface.
#include "vm.h"

#include <dlfcn.h>
#include <iconv.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <deque>

#include "error_record.h"
#include "text.h"

namespace kphost {
namespace {

std::atomic<int64_t> gLiveBlocks{0};
std::atomic<int64_t> gLiveVariants{0};
// Calls of the conversion services (nConversionDepassement and its Ex form)
// and of FinConversion.
std::atomic<int64_t> gConversions{0};
std::atomic<int64_t> gConversionEnds{0};

// --- string blocks --------------------------------------------------------
void* KL_CALL ManagerAlloc(KLStringManager*, uint32_t bytes) {
  void* p = std::malloc(bytes ? bytes : 1);
  if (p) ++gLiveBlocks;
  return p;
}
void KL_CALL ManagerFree(KLStringManager*, void* block) {
  if (!block) return;
  --gLiveBlocks;
  std::free(block);
}
void KL_CALL ManagerRelease(KLStringManager*, int32_t, uintptr_t) {}
const KLStringManagerOps kManagerOps{&ManagerAlloc, &ManagerFree, &ManagerRelease};
KLStringManager gManager{&kManagerOps};

// The per-thread manager the VM keeps under its thread-local index
// (GeneralParam 2005): the loading thread's slot holds it. Its frees are
// counted apart from the string service's, so tests see which path the
// library took.
std::atomic<int64_t> gThreadManagerFrees{0};
std::atomic<int64_t> gServiceFrees{0};
void KL_CALL ThreadManagerFree(KLStringManager* self, void* block) {
  ++gThreadManagerFrees;
  ManagerFree(self, block);
}
const KLStringManagerOps kThreadManagerOps{&ManagerAlloc, &ThreadManagerFree, &ManagerRelease};
KLStringManager gThreadManager{&kThreadManagerOps};

void KL_CALL ServiceFree(KLStringService*, void* block) {
  ++gServiceFrees;
  ManagerFree(&gManager, block);
}
const KLStringServiceOps kServiceOps{&ServiceFree};
KLStringService gService{&kServiceOps};

// A block of the VM's own, for buffer arguments.
KLStringHolder MakeBlock(const void* data, uint32_t length) {
  auto* header = static_cast<KLStringHeader*>(ManagerAlloc(&gManager, sizeof(KLStringHeader) + length + 2));
  if (!header) return nullptr;
  *header = KLStringHeader{0, 0, length + 2, length, KL_STRING_KIND_BYTES << KL_STRING_KIND_SHIFT};
  auto* body = reinterpret_cast<uint8_t*>(header + 1);
  if (length) std::memcpy(body, data, length);
  body[length] = body[length + 1] = 0;
  return body;
}
const KLStringHeader* HeaderOf(const void* holder) {
  return reinterpret_cast<const KLStringHeader*>(static_cast<const char*>(holder) - sizeof(KLStringHeader));
}

// --- variants -------------------------------------------------------------
struct HostVariant {
  KLVariant base;
  Value value;
  bool assigned = false;  // Set was called: a by-reference argument was written
};

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

HostVariant* NewHostVariant(Value v = {}) {
  ++gLiveVariants;
  return new HostVariant{{&kVariantOps}, std::move(v)};
}

// --- the services object --------------------------------------------------
struct PendingResult {
  uint32_t handle = 0;
  Value* out = nullptr;
  bool set = false;
};
PendingResult gPending;

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
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t bytes = (sizeof(IVMServicesOps) + page - 1) / page * page;
    void* base = mmap(nullptr, bytes + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (base == MAP_FAILED) std::abort();
    auto* ops = reinterpret_cast<IVMServicesOps*>(static_cast<char*>(base) + bytes - sizeof(IVMServicesOps));
    *ops = IVMServicesOps{};
    ops->SetResult = &SetResult;
    if (mprotect(base, bytes, PROT_READ) != 0 || mprotect(static_cast<char*>(base) + bytes, page, PROT_NONE) != 0)
      std::abort();
    return ops;
  }();
  return table;
}
IVMServices gServices{GuardedServicesOps()};

// --- the VM services object (the ExecContext's second field) ---------------
std::atomic<int64_t> gServiceCalls{0};

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

const KLVMServicesOps kVMServicesOps{&NewVariant, &ObjectValue, &Information};
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

// --- the language object --------------------------------------------------
const char16_t* const kDaysFr[7] = {u"lundi", u"mardi", u"mercredi", u"jeudi", u"vendredi", u"samedi", u"dimanche"};
const char16_t* const kDaysEn[7] = {u"Monday", u"Tuesday", u"Wednesday", u"Thursday", u"Friday", u"Saturday", u"Sunday"};
const char16_t* const kMonthsFr[12] = {u"janvier", u"février", u"mars",      u"avril",   u"mai",      u"juin",
                                       u"juillet", u"août",    u"septembre", u"octobre", u"novembre", u"décembre"};
const char16_t* const kMonthsEn[12] = {u"January", u"February", u"March",     u"April",   u"May",      u"June",
                                       u"July",    u"August",   u"September", u"October", u"November", u"December"};


}  // namespace

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
    if (it == self->project.end() || !buffer || capacity == 0) return 0;
    const uint32_t n = std::min<uint32_t>(static_cast<uint32_t>(it->second.size()), capacity - 1);
    std::memcpy(buffer, it->second.data(), n * sizeof(kl_char));
    buffer[n] = 0;
    return n;
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

// --- Library ----------------------------------------------------------------
bool FunctionInfo::available() const {
  for (const auto& s : syntaxes)
    if (s.entry) return true;
  return false;
}

int64_t Library::LiveBlocks() { return gLiveBlocks; }
int64_t Library::LiveVariants() { return gLiveVariants; }
KLStringHolder Library::MakeTextBlock(std::u16string_view text) {
  KLStringHolder holder = MakeBlock(text.data(), static_cast<uint32_t>(text.size() * 2));
  if (holder) {
    auto* header = reinterpret_cast<KLStringHeader*>(static_cast<char*>(holder) - sizeof(KLStringHeader));
    header->flags = KL_STRING_KIND_TEXT << KL_STRING_KIND_SHIFT;
  }
  return holder;
}
int64_t Library::ServiceCalls() { return gServiceCalls; }
Library::Counts Library::Counters() { return {gThreadManagerFrees, gServiceFrees, gConversions, gConversionEnds}; }
const IVMServices* Library::Services() { return &gServices; }
std::map<int32_t, std::u16string>& Library::VMInformation() {
  static std::map<int32_t, std::u16string> answers;
  return answers;
}
std::map<uint32_t, std::u16string>& Library::VMMessages() {
  static std::map<uint32_t, std::u16string> messages;
  return messages;
}

std::unique_ptr<Library> Library::Load(const std::string& path, std::string& error, int32_t language,
                                       uintptr_t hookModule) {
  std::unique_ptr<Library> lib(new Library);
  lib->handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!lib->handle_) {
    const char* why = dlerror();
    error = "cannot load " + path + ": " + (why ? why : "unknown error");
    return nullptr;
  }
  if (!lib->Start(error, language, hookModule)) return nullptr;
  return lib;
}

bool Library::Start(std::string& error, int32_t language, uintptr_t hookModule) {
  auto find = [&](const char* name) { return dlsym(handle_, name); };
  exports_.info = reinterpret_cast<decltype(exports_.info)>(find("InfoComposante"));
  exports_.command = reinterpret_cast<decltype(exports_.command)>(find("CommandeComposante"));
  exports_.execution = reinterpret_cast<decltype(exports_.execution)>(find("Execution"));
  exports_.general = reinterpret_cast<decltype(exports_.general)>(find("GeneralParam"));
  exports_.declareProxy = reinterpret_cast<decltype(exports_.declareProxy)>(find("DeclareProxy"));
  exports_.queryProxy = reinterpret_cast<decltype(exports_.queryProxy)>(find("pQueryProxy"));
  exports_.initConversion = reinterpret_cast<decltype(exports_.initConversion)>(find("bInitKLConvFromVM"));
  exports_.compact = reinterpret_cast<decltype(exports_.compact)>(find("nfCompacte"));
  if (!exports_.info || !exports_.command || !exports_.execution || !exports_.general || !exports_.declareProxy ||
      !exports_.queryProxy || !exports_.initConversion || !exports_.compact) {
    error = "the library lacks one of the eight exports";
    return false;
  }
  if (exports_.info(1, 0) != KL_COMPONENT_NUMBER) {
    error = "not component 8";
    return false;
  }

  // The start-up order a VM follows.
  void* self = dlopen(nullptr, RTLD_NOW);
  conversionBound_ = exports_.initConversion(reinterpret_cast<uintptr_t>(self), 2, 2, 0);
  static pthread_key_t key;
  static const bool keyMade = pthread_key_create(&key, nullptr) == 0;
  pthread_setspecific(key, &gThreadManager);
  exports_.general(KL_PARAM_TLS_INDEX, keyMade ? key : 0, 0);
  exports_.general(KL_PARAM_STRING_SERVICE, reinterpret_cast<uintptr_t>(&gService), 0);
  exports_.general(KL_PARAM_STRING_MANAGER, reinterpret_cast<uintptr_t>(&gManager), 0);
  exports_.command(KL_CMD_MESSAGE_CALLBACK, reinterpret_cast<uintptr_t>(&MessageCallback), 0, 0);
  exports_.info(0, 0);
  exports_.info(2, 0);
  ReadTables();

  program_ = std::make_unique<Program>();
  SetLanguage(language);
  uintptr_t start[4] = {0, hookModule, 0, 0};
  exports_.execution(KL_EXEC_START, start);
  return true;
}

Library::~Library() {
  if (exports_.execution) exports_.execution(KL_EXEC_END, nullptr);
  if (handle_) dlclose(handle_);
}

void Library::SetLanguage(int32_t code) {
  uintptr_t block[1] = {static_cast<uintptr_t>(code)};
  exports_.execution(KL_EXEC_LANGUAGE, block);
  program_->SetLanguage(code);
}

void Library::ReadTables() {
  const auto* rows = reinterpret_cast<const KLFunctionRow*>(exports_.info(33, 0));
  const auto count = exports_.info(34, 0);
  for (uintptr_t i = 0; rows && i < count; ++i) {
    FunctionInfo f;
    f.index = i;
    f.french = Cp1252ToUtf8(rows[i].frenchName);
    f.english = Cp1252ToUtf8(rows[i].englishName);
    f.flags = rows[i].flags;
    f.identifier = rows[i].identifier;
    const uint32_t n = rows[i].identifier >> 24;
    for (uint32_t s = 0; s < n; ++s) {
      const KLSyntax& syntax = rows[i].syntaxes[s];
      SyntaxInfo info;
      info.entry = syntax.entry;
      info.result = syntax.descriptor[0];
      for (uint32_t p = 0; p < syntax.parameterCount; ++p) info.params.push_back(syntax.descriptor[1 + p]);
      f.syntaxes.push_back(std::move(info));
    }
    // The French name wins when both languages spell a different function
    // the same way; the English one must not hide it.
    functionIndex_.emplace(FoldName(f.french), functions_.size());
    functionIndex_.emplace(FoldName(f.english), functions_.size());
    functions_.push_back(std::move(f));
  }
  const auto* constants = reinterpret_cast<const KLConstantRow*>(exports_.info(23, 0));
  const auto nConstants = exports_.info(24, 0);
  for (uintptr_t i = 0; constants && i < nConstants; ++i) {
    ConstantInfo c;
    c.french = Cp1252ToUtf8(constants[i].frenchName);
    c.english = Cp1252ToUtf8(constants[i].englishName);
    c.flags = constants[i].flags;
    c.kind = constants[i].kind;
    if (c.kind == KL_CONST_KIND_TEXT && constants[i].value)
      c.text = reinterpret_cast<const char16_t*>(constants[i].value);
    else
      c.value = static_cast<int32_t>(static_cast<uint32_t>(constants[i].value));
    constantIndex_.emplace(FoldName(c.french), constants_.size());
    constantIndex_.emplace(FoldName(c.english), constants_.size());
    constants_.push_back(std::move(c));
  }
  const auto* variables = reinterpret_cast<const KLVariableRow*>(exports_.info(25, 0));
  const auto nVariables = exports_.info(26, 0);
  for (uintptr_t i = 0; variables && i < nVariables; ++i)
    variables_.push_back({Cp1252ToUtf8(variables[i].frenchName), Cp1252ToUtf8(variables[i].englishName),
                          variables[i].flags, variables[i].identifier});
  const auto* names = reinterpret_cast<const char* const*>(exports_.info(31, 0));
  const auto nTypes = exports_.info(32, 0);
  for (uintptr_t i = 0; names && i < nTypes; ++i) typeNames_.push_back(names[i]);
  exports_.info(29, 0);
}

const FunctionInfo* Library::FindFunction(std::string_view name) const {
  auto it = functionIndex_.find(FoldName(name));
  return it == functionIndex_.end() ? nullptr : &functions_[it->second];
}

const ConstantInfo* Library::FindConstant(std::string_view name) const {
  auto it = constantIndex_.find(FoldName(name));
  return it == constantIndex_.end() ? nullptr : &constants_[it->second];
}

namespace {

uint32_t Plain(uint32_t code) { return code & ~uint32_t{KL_T_FLAG_8000}; }

// 2: same type; 1: a conversion the VM makes; 0: no.
int Fit(uint32_t param, const Value& v) {
  switch (Plain(param)) {
    case KL_T_VARIANT: return 1;
    case KL_T_BOOL: return v.type == KL_T_BOOL ? 2 : (v.type == KL_T_INT ? 1 : 0);
    case KL_T_INT: return v.type == KL_T_INT ? 2 : (v.type == KL_T_BOOL ? 1 : 0);
    case KL_T_INT64: return v.type == KL_T_INT64 ? 2 : (v.type == KL_T_INT ? 1 : 0);
    case KL_T_TEXT_CELL:
    case KL_T_TEXT_DIRECT: return v.type == KL_T_TEXT ? 2 : 0;
    case KL_T_BUFFER: return v.type == KL_T_BUFFER ? 2 : (v.type == KL_T_TEXT ? 1 : 0);
    case KL_T_REAL: return v.type == KL_T_REAL ? 2 : (v.type == KL_T_INT || v.type == KL_T_INT64 ? 1 : 0);
    case KL_T_CURRENCY: return v.type == KL_T_CURRENCY ? 2 : (v.type == KL_T_INT || v.type == KL_T_REAL ? 1 : 0);
    case KL_T_DURATION: return v.type == KL_T_DURATION ? 2 : (v.type == KL_T_INT || v.type == KL_T_INT64 ? 1 : 0);
    case KL_T_INSTANCE:
    case KL_T_WINDOW: return v.type == KL_T_INT ? 1 : 0;
    case KL_T_DATE:
    case KL_T_TIME:
    case KL_T_DATETIME: return v.type == KL_T_TEXT ? 1 : 0;
    case KL_T_ARRAY: return 1;
    default: return 0;
  }
}

}  // namespace

Library::CallStatus Library::Call(const FunctionInfo& function, const std::vector<Value>& args, Value& result,
                                  std::string& why, Assigned* assigned) {
  const SyntaxInfo* best = nullptr;
  const SyntaxInfo* unavailable = nullptr;
  int bestScore = -1;
  for (const auto& s : function.syntaxes) {
    if (s.params.size() != args.size()) continue;
    int score = 0;
    bool fits = true;
    for (size_t i = 0; i < args.size() && fits; ++i) {
      const int f = Fit(s.params[i], args[i]);
      fits = f > 0;
      score += f;
    }
    if (!fits) continue;
    if (!s.entry) {
      if (!unavailable) unavailable = &s;
      continue;
    }
    if (score > bestScore) {
      best = &s;
      bestScore = score;
    }
  }
  if (!best) {
    if (unavailable) {
      why = function.french + "/" + function.english + ": this syntax is not available on this platform";
      return CallStatus::Unavailable;
    }
    why = function.french + "/" + function.english + ": no syntax takes " + std::to_string(args.size()) +
          " argument(s) of these types";
    return CallStatus::NoMatch;
  }
  CallSyntax(*best, args, result, assigned);
  return CallStatus::Ok;
}

void Library::CallSyntax(const SyntaxInfo& syntax, const std::vector<Value>& args, Value& result,
                         Assigned* assigned) {
  // Cells live until the call returns; a deque keeps their addresses.
  std::deque<int64_t> numbers;
  std::deque<const kl_char*> textCells;
  std::deque<KLCurrency> currencies;
  std::deque<KLStringHolder> blocks;
  std::vector<std::pair<size_t, HostVariant*>> variants;  // argument index, variant
  std::vector<std::u16string> texts;
  texts.reserve(args.size());
  std::vector<void*> elements(args.size() + 1, nullptr);

  for (size_t i = 0; i < args.size(); ++i) {
    const Value& v = args[i];
    switch (Plain(syntax.params[i])) {
      case KL_T_BOOL:
      case KL_T_INT: {
        numbers.push_back(0);
        const int32_t n = static_cast<int32_t>(v.integer);
        std::memcpy(&numbers.back(), &n, sizeof n);
        elements[i] = &numbers.back();
        break;
      }
      case KL_T_INT64:
      case KL_T_DURATION:
        numbers.push_back(v.integer);
        elements[i] = &numbers.back();
        break;
      case KL_T_INSTANCE:
      case KL_T_WINDOW: {
        numbers.push_back(0);
        const uint32_t h = static_cast<uint32_t>(v.integer);
        std::memcpy(&numbers.back(), &h, sizeof h);
        elements[i] = &numbers.back();
        break;
      }
      case KL_T_REAL: {
        numbers.push_back(0);
        const double r = v.type == KL_T_REAL ? v.real : static_cast<double>(v.integer);
        std::memcpy(&numbers.back(), &r, sizeof r);
        elements[i] = &numbers.back();
        break;
      }
      case KL_T_CURRENCY: {
        currencies.push_back(v.type == KL_T_CURRENCY ? KLCurrency{v.integer, v.scale}
                             : v.type == KL_T_REAL     ? KLCurrency{static_cast<int64_t>(v.real * 10000), 4}
                                                       : KLCurrency{v.integer, 0});
        elements[i] = &currencies.back();
        break;
      }
      case KL_T_DATE:
      case KL_T_TIME:
      case KL_T_DATETIME:
      case KL_T_TEXT_CELL:
        texts.push_back(v.text);
        textCells.push_back(texts.back().c_str());
        elements[i] = &textCells.back();
        break;
      case KL_T_TEXT_DIRECT:
        texts.push_back(v.text);
        elements[i] = const_cast<char16_t*>(texts.back().c_str());
        break;
      case KL_T_BUFFER: {
        const bool isText = v.type == KL_T_TEXT;
        blocks.push_back(isText ? MakeBlock(v.text.data(), static_cast<uint32_t>(v.text.size() * 2))
                                : MakeBlock(v.bytes.data(), static_cast<uint32_t>(v.bytes.size())));
        elements[i] = &blocks.back();
        break;
      }
      default: {
        variants.emplace_back(i, NewHostVariant(v));
        elements[i] = &variants.back().second->base;
        break;
      }
    }
  }

  static uint32_t nextHandle = 1;
  CallContext call{};
  call.vm = &gServices;
  call.resultHandle = nextHandle++;
  result = Value{};
  gPending = PendingResult{call.resultHandle, &result, false};
  syntax.entry(&call, program_->context(), elements.data());
  gPending = PendingResult{};

  for (auto* b : blocks)
    if (b) ManagerFree(&gManager, const_cast<KLStringHeader*>(HeaderOf(b)));
  if (assigned) assigned->assign(args.size(), std::nullopt);
  for (auto [index, v] : variants) {
    if (assigned && v->assigned) (*assigned)[index] = std::move(v->value);
    VariantRelease(&v->base, 1);
  }
}

std::string TypeName(uint32_t code) {
  switch (code & ~uint32_t{KL_T_FLAG_8000}) {
    case KL_T_NONE: return "none";
    case KL_T_BOOL: return "boolean";
    case KL_T_INT: return "integer";
    case KL_T_INT64: return "integer8";
    case KL_T_CURRENCY: return "currency";
    case KL_T_REAL: return "real";
    case KL_T_INSTANCE: return "instance";
    case KL_T_WINDOW: return "window";
    case KL_T_TEXT_CELL:
    case KL_T_TEXT: return "text";
    case KL_T_TEXT_DIRECT: return "text (direct)";
    case KL_T_DURATION: return "duration";
    case KL_T_BUFFER: return "buffer";
    case KL_T_VARIANT: return "variant";
    default: return "type " + std::to_string(code);
  }
}

}  // namespace kphost

// --- the VM's conversion services, found by name in this program -------------
// 8-bit text is Windows-1252, the ANSI code page, unless the extended form
// names another code page. Every call is counted.
namespace {

int32_t Convert(const char* from, const char* to, const void* source, size_t inBytes, size_t unit, void** result) {
  iconv_t cd = iconv_open(to, from);
  if (cd == reinterpret_cast<iconv_t>(-1)) return -1;
  const size_t capacity = inBytes * 4 + 4;
  char* out = static_cast<char*>(std::malloc(capacity));
  if (!out) {
    iconv_close(cd);
    return -1;
  }
  char* in = const_cast<char*>(static_cast<const char*>(source));
  char* o = out;
  size_t inLeft = inBytes, outLeft = capacity - 4;
  while (inLeft > 0) {
    if (iconv(cd, &in, &inLeft, &o, &outLeft) == static_cast<size_t>(-1)) {
      if (errno != EILSEQ || outLeft < unit) break;
      // A character without a place in the target: "?" as the system does.
      if (unit == 2) {
        *o++ = '?';
        *o++ = 0;
      } else {
        *o++ = '?';
      }
      outLeft -= unit;
      const size_t skip = unit == 1 ? 2 : 1;  // one UTF-16 unit, or one byte
      in += skip;
      inLeft = inLeft > skip ? inLeft - skip : 0;
    }
  }
  iconv_close(cd);
  std::memset(o, 0, 4);
  *result = out;
  return static_cast<int32_t>((o - out) / unit);
}

// The iconv name of a Windows code page; 0 is the ANSI code page.
std::string IconvName(uint32_t codePage) {
  if (codePage == 0 || codePage == 1252) return "WINDOWS-1252";
  if (codePage == 65001) return "UTF-8";
  if (codePage == 20127) return "ASCII";
  if (codePage >= 28591 && codePage <= 28606) return "ISO-8859-" + std::to_string(codePage - 28590);
  return "CP" + std::to_string(codePage);
}

int32_t ConvertIn(int32_t direction, uint32_t codePage, const void* source, int32_t length, void** result) {
  ++kphost::gConversions;
  if (!result || length < 0 || (!source && length)) return -1;
  const std::string name = IconvName(codePage);
  if (direction == KL_CONV_TO_UTF16) return Convert(name.c_str(), "UTF-16LE", source, length, 2, result);
  if (direction == KL_CONV_FROM_UTF16) return Convert("UTF-16LE", name.c_str(), source, length * 2u, 1, result);
  return -1;
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
  ++kphost::gConversionEnds;
  std::free(result);
}

}  // extern "C"
