// kp160std — the eight exports through which the VM drives the library.
//
// They run on the VM's thread during start-up and around a program's run,
// take no lock and keep their state in plain globals (component/state.h).
// Unknown selectors, commands, messages and codes answer 0 and change nothing.
#include <memory>
#include <new>

#include "abi/messages.h"
#include "abi/strings.h"
#include "abi/state.h"
#include "component/tables.h"
#include "desktop/tray.h"
#include "encoding/compress.h"
#include "kp160std/abi.h"
#include "platform/platform.h"

namespace kp {

LibraryState& State() {
  static LibraryState state;
  return state;
}

namespace {

// The two texts of selector 4, both empty at load: the language code of
// Execution 5123 chooses between them (12 the first, any other the second).
// Two arrays, so that the choice can be told even while both are empty.
const kl_char kFirstText[] = {0};
const kl_char kSecondText[] = {0};
const kl_char* const kSelectorTexts[2] = {kFirstText, kSecondText};

// The optional hook module: created by the first Execution 3985, told to stop
// and destroyed when the use count drops from 1 to 0. The library speaks to it
// only through the module's own "Execution" export.
struct Hook {
  KLHookExecution execution = nullptr;
  bool stopping = false;

  uintptr_t Send(uint32_t message, uintptr_t* block) const { return execution(message, block); }
  void Start(uintptr_t w2, uintptr_t w3) const {
    uintptr_t words[2] = {w2, w3};
    Send(KL_EXEC_START, words);
  }
  void Stop() {
    stopping = true;
    Send(KL_EXEC_END, nullptr);
  }
};

std::unique_ptr<Hook>& TheHook() {
  static std::unique_ptr<Hook> hook;
  return hook;
}
int32_t& UseCount() {
  static int32_t count = 0;
  return count;
}

uintptr_t Forward(uint32_t message, uintptr_t* block) {
  auto& hook = TheHook();
  return hook ? hook->Send(message, block) : 0;
}

uintptr_t Word(const uintptr_t* block, int i) { return block ? block[i] : 0; }

// The proxy object of pQueryProxy 60. Its operations are the VM's to define;
// the library only makes it and lets the VM release it.
struct Proxy;
struct ProxyOps {
  void(KL_CALL* Release)(Proxy* self, int32_t flags);
};
struct Proxy {
  const ProxyOps* ops;
};
void KL_CALL ReleaseProxy(Proxy* self, int32_t flags) {
  if (flags & 1) delete self;
}
constexpr ProxyOps kProxyOps{&ReleaseProxy};
Proxy* NewProxy() { return new (std::nothrow) Proxy{&kProxyOps}; }

}  // namespace

int32_t HookUseCount() { return UseCount(); }
bool HookExists() { return TheHook() != nullptr; }

}  // namespace kp

using namespace kp;

extern "C" {

KL_EXPORT uintptr_t KL_CALL InfoComposante(uint32_t selector, uint32_t index) {
  switch (selector) {
    case 0: return 9;
    case 1: return KL_COMPONENT_NUMBER;
    case 2: return 872;
    case 3:
    case 30: return 1;
    case 4: return reinterpret_cast<uintptr_t>(kSelectorTexts[French() ? 0 : 1]);
    case 13: return 0;  // a library value that nothing sets
    case 23: return reinterpret_cast<uintptr_t>(ConstantTable());
    case 24: return KL_CONSTANT_COUNT;
    case 25: return reinterpret_cast<uintptr_t>(VariableTable());
    case 26: return KL_VARIABLE_COUNT;
    case 29: return reinterpret_cast<uintptr_t>(TypeDescriptorTableAddress());
    case 31: return reinterpret_cast<uintptr_t>(TypeNameTable());
    case 32: return KL_TYPE_COUNT;
    case 33: return reinterpret_cast<uintptr_t>(FunctionTable());
    case 34: return KL_FUNCTION_COUNT;
    case 35: return 0;  // a library value that nothing sets
    default: return 0;
  }
}

// Internal: not exported, the VM reaches it by address only.
uintptr_t KL_CALL InfoComposanteEx(uintptr_t, uint32_t selector, uint32_t index) {
  return InfoComposante(selector, index);
}

KL_EXPORT uintptr_t KL_CALL CommandeComposante(uint32_t command, uintptr_t record, uintptr_t, uintptr_t) {
  switch (command) {
    case KL_CMD_MESSAGE_CALLBACK:
      State().messageCallback = reinterpret_cast<KLMessageTextCallback>(record);
      return 1;
    case KL_CMD_MESSAGE_TEXT: {
      auto* words = reinterpret_cast<uintptr_t*>(record);
      if (!words) return 0;
      const uint32_t outcome = CopyMessageText(static_cast<uint32_t>(words[1]), reinterpret_cast<kl_char*>(words[2]),
                                               static_cast<uint32_t>(words[3]));
      words[4] = outcome;
      return outcome;
    }
    case KL_CMD_MESSAGE_ATTRIBUTE: return static_cast<uintptr_t>(static_cast<intptr_t>(MessageAttribute(record)));
    default: return 0;
  }
}

KL_EXPORT uintptr_t KL_CALL Execution(uint32_t message, uintptr_t* block) {
  auto& state = State();
  auto& hook = TheHook();
  switch (message) {
    case KL_EXEC_START: {
      if (!hook) {
        auto made = std::unique_ptr<Hook>(new (std::nothrow) Hook);
        if (!made) return 0;
        made->execution =
            reinterpret_cast<KLHookExecution>(platform::FindSymbol(Word(block, 1), "Execution"));
        if (!made->execution) return 0;  // the VM goes on without a hook
        hook = std::move(made);
      }
      hook->Start(Word(block, 2), Word(block, 3));
      ++UseCount();
      return 1;
    }
    case KL_EXEC_END:
      // Without a matching start the count goes negative and nothing else happens.
      if (--UseCount() == 0) {
        desktop::EndTrayIcon();
        if (hook) {
          hook->Stop();
          hook.reset();
        }
      }
      return 1;
    case KL_EXEC_SETTINGS:
    case KL_EXEC_SETTINGS_EX:
      state.settings[0] = Word(block, 0);
      state.settings[1] = Word(block, 1);
      if (message == KL_EXEC_SETTINGS_EX) state.settings[2] = Word(block, 2);
      Forward(message, block);
      return 1;
    case KL_EXEC_FILTER:
      if (state.filter && state.filter->ops->Verdict(state.filter, block) < 2) return 1;
      if (hook && hook->Send(message, block) == 0) return 2;
      return 1;
    case KL_EXEC_LANGUAGE:
      state.languageCode = static_cast<int32_t>(Word(block, 0));
      Forward(message, block);
      return 1;
    case KL_EXEC_FORWARD: return hook && hook->Send(message, block) != 0 ? 1 : 0;
    default: return 0;
  }
}

KL_EXPORT uintptr_t KL_CALL GeneralParam(uint32_t code, uintptr_t value, uintptr_t extra) {
  auto& state = State();
  switch (code) {
    case KL_PARAM_TLS_INDEX:
      state.tlsIndex = static_cast<uint32_t>(value);
      state.tlsIndexValid = true;
      return 1;
    case KL_PARAM_STRING_SERVICE: state.stringService = reinterpret_cast<KLStringService*>(value); return 1;
    case KL_PARAM_STRING_MANAGER:
      // Only the manager the library made for itself is ever released here.
      if (state.ownsStringManager && state.stringManager)
        state.stringManager->ops->Release(state.stringManager, 1, extra);
      state.stringManager = reinterpret_cast<KLStringManager*>(value);
      state.ownsStringManager = false;
      return 1;
    default: return 0;
  }
}

KL_EXPORT void KL_CALL DeclareProxy(uintptr_t* out1, uint16_t* out2, uintptr_t* out3, uint16_t* out4) {
  if (out1) *out1 = State().proxyValues[0];
  if (out2) *out2 = 0;
  if (out3) *out3 = State().proxyValues[1];
  if (out4) *out4 = 0;
}

KL_EXPORT uintptr_t KL_CALL pQueryProxy(uint32_t code) {
  if (code != 60) return 0;
  return reinterpret_cast<uintptr_t>(NewProxy());
}

KL_EXPORT int32_t KL_CALL bInitKLConvFromVM(uintptr_t module, uint32_t low, uint32_t high, uintptr_t) {
  if (low < 2 || high > 2) return 0;  // the library speaks version 2 only
  auto convert = reinterpret_cast<KLConversionFn>(platform::FindSymbol(module, "nConversionDepassement"));
  auto convertEx = reinterpret_cast<KLConversionExFn>(platform::FindSymbol(module, "nConversionDepassementEx"));
  auto end = reinterpret_cast<KLEndConversionFn>(platform::FindSymbol(module, "FinConversion"));
  if (!convert || !end) return 0;
  auto& conv = State().conversion;
  conv.module = module;
  conv.low = low;
  conv.high = high;
  conv.convert = convert;
  conv.convertEx = convertEx;
  conv.end = end;
  conv.ready = true;
  return 1;
}

// (source file, destination file): the source's zlib stream written to the
// destination; the compressed size in percent of the original, or -1 (a name
// missing or not absolute), -2 (source unreadable), -3 (destination not
// written). No error record here: the caller has no context to give.
KL_EXPORT int16_t KL_CALL nfCompacte(const kl_char* source, const kl_char* destination) {
  try {
    return encoding::CompactFile(View(source), View(destination));
  } catch (...) {
    return -3;  // out of memory while compressing: nothing was written
  }
}

}  // extern "C"
