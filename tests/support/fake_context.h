// A stand-in for the VM's ExecContext in unit tests: an error record whose
// texts are plain strings, a language (French by default), a service that
// answers every question with 1, a trace that records, and procedures that
// tests register as lambdas.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "abi/value.h"
#include "kp160std/abi.h"

namespace kp::test {

class FakeContext {
 public:
  FakeContext();
  ~FakeContext();
  FakeContext(const FakeContext&) = delete;
  FakeContext& operator=(const FakeContext&) = delete;

  ExecContext* get() { return &context_.base; }
  operator ExecContext*() { return get(); }

  CXError& error() { return error_; }
  int32_t errorId() const { return error_.errorId; }
  int32_t level() const { return error_.level; }
  std::u16string message() const;
  std::u16string systemText() const;
  uint32_t systemError() const { return error_.systemError; }
  bool hasError() const { return error_.level != 1; }
  void clearError();

  // Answer of the service question (all codes).
  int32_t serviceAnswer = 1;
  KLLanguage language{};
  std::vector<std::u16string> trace;
  bool traceActive = false;
  std::map<std::u16string, std::function<Value(const std::vector<Value>&)>> procedures;
  std::map<int32_t, std::u16string> project;

 private:
  struct Wrapped {
    ExecContext base;
    FakeContext* self;
  };
  Wrapped context_;
  CXError error_{};
  std::vector<std::u16string> names_;  // procedure handles index this
  static const ExecContextOps kOps;
  static FakeContext* Self(ExecContext* c) { return reinterpret_cast<Wrapped*>(c)->self; }
  friend struct FakeOps;
};

std::string Utf8(std::u16string_view text);

}  // namespace kp::test
