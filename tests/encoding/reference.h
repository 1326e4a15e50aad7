// The encoding tests' independent references: command-line tools and small
// Python programs run on files in a temporary directory of the test's own.
#pragma once

#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/temp_dir.h"

namespace kp::test {

inline bool WriteAll(const std::string& path, const void* data, size_t size) {
  std::ofstream f(path, std::ios::binary);
  if (!f) return false;
  f.write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
  return static_cast<bool>(f);
}

inline bool ReadAll(const std::string& path, std::vector<uint8_t>* out) {
  std::ifstream f(path, std::ios::binary);
  if (!f) return false;
  out->assign(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
  return true;
}

// Runs a shell command and returns its standard output; `status` gets its
// exit status (-1 when it could not start).
inline std::string Capture(const std::string& command, int* status) {
  std::string out;
  FILE* p = popen(command.c_str(), "r");
  if (!p) {
    *status = -1;
    return out;
  }
  char buffer[65536];
  size_t n;
  while ((n = fread(buffer, 1, sizeof buffer, p)) > 0) out.append(buffer, n);
  const int raw = pclose(p);
  *status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  return out;
}

inline bool HaveCommand(const std::string& name) {
  int status;
  Capture("command -v " + name + " >/dev/null 2>&1", &status);
  return status == 0;
}

inline bool HavePythonModule(const std::string& name) {
  int status;
  Capture("python3 -c 'import " + name + "' >/dev/null 2>&1", &status);
  return status == 0;
}

}  // namespace kp::test
