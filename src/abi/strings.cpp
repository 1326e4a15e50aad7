// kp160std — string blocks: allocation through the current manager, release
// through the VM's per-thread manager or its string service when it gave
// them; 8-bit text through the VM's conversion services when bound.
#include "abi/strings.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>

#include "abi/state.h"
#include "platform/codepage.h"
#include "platform/tls.h"

namespace kp {
namespace {

// The library's own manager, used until the VM hands its own over with
// GeneralParam 2008.
void* KL_CALL OwnAlloc(KLStringManager*, uint32_t bytes) { return std::malloc(bytes); }
void KL_CALL OwnFree(KLStringManager*, void* block) { std::free(block); }
void KL_CALL OwnRelease(KLStringManager*, int32_t, uintptr_t) {}
const KLStringManagerOps kOwnOps{&OwnAlloc, &OwnFree, &OwnRelease};
KLStringManager gOwnManager{&kOwnOps};

KLStringManager* Manager() {
  auto& state = State();
  if (!state.stringManager) {
    state.stringManager = &gOwnManager;
    state.ownsStringManager = true;
  }
  return state.stringManager;
}

KLStringHeader* HeaderOf(KLStringHolder holder) {
  return reinterpret_cast<KLStringHeader*>(static_cast<char*>(holder) - sizeof(KLStringHeader));
}

KLStringHolder MakeBlock(const void* data, uint32_t length, uint32_t terminator, uint32_t kind) {
  if (length == 0) return nullptr;
  if (length > UINT32_MAX - sizeof(KLStringHeader) - terminator) throw std::bad_alloc();
  const uint32_t capacity = length + terminator;
  auto* manager = Manager();
  void* block = manager->ops->Alloc(manager, static_cast<uint32_t>(sizeof(KLStringHeader)) + capacity);
  if (!block) throw std::bad_alloc();
  auto* header = static_cast<KLStringHeader*>(block);
  *header = KLStringHeader{0, 0, capacity, length, kind << KL_STRING_KIND_SHIFT};
  char* body = reinterpret_cast<char*>(header + 1);
  std::memcpy(body, data, length);
  std::memset(body + length, 0, terminator);
  return body;
}

}  // namespace

KLStringHolder MakeTextHolder(std::u16string_view text) {
  if (text.size() > UINT32_MAX / 2) throw std::bad_alloc();
  return MakeBlock(text.data(), static_cast<uint32_t>(text.size() * 2), 2, KL_STRING_KIND_TEXT);
}

KLStringHolder MakeBytesHolder(std::span<const uint8_t> bytes) {
  if (bytes.size() > UINT32_MAX / 2) throw std::bad_alloc();
  // Two zero bytes after the data, so a buffer read as text stays terminated.
  return MakeBlock(bytes.data(), static_cast<uint32_t>(bytes.size()), 2, KL_STRING_KIND_BYTES);
}

namespace {

// The VM's string manager of this thread, when it gave a thread-local index
// and this thread's slot holds one.
KLStringManager* ThreadManager() {
  const auto& state = State();
  if (!state.tlsIndexValid) return nullptr;
  auto* manager = static_cast<KLStringManager*>(platform::ThreadSlotValue(state.tlsIndex));
  return manager && manager->ops && manager->ops->Free ? manager : nullptr;
}

// One conversion through the VM's services: the result is copied and handed
// back to FinConversion; nullopt when the services are not bound or refuse
// (the caller then converts with the platform's code page).
template <typename Out>
std::optional<Out> ConvertThroughVM(int32_t direction, const void* source, size_t length) {
  const auto& conv = State().conversion;
  if (!conv.ready || !conv.convert || !conv.end || length > static_cast<size_t>(INT32_MAX)) return std::nullopt;
  void* result = nullptr;
  const int32_t n = conv.convertEx ? conv.convertEx(direction, platform::AnsiCodePage(), source,
                                                    static_cast<int32_t>(length), &result)
                                   : conv.convert(direction, source, static_cast<int32_t>(length), &result);
  std::optional<Out> out;
  if (n >= 0 && (result || n == 0)) {
    using Unit = typename Out::value_type;
    out.emplace();
    if (n > 0) out->assign(static_cast<const Unit*>(result), static_cast<size_t>(n));
  }
  if (result) conv.end(result);
  return out;
}

}  // namespace

void ReleaseHolder(KLStringHolder& holder) {
  if (!holder) return;
  void* block = HeaderOf(holder);
  auto& state = State();
  if (KLStringManager* perThread = ThreadManager()) {
    perThread->ops->Free(perThread, block);
  } else if (state.stringService) {
    state.stringService->ops->FreeBlock(state.stringService, block);
  } else {
    auto* manager = Manager();
    manager->ops->Free(manager, block);
  }
  holder = nullptr;
}

std::u16string_view HolderText(KLStringHolder holder) {
  if (!holder) return {};
  return {static_cast<const char16_t*>(holder), HeaderOf(holder)->length / 2};
}

std::span<const uint8_t> HolderBytes(KLStringHolder holder) {
  if (!holder) return {};
  return {static_cast<const uint8_t*>(holder), HeaderOf(holder)->length};
}

std::string ToEightBit(std::u16string_view text) {
  if (auto out = ConvertThroughVM<std::string>(KL_CONV_FROM_UTF16, text.data(), text.size())) return *out;
  return platform::ToAnsi(text);
}

std::u16string FromEightBit(std::string_view bytes) {
  if (auto out = ConvertThroughVM<std::u16string>(KL_CONV_TO_UTF16, bytes.data(), bytes.size())) return *out;
  return platform::FromAnsi(bytes);
}

}  // namespace kp
