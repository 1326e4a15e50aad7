// kp160std — string blocks: allocation through the current manager, release
// through the string service when the VM set one.
#include "abi/strings.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "abi/state.h"

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

void ReleaseHolder(KLStringHolder& holder) {
  if (!holder) return;
  void* block = HeaderOf(holder);
  auto& state = State();
  if (state.stringService) {
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

}  // namespace kp
