// The VM services object behind an ExecContext, as the library's runtime
// reaches it: numbered information, and nothing asked of a VM without one.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "abi/vm.h"

namespace kp {
namespace {

int gAsked = 0;
uint32_t KL_CALL Information(KLVMServices*, int32_t number, kl_char* buffer, uint32_t capacity) {
  ++gAsked;
  if (number != KL_VM_INFO_UPDATE_LOCATION) return 0;
  const std::u16string answer = u"http://updates.example/app";
  const uint32_t n = std::min<uint32_t>(static_cast<uint32_t>(answer.size()), capacity - 1);
  std::memcpy(buffer, answer.data(), n * sizeof(kl_char));
  buffer[n] = 0;
  return n;
}

TEST(VMServicesObject, InformationByNumber) {
  const KLVMServicesOps ops{nullptr, nullptr, &Information};
  KLVMServices services{&ops};
  ExecContext context{nullptr, &services};
  gAsked = 0;
  EXPECT_EQ(VMInformation(&context, KL_VM_INFO_UPDATE_LOCATION), u"http://updates.example/app");
  EXPECT_EQ(VMInformation(&context, 81), std::nullopt) << "no answer";
  EXPECT_EQ(gAsked, 2);
  // Without the object, or without the operation, nothing is asked.
  ExecContext bare{nullptr, nullptr};
  EXPECT_EQ(VMInformation(&bare, KL_VM_INFO_UPDATE_LOCATION), std::nullopt);
  const KLVMServicesOps none{};
  KLVMServices empty{&none};
  ExecContext withoutOperation{nullptr, &empty};
  EXPECT_EQ(VMInformation(&withoutOperation, KL_VM_INFO_UPDATE_LOCATION), std::nullopt);
  EXPECT_EQ(VMInformation(nullptr, KL_VM_INFO_UPDATE_LOCATION), std::nullopt);
  EXPECT_EQ(gAsked, 2);
}

}  // namespace
}  // namespace kp
