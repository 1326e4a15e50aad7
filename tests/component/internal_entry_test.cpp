// The internal second entry of InfoComposante: not exported, so it is
// checked here, beside the objects, rather than through the loaded library.
#include <gtest/gtest.h>

#include "component/tables.h"

namespace {

TEST(InternalEntry, ForwardsEverySelectorIgnoringItsFirstArgument) {
  for (uintptr_t ignored : {uintptr_t{0}, uintptr_t{12345}, ~uintptr_t{0}})
    for (uint32_t selector : {0u, 1u, 2u, 4u, 23u, 24u, 29u, 33u, 34u, 99u})
      EXPECT_EQ(InfoComposanteEx(ignored, selector, 0), InfoComposante(selector, 0)) << selector;
  EXPECT_EQ(InfoComposanteEx(7, 34, 0), 445u);
}

}  // namespace
