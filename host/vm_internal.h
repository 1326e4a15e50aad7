// kp — what the VM side's files share: the host's string manager and blocks,
// its variants, the services objects handed to the library, and the counters
// the tests read. Internal to host/vm_*.cpp.
//
// Thread-safety: the counters are atomic; the pending result (gPending) is
// the one call in progress on the thread that drives the Library.
#pragma once

#include <atomic>
#include <cstdint>

#include "vm.h"

namespace kphost::detail {

// --- string blocks (vm_blocks.cpp) ----------------------------------------
extern std::atomic<int64_t> gLiveBlocks;
extern std::atomic<int64_t> gThreadManagerFrees;
extern std::atomic<int64_t> gServiceFrees;
// Calls of the conversion services (nConversionDepassement and its Ex form)
// and of FinConversion.
extern std::atomic<int64_t> gConversions;
extern std::atomic<int64_t> gConversionEnds;
extern KLStringManager gManager;
extern KLStringManager gThreadManager;
extern KLStringService gService;
void KL_CALL ManagerFree(KLStringManager*, void* block);
KLStringHolder MakeBlock(const void* data, uint32_t length);
const KLStringHeader* HeaderOf(const void* holder);

// --- variants (vm_variants.cpp) -------------------------------------------
struct HostVariant {
  KLVariant base;
  Value value;
  bool assigned = false;  // Set was called: a by-reference argument was written
};
extern std::atomic<int64_t> gLiveVariants;
Value FromKL(const KLValue& v);
KLValue ToKL(const Value& v);
HostVariant* NewHostVariant(Value v = {});
// Releases a variant (flags bit 1: the last reference, the variant is freed).
void KL_CALL VariantRelease(KLVariant* self, int32_t flags);

// --- services (vm_services.cpp) -------------------------------------------
// The result cell SetResult fills during one call.
struct PendingResult {
  uint32_t handle = 0;
  Value* out = nullptr;
  bool set = false;
};
extern PendingResult gPending;
extern IVMServices gServices;
extern KLVMServices gVMServices;
extern std::atomic<int64_t> gServiceCalls;
uint32_t KL_CALL MessageCallback(uint32_t number, kl_char* buffer, uint32_t capacity);

// --- tables (vm_tables.cpp): the table operations of the services object ---
int32_t KL_CALL TableColumnCount(KLVMServices* self, const kl_char* table);
int32_t KL_CALL TableTitle(KLVMServices* self, const kl_char* table, int32_t column, kl_char* buffer,
                           uint32_t capacity);
int32_t KL_CALL TableRowCount(KLVMServices* self, const kl_char* table);
int32_t KL_CALL TableCell(KLVMServices* self, const kl_char* table, int32_t row, int32_t column, kl_char* buffer,
                          uint32_t capacity);

}  // namespace kphost::detail
