// kp160std — the device registry's database on POSIX (see registry_db.h).
#include "platform/posix/registry_db.h"

#include <pthread.h>

#include <atomic>

#include "platform/posix/device.h"
#include "platform/posix/errno_map.h"
#include "platform/win32_errors.h"

namespace kp::platform::reg::db {

std::mutex gMutex;
Connection gConnection;
int gStepErrno = 0;

namespace {

const char* const kSchema =
    "CREATE TABLE IF NOT EXISTS keys(id INTEGER PRIMARY KEY, parent INTEGER NOT NULL, name TEXT NOT NULL,"
    " fold TEXT NOT NULL, UNIQUE(parent, fold));"
    "CREATE TABLE IF NOT EXISTS vals(key INTEGER NOT NULL, name TEXT NOT NULL, fold TEXT NOT NULL,"
    " type INTEGER NOT NULL, data BLOB NOT NULL, UNIQUE(key, fold));"
    // Values enumerate in creation order: this index gives a key's values in
    // rowid order, with no sort of the whole key for each enumeration.
    "CREATE INDEX IF NOT EXISTS vals_order ON vals(key);"
    "INSERT OR IGNORE INTO keys VALUES(1, 0, 'HKEY_CLASSES_ROOT', 'HKEY_CLASSES_ROOT');"
    "INSERT OR IGNORE INTO keys VALUES(2, 0, 'HKEY_CURRENT_USER', 'HKEY_CURRENT_USER');"
    "INSERT OR IGNORE INTO keys VALUES(3, 0, 'HKEY_LOCAL_MACHINE', 'HKEY_LOCAL_MACHINE');"
    "INSERT OR IGNORE INTO keys VALUES(4, 0, 'HKEY_USERS', 'HKEY_USERS');";

void Drop(Connection& c, bool close) {
  if (close) {
    for (auto& [sql, stmt] : c.statements) sqlite3_finalize(stmt);
    for (sqlite3_stmt* stmt : c.paths) sqlite3_finalize(stmt);
    for (sqlite3_stmt* stmt : c.values) sqlite3_finalize(stmt);
    sqlite3_close_v2(c.db);
  }
  // After fork the parent's connection is abandoned, not closed: closing it
  // here could disturb the parent's locks and WAL state.
  c.statements.clear();
  c.paths.clear();
  c.values.clear();
  c.handles.clear();
  c.db = nullptr;
}

}  // namespace

Connection::~Connection() {
  if (db && pid == getpid()) Drop(*this, true);
}

namespace {

// Set in a child made by fork: its copy of the connection belongs to the
// parent. Cheaper than asking getpid() on every call.
std::atomic<bool> gForked{false};

}  // namespace

sqlite3* Db() {
  Connection& c = gConnection;
  static const bool watching = pthread_atfork(nullptr, nullptr, [] { gForked.store(true); }) == 0;
  const std::string path = DeviceDirectory() + "/registry.db";
  if (c.db && (gForked.exchange(false) || !watching) && c.pid != getpid()) Drop(c, false);
  if (c.db && c.path != path) Drop(c, true);
  if (c.db) return c.db;
  if (!EnsureDeviceDirectory()) return nullptr;
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) != SQLITE_OK) {
    sqlite3_close_v2(db);
    return nullptr;
  }
  sqlite3_busy_timeout(db, 30000);
  sqlite3_exec(db, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;", nullptr, nullptr, nullptr);
  if (sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) != SQLITE_OK ||
      sqlite3_exec(db, kSchema, nullptr, nullptr, nullptr) != SQLITE_OK ||
      sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) != SQLITE_OK) {
    sqlite3_close_v2(db);
    return nullptr;
  }
  c.db = db;
  c.pid = getpid();
  c.path = path;
  return db;
}

void ToUtf8(std::u16string_view text, bool fold, std::string* out) {
  out->clear();
  for (size_t i = 0; i < text.size(); ++i) {
    uint32_t c = fold ? FoldChar(text[i]) : text[i];
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF)
      c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00);
    if (c < 0x80) {
      out->push_back(static_cast<char>(c));
    } else if (c < 0x800) {
      out->push_back(static_cast<char>(0xC0 | (c >> 6)));
      out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
      out->push_back(static_cast<char>(0xE0 | (c >> 12)));
      out->push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
      out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else {
      out->push_back(static_cast<char>(0xF0 | (c >> 18)));
      out->push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
      out->push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
      out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
  }
}

void FromUtf8(const unsigned char* p, size_t size, std::u16string& out) {
  out.clear();
  out.reserve(size);
  for (size_t i = 0; i < size;) {
    const unsigned char b = p[i];
    size_t n = b < 0x80 ? 1 : (b & 0xE0) == 0xC0 ? 2 : (b & 0xF0) == 0xE0 ? 3 : (b & 0xF8) == 0xF0 ? 4 : 0;
    uint32_t c = n == 1 ? b : n == 2 ? (b & 0x1F) : n == 3 ? (b & 0x0F) : (b & 0x07);
    bool good = n != 0 && i + n <= size;
    for (size_t k = 1; good && k < n; ++k) {
      good = (p[i + k] & 0xC0) == 0x80;
      c = (c << 6) | (p[i + k] & 0x3F);
    }
    if (!good) {
      out.push_back(u'\uFFFD');
      ++i;
      continue;
    }
    if (c >= 0x10000) {
      out.push_back(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
    } else {
      out.push_back(static_cast<char16_t>(c));
    }
    i += n;
  }
}

// Why a write failed, in the system's words where the database has them: a
// full disk (SQLITE_FULL) is 112, an I/O error or a file that cannot be
// opened gives the errno the failed step left (EIO 1117, EACCES 5); a busy
// or damaged database stays 1013, the registry's own "cannot write". Called
// with gMutex held, before the transaction is rolled back.
uint32_t WriteError() {
  sqlite3* db = gConnection.db;
  if (!db) return win32::kCantWrite;
  const int rc = sqlite3_extended_errcode(db) & 0xff;
  if (rc == SQLITE_FULL) return win32::kDiskFull;
  if (rc == SQLITE_IOERR || rc == SQLITE_CANTOPEN) {
    const int e = sqlite3_system_errno(db) ? sqlite3_system_errno(db) : gStepErrno;
    if (e != 0) return Win32FromErrno(e);
  }
  return win32::kCantWrite;
}

}  // namespace kp::platform::reg::db
