// The registry and INI families beside their anchors: RegistreLit and
// RegistreEcrit against one prepared SQLite statement on the same database
// (what any registry over SQLite must at least do), and INILit of the last
// key of a 500-line file against one read() of that file.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "platform/filesystem.h"
#include "platform/registry.h"
#include "registry/ini.h"
#include "registry/registry.h"

namespace {

namespace reg = kp::platform::reg;

constexpr std::u16string_view kKey = u"HKEY_CURRENT_USER\\Bench";

// A device prefix of its own, made once for the whole run.
const std::string& Prefix() {
  static const std::string prefix = [] {
    char pattern[] = "/tmp/kp-bench-reg-XXXXXX";
    if (!mkdtemp(pattern)) throw std::runtime_error("mkdtemp");
    setenv("KP_PREFIX", pattern, 1);
    reg::KeyHolder k;
    reg::CreateKey(reg::kCurrentUser, u"Bench", reg::kAllAccess, k.out(), nullptr);
    const uint32_t v = 42;
    reg::SetValue(k.get(), u"Value", reg::kDword, reinterpret_cast<const uint8_t*>(&v), 4);
    return std::string(pattern);
  }();
  return prefix;
}

struct RawDb {
  RawDb() {
    if (sqlite3_open_v2((Prefix() + "/registry.db").c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK)
      throw std::runtime_error("sqlite3_open");
    sqlite3_busy_timeout(db, 30000);
    // The same durability as the registry's own connection.
    sqlite3_exec(db, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
    sqlite3_stmt* find = nullptr;
    sqlite3_prepare_v2(db, "SELECT id FROM keys WHERE parent=2 AND fold='BENCH'", -1, &find, nullptr);
    sqlite3_step(find);
    key = sqlite3_column_int64(find, 0);
    sqlite3_finalize(find);
    sqlite3_prepare_v2(db, "SELECT type, data FROM vals WHERE key=? AND fold=?", -1, &read, nullptr);
    sqlite3_prepare_v2(db, "UPDATE vals SET type=?, data=? WHERE key=? AND fold=?", -1, &write, nullptr);
    sqlite3_prepare_v2(db, "BEGIN IMMEDIATE", -1, &begin, nullptr);
    sqlite3_prepare_v2(db, "COMMIT", -1, &commit, nullptr);
  }
  ~RawDb() {
    for (auto* s : {read, write, begin, commit}) sqlite3_finalize(s);
    sqlite3_close_v2(db);
  }
  sqlite3* db = nullptr;
  sqlite3_stmt *read = nullptr, *write = nullptr, *begin = nullptr, *commit = nullptr;
  int64_t key = 0;
};

void Registry_QueryValue(benchmark::State& state) {
  Prefix();
  for (auto _ : state) benchmark::DoNotOptimize(kp::registry::QueryValue(nullptr, kKey, u"Value"));
}
BENCHMARK(Registry_QueryValue);

void Registry_RawSqliteRead(benchmark::State& state) {
  RawDb raw;
  for (auto _ : state) {
    sqlite3_bind_int64(raw.read, 1, raw.key);
    sqlite3_bind_text16(raw.read, 2, u"VALUE", 10, SQLITE_STATIC);
    if (sqlite3_step(raw.read) != SQLITE_ROW) state.SkipWithError("no row");
    uint32_t v = 0;
    std::memcpy(&v, sqlite3_column_blob(raw.read, 1), 4);
    benchmark::DoNotOptimize(v);
    sqlite3_reset(raw.read);
  }
}
BENCHMARK(Registry_RawSqliteRead);

void Registry_SetValue(benchmark::State& state) {
  Prefix();
  int32_t i = 0;
  for (auto _ : state) {
    const auto bytes = kp::registry::DwordBytes(++i);
    if (!kp::registry::SetValue(nullptr, kKey, u"Value", reg::kDword, bytes)) state.SkipWithError("write failed");
  }
}
BENCHMARK(Registry_SetValue);

void Registry_RawSqliteWrite(benchmark::State& state) {
  RawDb raw;
  int32_t i = 0;
  for (auto _ : state) {
    ++i;
    sqlite3_step(raw.begin);
    sqlite3_reset(raw.begin);
    sqlite3_bind_int(raw.write, 1, 4);
    sqlite3_bind_blob(raw.write, 2, &i, 4, SQLITE_STATIC);
    sqlite3_bind_int64(raw.write, 3, raw.key);
    sqlite3_bind_text16(raw.write, 4, u"VALUE", 10, SQLITE_STATIC);
    sqlite3_step(raw.write);
    sqlite3_reset(raw.write);
    if (sqlite3_step(raw.commit) != SQLITE_DONE) state.SkipWithError("commit failed");
    sqlite3_reset(raw.commit);
  }
}
BENCHMARK(Registry_RawSqliteWrite);

const std::string& IniFile() {
  static const std::string path = [] {
    const std::string dir = Prefix() + "/fs/";
    mkdir(dir.c_str(), 0700);
    std::ofstream out(dir + "bench.ini", std::ios::binary);
    for (int section = 0; section < 25; ++section) {
      out << "[Section" << section << "]\r\n";
      for (int key = 0; key < 18; ++key) out << "Key" << key << " = value of key " << key << "\r\n";
      out << "\r\n";
    }
    out << "[Last]\r\nTarget = found\r\n";
    return dir + "bench.ini";
  }();
  return path;
}

void Ini_ReadLastKey(benchmark::State& state) {
  IniFile();
  for (auto _ : state) {
    auto v = kp::registry::IniRead(u"Last", u"Target", u"", kp::registry::kIniReadCapacity, u"\\bench.ini");
    if (v != u"found") state.SkipWithError("not found");
    benchmark::DoNotOptimize(v);
  }
}
BENCHMARK(Ini_ReadLastKey);

// The engine alone on the same bytes, to tell its share from the file
// system's (path resolution, open, read).
void Ini_ReadLastKeyInMemory(benchmark::State& state) {
  std::ifstream in(IniFile(), std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  for (auto _ : state) {
    auto v = kp::registry::IniReadBytes(bytes, "Last", "Target");
    if (v != "found") state.SkipWithError("not found");
    benchmark::DoNotOptimize(v);
  }
}
BENCHMARK(Ini_ReadLastKeyInMemory);

// The device path of the file, as INILit finds it before reading: the files
// family's path layer (device directory, real path of the root, each name).
void Ini_PathResolution(benchmark::State& state) {
  IniFile();
  for (auto _ : state) {
    auto path = kp::platform::fs::DeviceRelativePath(u"\\bench.ini");
    if (!path) state.SkipWithError("no path");
    benchmark::DoNotOptimize(path);
  }
}
BENCHMARK(Ini_PathResolution);

void Ini_RawRead(benchmark::State& state) {
  const std::string& path = IniFile();
  char buffer[65536];
  for (auto _ : state) {
    const int fd = open(path.c_str(), O_RDONLY);
    benchmark::DoNotOptimize(read(fd, buffer, sizeof buffer));
    close(fd);
  }
}
BENCHMARK(Ini_RawRead);

}  // namespace
