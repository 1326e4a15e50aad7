// kp — the VM's string blocks: the string manager (GeneralParam 2008), the
// per-thread manager under the thread-local index (2005), the string service
// (2006), and the blocks the host makes for buffer and text arguments.
#include <cstdlib>
#include <cstring>

#include "vm_internal.h"

namespace kphost {
namespace detail {

std::atomic<int64_t> gLiveBlocks{0};
std::atomic<int64_t> gConversions{0};
std::atomic<int64_t> gConversionEnds{0};

// --- string blocks --------------------------------------------------------
namespace {
void* KL_CALL ManagerAlloc(KLStringManager*, uint32_t bytes) {
  void* p = std::malloc(bytes ? bytes : 1);
  if (p) ++gLiveBlocks;
  return p;
}
}  // namespace
void KL_CALL ManagerFree(KLStringManager*, void* block) {
  if (!block) return;
  --gLiveBlocks;
  std::free(block);
}
namespace {
void KL_CALL ManagerRelease(KLStringManager*, int32_t, uintptr_t) {}
const KLStringManagerOps kManagerOps{&ManagerAlloc, &ManagerFree, &ManagerRelease};
}  // namespace
KLStringManager gManager{&kManagerOps};

// The per-thread manager the VM keeps under its thread-local index
// (GeneralParam 2005): the loading thread's slot holds it. Its frees are
// counted apart from the string service's, so tests see which path the
// library took.
std::atomic<int64_t> gThreadManagerFrees{0};
std::atomic<int64_t> gServiceFrees{0};
namespace {
void KL_CALL ThreadManagerFree(KLStringManager* self, void* block) {
  ++gThreadManagerFrees;
  ManagerFree(self, block);
}
const KLStringManagerOps kThreadManagerOps{&ManagerAlloc, &ThreadManagerFree, &ManagerRelease};
}  // namespace
KLStringManager gThreadManager{&kThreadManagerOps};

namespace {
void KL_CALL ServiceFree(KLStringService*, void* block) {
  ++gServiceFrees;
  ManagerFree(&gManager, block);
}
const KLStringServiceOps kServiceOps{&ServiceFree};
}  // namespace
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

}  // namespace detail

using namespace detail;

int64_t Library::LiveBlocks() { return gLiveBlocks; }
KLStringHolder Library::MakeTextBlock(std::u16string_view text) {
  KLStringHolder holder = MakeBlock(text.data(), static_cast<uint32_t>(text.size() * 2));
  if (holder) {
    auto* header = reinterpret_cast<KLStringHeader*>(static_cast<char*>(holder) - sizeof(KLStringHeader));
    header->flags = KL_STRING_KIND_TEXT << KL_STRING_KIND_SHIFT;
  }
  return holder;
}
Library::Counts Library::Counters() { return {gThreadManagerFrees, gServiceFrees, gConversions, gConversionEnds}; }

}  // namespace kphost
