// The archive tests' fixture: a fresh device (FilesTest), the archive table
// emptied around each test, a host shell runner for the independent tools
// (unzip, zip, Python's zipfile), and a writer of hand-made zip files for the
// archives no honest tool makes (escaping names, forged sizes).
#pragma once

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "abi/error_ids.h"
#include "archive/archive.h"
#include "archive/table.h"
#include "files/files_fixture.h"

namespace kp::test {

class ArchiveTest : public FilesTest {
 protected:
  void SetUp() override {
    FilesTest::SetUp();
    archive::CloseAllArchives();
  }
  void TearDown() override {
    archive::CloseAllArchives();
    FilesTest::TearDown();
  }

  // Runs a host command; its exit status, its output in `out`.
  static int Run(const std::string& command, std::string* out = nullptr) {
    FILE* p = popen((command + " 2>&1").c_str(), "r");
    if (!p) return -1;
    std::string text;
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, p)) > 0) text.append(buffer, n);
    const int status = pclose(p);
    if (out) *out = text;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  static bool Have(const std::string& tool) { return Run("command -v " + tool + " >/dev/null") == 0; }

  static std::string Random(size_t size, uint32_t seed) {
    std::mt19937 rng(seed);
    std::string s(size, '\0');
    // Half random, half text, so that deflate has something to do.
    for (size_t i = 0; i < size; ++i) s[i] = (i / 4096) % 2 ? static_cast<char>(rng()) : "abcdefgh\n"[rng() % 9];
    return s;
  }

  // A zip file written by hand: stored entries with the given raw names,
  // Unix external attributes and, when `claimed` is set, a forged size.
  struct RawEntry {
    std::string name;
    std::string data;
    uint32_t unixMode = 0100644;
    uint64_t claimed = 0;  // 0: the true size
    uint16_t flags = 0;
    bool deflate = false;
  };
  static std::string RawZip(const std::vector<RawEntry>& entries) {
    auto u16 = [](std::string& s, uint16_t v) {
      s += static_cast<char>(v & 0xFF);
      s += static_cast<char>(v >> 8);
    };
    auto u32 = [&](std::string& s, uint32_t v) {
      u16(s, static_cast<uint16_t>(v));
      u16(s, static_cast<uint16_t>(v >> 16));
    };
    auto u64 = [&](std::string& s, uint64_t v) {
      u32(s, static_cast<uint32_t>(v));
      u32(s, static_cast<uint32_t>(v >> 32));
    };
    std::string out, cd;
    for (const RawEntry& e : entries) {
      std::string body = e.data;
      if (e.deflate) {
        z_stream z{};
        deflateInit2(&z, 9, Z_DEFLATED, -15, 9, Z_DEFAULT_STRATEGY);
        body.assign(deflateBound(&z, e.data.size()), '\0');
        z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(e.data.data()));
        z.avail_in = static_cast<uInt>(e.data.size());
        z.next_out = reinterpret_cast<Bytef*>(body.data());
        z.avail_out = static_cast<uInt>(body.size());
        deflate(&z, Z_FINISH);
        body.resize(z.total_out);
        deflateEnd(&z);
      }
      const uint32_t crc = crc32(0, reinterpret_cast<const Bytef*>(e.data.data()), static_cast<uInt>(e.data.size()));
      const uint64_t size = e.claimed ? e.claimed : e.data.size();
      const bool big = size >= 0xFFFFFFFFu;
      std::string extra;
      if (big) {
        u16(extra, 1);
        u16(extra, 16);
        u64(extra, size);
        u64(extra, body.size());
      }
      const uint32_t offset = static_cast<uint32_t>(out.size());
      u32(out, 0x04034b50);
      u16(out, big ? 45 : 20);
      u16(out, e.flags);
      u16(out, e.deflate ? 8 : 0);
      u16(out, 0);
      u16(out, 0x5821);  // 1 January 2024
      u32(out, crc);
      u32(out, big ? 0xFFFFFFFFu : static_cast<uint32_t>(body.size()));
      u32(out, big ? 0xFFFFFFFFu : static_cast<uint32_t>(size));
      u16(out, static_cast<uint16_t>(e.name.size()));
      u16(out, static_cast<uint16_t>(extra.size()));
      out += e.name + extra + body;
      u32(cd, 0x02014b50);
      u16(cd, 0x0300 | 45);  // made on Unix
      u16(cd, big ? 45 : 20);
      u16(cd, e.flags);
      u16(cd, e.deflate ? 8 : 0);
      u16(cd, 0);
      u16(cd, 0x5821);
      u32(cd, crc);
      u32(cd, big ? 0xFFFFFFFFu : static_cast<uint32_t>(body.size()));
      u32(cd, big ? 0xFFFFFFFFu : static_cast<uint32_t>(size));
      u16(cd, static_cast<uint16_t>(e.name.size()));
      u16(cd, static_cast<uint16_t>(extra.size()));
      u16(cd, 0);
      u16(cd, 0);
      u16(cd, 0);
      u32(cd, e.unixMode << 16);
      u32(cd, offset);
      cd += e.name + extra;
    }
    const uint32_t cdOffset = static_cast<uint32_t>(out.size());
    out += cd;
    u32(out, 0x06054b50);
    u16(out, 0);
    u16(out, 0);
    u16(out, static_cast<uint16_t>(entries.size()));
    u16(out, static_cast<uint16_t>(entries.size()));
    u32(out, static_cast<uint32_t>(cd.size()));
    u32(out, cdOffset);
    u16(out, 0);
    return out;
  }
};

}  // namespace kp::test
