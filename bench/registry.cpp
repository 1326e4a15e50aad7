// The registry and INI families beside their anchors: RegistreLit and
// RegistreEcrit against one prepared SQLite statement on the same database
// (what any registry over SQLite must at least do), and INILit of the last
// key of a 500-line file against one read() of that file; the listing of a
// key of 10,000 values against one SELECT of their names.
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

// A key of 10,000 values (text, DWORD and binary in turn), made once.
constexpr int kBigValues = 10000;
constexpr std::u16string_view kBigKey = u"HKEY_CURRENT_USER\\BenchBig";

void MakeBigKey() {
  static const bool made = [] {
    Prefix();
    reg::KeyHolder k;
    if (reg::CreateKey(reg::kCurrentUser, u"BenchBig", reg::kAllAccess, k.out(), nullptr))
      throw std::runtime_error("CreateKey");
    for (int i = 0; i < kBigValues; ++i) {
      const std::string n = "value" + std::to_string(i);
      const std::u16string name(n.begin(), n.end());
      const auto data = i % 3 == 0   ? kp::registry::TextBytes(u"some text " + name, true)
                        : i % 3 == 1 ? kp::registry::DwordBytes(i)
                                     : kp::Bytes{1, 2, 3, 4, 5, 6, 7, 8};
      const uint32_t type = i % 3 == 0 ? reg::kSz : i % 3 == 1 ? reg::kDword : reg::kBinary;
      if (reg::SetValue(k.get(), name, type, data.data(), static_cast<uint32_t>(data.size())))
        throw std::runtime_error("SetValue");
    }
    return true;
  }();
  (void)made;
}

// RegistreListeValeur of the whole key: every name, joined by CR LF.
void Registry_ListValues10k(benchmark::State& state) {
  MakeBigKey();
  for (auto _ : state) {
    auto list = kp::registry::ListValues(nullptr, kBigKey, false);
    if (list.size() < kBigValues * 7) state.SkipWithError("short list");
    benchmark::DoNotOptimize(list);
  }
}
BENCHMARK(Registry_ListValues10k)->Unit(benchmark::kMillisecond);

// The anchor: one prepared SELECT of the same names in the same order, each
// taken as UTF-16 text.
void Registry_RawSqliteList10k(benchmark::State& state) {
  MakeBigKey();
  RawDb raw;
  sqlite3_stmt* find = nullptr;
  sqlite3_prepare_v2(raw.db, "SELECT id FROM keys WHERE parent=2 AND fold='BENCHBIG'", -1, &find, nullptr);
  sqlite3_step(find);
  const int64_t key = sqlite3_column_int64(find, 0);
  sqlite3_finalize(find);
  sqlite3_stmt* list = nullptr;
  sqlite3_prepare_v2(raw.db, "SELECT name FROM vals WHERE key=? ORDER BY rowid", -1, &list, nullptr);
  for (auto _ : state) {
    sqlite3_bind_int64(list, 1, key);
    size_t rows = 0, units = 0;
    while (sqlite3_step(list) == SQLITE_ROW) {
      benchmark::DoNotOptimize(sqlite3_column_text16(list, 0));
      units += static_cast<size_t>(sqlite3_column_bytes16(list, 0)) / 2;
      ++rows;
    }
    sqlite3_reset(list);
    if (rows != kBigValues) state.SkipWithError("wrong row count");
    benchmark::DoNotOptimize(units);
  }
  sqlite3_finalize(list);
}
BENCHMARK(Registry_RawSqliteList10k)->Unit(benchmark::kMillisecond);

// RegistreLit of the last value by index: one enumeration at index 9,999.
void Registry_QueryValueAtLast10k(benchmark::State& state) {
  MakeBigKey();
  for (auto _ : state) {
    bool ok = false;
    auto v = kp::registry::QueryValueAt(nullptr, kBigKey, kBigValues, &ok);
    if (!ok) state.SkipWithError("not read");
    benchmark::DoNotOptimize(v);
  }
}
BENCHMARK(Registry_QueryValueAtLast10k)->Unit(benchmark::kMicrosecond);

// RegistreCherche through every name and text of the key, finding nothing.
void Registry_Seek10kNoMatch(benchmark::State& state) {
  MakeBigKey();
  for (auto _ : state) {
    auto found = kp::registry::Seek(nullptr, kBigKey, u"absent", kp::registry::kSeekValueNames |
                                                                     kp::registry::kSeekValueContents);
    if (!found.empty()) state.SkipWithError("found");
    benchmark::DoNotOptimize(found);
  }
}
BENCHMARK(Registry_Seek10kNoMatch)->Unit(benchmark::kMillisecond);

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
