// Shared memory: the administration block as another process may have left
// it (any 84 bytes). The slot functions keep their bounds (at most 20
// enrolled, the count never past 20 after a change, an enrolled identifier
// found again), and a real block whose administration block holds the bytes
// still writes, notifies, waits and closes without a fault.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "files/file_io.h"
#include "files/handles.h"
#include "files/shared_memory.h"
#include "platform/named_objects.h"
#include "support/fake_context.h"

namespace {

using namespace kp::files;
namespace named = kp::platform::named;

void Check(bool ok) {
  if (!ok) std::abort();
}

kp::test::FakeContext* gContext = nullptr;
int32_t gBlock = -1;
named::Handle gAdminMapping = named::kNoHandle;
uint8_t* gAdmin = nullptr;

// Nothing of the run may stay in /dev/shm.
void CleanUp() {
  if (gAdmin) named::UnmapView(gAdmin);
  if (gAdminMapping) named::CloseHandle(gAdminMapping);
  Handles().CloseAll();
  StopMemListener();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // A device prefix of its own, so that the block meets nobody else's.
  static std::string dir = "/tmp/kp-fuzz-shm-" + std::to_string(getpid());
  setenv("KP_PREFIX", dir.c_str(), 1);
  gContext = new kp::test::FakeContext;
  gBlock = MemOpen(*gContext, u"fuzz", 4096, kMemScopeLocal, foReadWrite, {});
  gAdminMapping = named::OpenMapping(u"Local\\fuzz_ADM", true);
  if (gAdminMapping) gAdmin = static_cast<uint8_t*>(named::MapView(gAdminMapping, true, kAdminSize));
  std::atexit(CleanUp);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  uint8_t block[kAdminSize] = {};
  std::memcpy(block, data, size < kAdminSize ? size : kAdminSize);
  const uint32_t pid = size >= kAdminSize + 4
                           ? data[kAdminSize] | data[kAdminSize + 1] << 8 | data[kAdminSize + 2] << 16 |
                                 static_cast<uint32_t>(data[kAdminSize + 3]) << 24
                           : 4242;

  Check(AdminOthers(block, pid).size() <= kAdminSlots);
  uint8_t enrolled[kAdminSize];
  std::memcpy(enrolled, block, kAdminSize);
  const bool in = AdminEnrol(enrolled, pid);
  Check(enrolled[1] <= kAdminSlots || enrolled[1] == block[1]);
  if (in) {
    bool found = false;
    const size_t count = enrolled[1] < kAdminSlots ? enrolled[1] : kAdminSlots;
    for (size_t i = 0; i < count; ++i) {
      uint32_t slot = 0;
      std::memcpy(&slot, enrolled + 4 + 4 * i, 4);
      found |= slot == pid;
    }
    Check(found);
    Check(AdminOthers(enrolled, pid).size() < kAdminSlots);
  }
  AdminWithdraw(enrolled, pid);
  Check(enrolled[1] <= kAdminSlots || enrolled[1] == block[1]);

  // The real block with those bytes in its administration block.
  if (gBlock >= 2 && gAdmin) {
    std::memcpy(gAdmin, block, kAdminSize);
    const uint8_t bytes[] = {1, 2, 3};
    Write(*gContext, gBlock, bytes, -1);
    MemWait(*gContext, gBlock, 1);
    Seek(*gContext, gBlock, 0, 0);
    gContext->clearError();
  }
  return 0;
}
