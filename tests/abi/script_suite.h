// Test suites that load the library once and give each test a new
// interpreter of KL scripts on it.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "abi_support.h"
#include "eval.h"
#include "script_eval.h"
#include "script_parser.h"

namespace kp::abi {

class ScriptSuite : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { lib_ = Load().release(); }
  static void TearDownTestSuite() {
    delete lib_;
    lib_ = nullptr;
  }
  void SetUp() override {
    ASSERT_NE(lib_, nullptr);
    in_ = std::make_unique<kphost::Interpreter>(*lib_);
  }
  kphost::Value Run(std::string_view source, const std::string& file = "t.kl") {
    return in_->Run(kphost::Parse(source, file));
  }

  static inline kphost::Library* lib_ = nullptr;
  std::unique_ptr<kphost::Interpreter> in_;
};

// For the tests of the VM's tables: each starts and ends with none, and the
// ids of the errors the library raises are kept in `errors_`.
class TableScriptSuite : public ScriptSuite {
 protected:
  void SetUp() override {
    ScriptSuite::SetUp();
    if (HasFatalFailure()) return;
    in_->onLibraryError = [this](const kphost::ErrorState& e, const std::string&) { errors_.push_back(e.id); };
    kphost::Library::VMTables().clear();
  }
  void TearDown() override { kphost::Library::VMTables().clear(); }

  std::vector<int32_t> errors_;
};

}  // namespace kp::abi
