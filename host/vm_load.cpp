// kp — loading the library as a VM does: the eight exports, the start-up
// order, the declaration tables read into FunctionInfo and ConstantInfo, and
// the end of the run.
#include "os.h"
#include "names.h"
#include "text.h"
#include "vm_internal.h"

namespace kphost {
using namespace detail;

// --- Library ----------------------------------------------------------------
bool FunctionInfo::available() const {
  for (const auto& s : syntaxes)
    if (s.entry) return true;
  return false;
}

std::unique_ptr<Library> Library::Load(const std::string& path, std::string& error, int32_t language,
                                       uintptr_t hookModule) {
  std::unique_ptr<Library> lib(new Library);
  lib->handle_ = os::OpenLibrary(path, error);
  if (!lib->handle_) return nullptr;
  if (!lib->Start(error, language, hookModule)) return nullptr;
  return lib;
}

bool Library::Start(std::string& error, int32_t language, uintptr_t hookModule) {
  auto find = [&](const char* name) { return os::FindExport(handle_, name); };
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
  conversionBound_ = exports_.initConversion(os::ProgramModule(), 2, 2, 0);
  uintptr_t slot = 0;
  const bool slotMade = os::SetThreadSlot(&gThreadManager, slot);
  exports_.general(KL_PARAM_TLS_INDEX, slotMade ? slot : 0, 0);
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
  if (handle_) os::CloseLibrary(handle_);
}

void Library::SetLanguage(int32_t code) {
  uintptr_t block[1] = {static_cast<uintptr_t>(code)};
  exports_.execution(KL_EXEC_LANGUAGE, block);
  program_->SetLanguage(code);
}

namespace {

// Rows by accent-folded name; kAmbiguous where two rows meet.
constexpr size_t kAmbiguous = ~size_t{0};

void AddLoose(std::map<std::string, size_t>& index, const std::string& name, size_t row) {
  auto [it, added] = index.emplace(FoldAccents(name), row);
  if (!added && it->second != row) it->second = kAmbiguous;
}

size_t FindIn(const std::map<std::string, size_t>& exact, const std::map<std::string, size_t>& loose,
              std::string_view name) {
  if (auto it = exact.find(FoldName(name)); it != exact.end()) return it->second;
  auto it = loose.find(FoldAccents(name));
  return it == loose.end() ? kAmbiguous : it->second;
}

}  // namespace

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
    AddLoose(looseFunctionIndex_, f.french, functions_.size());
    AddLoose(looseFunctionIndex_, f.english, functions_.size());
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
    AddLoose(looseConstantIndex_, c.french, constants_.size());
    AddLoose(looseConstantIndex_, c.english, constants_.size());
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
  const size_t row = FindIn(functionIndex_, looseFunctionIndex_, name);
  return row == kAmbiguous ? nullptr : &functions_[row];
}

const ConstantInfo* Library::FindConstant(std::string_view name) const {
  const size_t row = FindIn(constantIndex_, looseConstantIndex_, name);
  return row == kAmbiguous ? nullptr : &constants_[row];
}

}  // namespace kphost
