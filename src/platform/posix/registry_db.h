// kp160std — the device registry's database on POSIX (registry.cpp holds
// the keys and values): the one SQLite connection of the process, opened
// again in a child made by fork and for another device prefix, its cached
// statements, the transactions, the names' encoding, and the system error
// of a failed write.
//
// Thread-safety: everything here is used with gMutex held.
#pragma once

#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/registry.h"

namespace kp::platform::reg::db {

struct Handle {
  int64_t id = 0;
  uint32_t access = 0;
};

struct Connection {
  // Closed when the library is unloaded, so a VM that unloads it leaks
  // neither memory nor the database's file handles.
  ~Connection();

  sqlite3* db = nullptr;
  pid_t pid = 0;
  std::string path;
  std::unordered_map<const char*, sqlite3_stmt*> statements;
  // The statements resolving a path of 1 to kPathChunk names, by depth - 1.
  std::vector<sqlite3_stmt*> paths;
  // The statements reading a value at the end of 0 to kPathChunk names, by depth.
  std::vector<sqlite3_stmt*> values;
  std::unordered_map<HKey, Handle> handles;
  HKey next = 0x1000;
};

// Guards gConnection and every statement run on it: one SQLite connection
// serves every thread of the process.
extern std::mutex gMutex;
extern Connection gConnection;
// The errno of the last statement that failed (guarded by gMutex).
extern int gStepErrno;

// The connection for this process and this prefix; null when the database
// cannot be opened. Called with gMutex held.
sqlite3* Db();

// Names are stored in generalized UTF-8: standard UTF-8 for every valid
// text (what SQLite itself made of UTF-16 in earlier databases), and a lone
// surrogate as the three bytes of its code unit, which SQLite keeps as they
// are. So a name reads back exactly as it was written, whatever a KL program
// put in it; SQLite's own UTF-16 conversion would replace a lone surrogate,
// and the key could then never be opened again.
void ToUtf8(std::u16string_view text, bool fold, std::string* out);
// The inverse of ToUtf8; a malformed sequence reads as U+FFFD. `out` is
// cleared first, keeping its capacity for a walk that decodes many names.
void FromUtf8(const unsigned char* p, size_t size, std::u16string& out);

// A prepared statement of the connection, reset when the scope ends. Texts
// are bound from buffers the statement owns, so SQLite need not copy them.
class Stmt {
 public:
  explicit Stmt(const char* sql) {
    auto& cache = gConnection.statements;
    auto it = cache.find(sql);
    if (it != cache.end()) {
      stmt_ = it->second;
    } else if (sqlite3_prepare_v3(gConnection.db, sql, -1, SQLITE_PREPARE_PERSISTENT, &stmt_, nullptr) == SQLITE_OK) {
      cache.emplace(sql, stmt_);
    } else {
      stmt_ = nullptr;
    }
  }
  explicit Stmt(sqlite3_stmt* prepared) : stmt_(prepared) {}
  ~Stmt() {
    if (stmt_) {
      sqlite3_reset(stmt_);
      sqlite3_clear_bindings(stmt_);
    }
  }
  Stmt(const Stmt&) = delete;
  Stmt& operator=(const Stmt&) = delete;
  explicit operator bool() const { return stmt_ != nullptr; }
  sqlite3_stmt* get() const { return stmt_; }
  Stmt& Bind(int i, int64_t v) {
    sqlite3_bind_int64(stmt_, i, v);
    return *this;
  }
  Stmt& Bind(int i, std::u16string_view text) { return BindText(i, text, false); }
  // The name as the `fold` columns hold it.
  Stmt& BindFolded(int i, std::u16string_view name) { return BindText(i, name, true); }
  Stmt& BindBlob(int i, const uint8_t* data, uint32_t size) {
    static const uint8_t kEmpty = 0;
    sqlite3_bind_blob(stmt_, i, size ? data : &kEmpty, static_cast<int>(size), SQLITE_TRANSIENT);
    return *this;
  }
  int Step() {
    if (!stmt_) return SQLITE_ERROR;
    errno = 0;
    const int rc = sqlite3_step(stmt_);
    // SQLite does not keep the errno of a failed write (sqlite3_system_errno
    // stays 0 for it): taken here, before anything else can change it.
    if (rc != SQLITE_ROW && rc != SQLITE_DONE) gStepErrno = errno;
    return rc;
  }
  int64_t Int(int col) const { return sqlite3_column_int64(stmt_, col); }
  std::u16string Text(int col) const {
    std::u16string out;
    TextInto(col, out);
    return out;
  }
  void TextInto(int col, std::u16string& out) const {
    const unsigned char* p = sqlite3_column_text(stmt_, col);
    if (p)
      FromUtf8(p, static_cast<size_t>(sqlite3_column_bytes(stmt_, col)), out);
    else
      out.clear();
  }
  const uint8_t* Blob(int col, uint32_t* size) const {
    auto* p = static_cast<const uint8_t*>(sqlite3_column_blob(stmt_, col));
    *size = static_cast<uint32_t>(sqlite3_column_bytes(stmt_, col));
    return p;
  }

 private:
  Stmt& BindText(int i, std::u16string_view text, bool fold) {
    if (!stmt_) return *this;
    const bool owned = i >= 1 && static_cast<size_t>(i) <= kOwned;
    std::string local;
    std::string& utf8 = owned ? owned_[i - 1] : local;
    ToUtf8(text, fold, &utf8);
    // An owned buffer outlives the binding: the destructor resets first. A
    // null pointer would bind NULL, not the empty text.
    sqlite3_bind_text(stmt_, i, utf8.empty() ? "" : utf8.data(), static_cast<int>(utf8.size()),
                      owned ? SQLITE_STATIC : SQLITE_TRANSIENT);
    return *this;
  }

  static constexpr size_t kOwned = 9;  // kPathChunk names and a parent
  sqlite3_stmt* stmt_ = nullptr;
  std::string owned_[kOwned];
};

// BEGIN IMMEDIATE ... COMMIT, rolled back unless committed.
class Transaction {
 public:
  Transaction() {
    Stmt begin("BEGIN IMMEDIATE");
    // The busy handler already waited; a second busy is a real failure.
    ok_ = begin.Step() == SQLITE_DONE;
  }
  ~Transaction() {
    if (ok_) {
      Stmt rollback("ROLLBACK");
      rollback.Step();
    }
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  bool ok() const { return ok_; }
  bool Commit() {
    Stmt commit("COMMIT");
    if (commit.Step() != SQLITE_DONE) return false;
    ok_ = false;
    return true;
  }

 private:
  bool ok_ = false;
};

// Why a write failed, in the system's words where the database has them: a
// full disk (SQLITE_FULL) is 112, an I/O error or a file that cannot be
// opened gives the errno the failed step left (EIO 1117, EACCES 5); a busy
// or damaged database stays 1013, the registry's own "cannot write". Called
// with gMutex held, before the transaction is rolled back.
uint32_t WriteError();

}  // namespace kp::platform::reg::db
