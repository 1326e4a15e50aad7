// Loading the built library for the ABI tests.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "vm.h"

namespace kp::abi {

inline std::unique_ptr<kphost::Library> Load(int32_t language = KL_LANGUAGE_FRENCH) {
  std::string error;
  auto lib = kphost::Library::Load(KP_LIBRARY_PATH, error, language);
  EXPECT_TRUE(lib) << error;
  return lib;
}

}  // namespace kp::abi
