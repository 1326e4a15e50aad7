// kp160std — the device registry on POSIX: one SQLite database in the device
// prefix.
//
// Schema: keys(id, parent, name, fold) with the four roots as rows 1 to 4 and
// vals(key, name, fold, type, data). `fold` is the name folded to upper case:
// lookups go through it, `name` keeps the case the key or value was created
// with. Every write runs in BEGIN IMMEDIATE ... COMMIT; WAL and a busy
// timeout let another process read while one writes and queue writers
// instead of failing them. The connection, its statements and transactions
// are in registry_db.cpp; the keys, values and handles here.
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "platform/posix/registry_db.h"
#include "platform/registry.h"
#include "platform/win32_errors.h"

namespace kp::platform::reg {

using db::Connection;
using db::Db;
using db::gConnection;
using db::gMutex;
using db::Handle;
using db::Stmt;
using db::Transaction;
using db::WriteError;

namespace {

constexpr int64_t kRootIds[] = {1, 2, 3, 4};  // in the order of the root handles

bool IsRoot(HKey key) { return key >= kClassesRoot && key <= kUsers; }

// The handle's key and access; 6 when it is not an open handle.
uint32_t Lookup(HKey key, Handle* out) {
  if (IsRoot(key)) {
    *out = Handle{kRootIds[key - kClassesRoot], kAllAccess};
    return win32::kSuccess;
  }
  auto it = gConnection.handles.find(key);
  if (it == gConnection.handles.end()) return win32::kInvalidHandle;
  *out = it->second;
  return win32::kSuccess;
}

bool KeyExists(int64_t id) {
  Stmt s("SELECT 1 FROM keys WHERE id=?");
  return s.Bind(1, id).Step() == SQLITE_ROW;
}

// Splits a sub-key path into names; false for an empty name inside it or a
// leading "\" (one trailing "\" is accepted, as Windows does).
bool SplitPath(std::u16string_view path, std::vector<std::u16string_view>* names) {
  if (path.empty()) return true;
  if (path.back() == u'\\') path.remove_suffix(1);
  size_t start = 0;
  while (true) {
    const size_t end = path.find(u'\\', start);
    const auto name = path.substr(start, end == std::u16string_view::npos ? std::u16string_view::npos : end - start);
    if (name.empty()) return false;
    names->push_back(name);
    if (end == std::u16string_view::npos) return true;
    start = end + 1;
  }
}

int64_t Child(int64_t parent, std::u16string_view name) {
  Stmt s("SELECT id FROM keys WHERE parent=? AND fold=?");
  if (s.Bind(1, parent).BindFolded(2, name).Step() != SQLITE_ROW) return 0;
  return s.Int(0);
}

constexpr size_t kPathChunk = 8;

// One statement finding the key `names` (at most kPathChunk of them) leads
// to from `parent`: one index lookup per level inside one read, instead of
// one statement, and so one read transaction, per level.
sqlite3_stmt* PathStatement(size_t depth) {
  auto& paths = gConnection.paths;
  if (paths.size() < depth) paths.resize(depth, nullptr);
  sqlite3_stmt*& stmt = paths[depth - 1];
  if (stmt) return stmt;
  std::string sql = "SELECT k" + std::to_string(depth) + ".id FROM keys k1";
  for (size_t i = 2; i <= depth; ++i)
    sql += " JOIN keys k" + std::to_string(i) + " ON k" + std::to_string(i) + ".parent=k" + std::to_string(i - 1) +
           ".id AND k" + std::to_string(i) + ".fold=?" + std::to_string(i + 1);
  sql += " WHERE k1.parent=?1 AND k1.fold=?2";
  if (sqlite3_prepare_v3(gConnection.db, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &stmt, nullptr) != SQLITE_OK)
    stmt = nullptr;
  return stmt;
}

// One statement reading the value named by the last parameter in the key
// `names` (0 to kPathChunk of them) lead to from ?1: the path and the value
// in one read.
sqlite3_stmt* ValueStatement(size_t depth) {
  auto& values = gConnection.values;
  if (values.size() <= depth) values.resize(depth + 1, nullptr);
  sqlite3_stmt*& stmt = values[depth];
  if (stmt) return stmt;
  std::string last = "?";
  last += std::to_string(depth + 2);
  std::string sql;
  if (depth == 0) {
    sql = "SELECT type, data FROM vals WHERE key=?1 AND fold=" + last;
  } else {
    sql = "SELECT v.type, v.data FROM keys k1";
    for (size_t i = 2; i <= depth; ++i)
      sql += " JOIN keys k" + std::to_string(i) + " ON k" + std::to_string(i) + ".parent=k" + std::to_string(i - 1) +
             ".id AND k" + std::to_string(i) + ".fold=?" + std::to_string(i + 1);
    sql += " JOIN vals v ON v.key=k" + std::to_string(depth) + ".id AND v.fold=" + last +
           " WHERE k1.parent=?1 AND k1.fold=?2";
  }
  if (sqlite3_prepare_v3(gConnection.db, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &stmt, nullptr) != SQLITE_OK)
    stmt = nullptr;
  return stmt;
}

// The key at the end of the path, 0 when a name is missing.
int64_t Descend(int64_t id, const std::vector<std::u16string_view>& names) {
  for (size_t at = 0; at < names.size() && id; at += kPathChunk) {
    const size_t depth = std::min(kPathChunk, names.size() - at);
    Stmt s(PathStatement(depth));
    if (!s) return 0;
    s.Bind(1, id);
    for (size_t i = 0; i < depth; ++i) s.BindFolded(static_cast<int>(i + 2), names[at + i]);
    id = s.Step() == SQLITE_ROW ? s.Int(0) : 0;
  }
  return id;
}

HKey NewHandle(int64_t id, uint32_t access) {
  HKey h = gConnection.next;
  gConnection.next += 4;
  gConnection.handles[h] = Handle{id, access};
  return h;
}

// Copies a stored value out as RegQueryValueExW does.
uint32_t GiveData(const uint8_t* blob, uint32_t length, uint8_t* data, uint32_t* size) {
  if (!data) {
    if (size) *size = length;
    return win32::kSuccess;
  }
  if (!size) return win32::kInvalidParameter;
  const uint32_t capacity = *size;
  *size = length;
  if (capacity < length) return win32::kMoreData;
  if (length) std::memcpy(data, blob, length);
  return win32::kSuccess;
}

}  // namespace

uint32_t OpenKey(HKey parent, std::u16string_view subKey, uint32_t access, HKey* out) {
  if (!out) return win32::kInvalidParameter;
  *out = 0;
  std::lock_guard lock(gMutex);
  if (!Db()) return win32::kCantOpenKey;
  Handle h;
  if (uint32_t e = Lookup(parent, &h)) return e;
  std::vector<std::u16string_view> names;
  if (!SplitPath(subKey, &names)) return win32::kFileNotFound;
  // A key found below the parent proves the parent is still there (a key
  // with sub-keys cannot be deleted), and the roots are never deleted: the
  // parent is checked only when the answer depends on it.
  const int64_t id = names.empty() ? h.id : Descend(h.id, names);
  const bool parentKnown = IsRoot(parent) || (id && !names.empty());
  if (!parentKnown && !KeyExists(h.id)) return win32::kKeyDeleted;
  if (!id) return win32::kFileNotFound;
  *out = NewHandle(id, access);
  return win32::kSuccess;
}

uint32_t CreateKey(HKey parent, std::u16string_view subKey, uint32_t access, HKey* out, uint32_t* disposition) {
  if (!out) return win32::kInvalidParameter;
  *out = 0;
  std::lock_guard lock(gMutex);
  if (!Db()) return win32::kCantOpenKey;
  Handle h;
  if (uint32_t e = Lookup(parent, &h)) return e;
  if (!(h.access & kCreateSubKey)) return win32::kAccessDenied;
  std::vector<std::u16string_view> names;
  if (!SplitPath(subKey, &names)) return win32::kInvalidParameter;
  // Windows keeps key names to 255 characters; a longer one could not be
  // listed or deleted through a 256-character buffer later.
  for (auto name : names)
    if (name.size() > kMaxKeyNameLength) return win32::kInvalidParameter;
  Transaction t;
  if (!t.ok()) return WriteError();
  if (!KeyExists(h.id)) return win32::kKeyDeleted;
  int64_t id = h.id;
  bool created = false;
  for (auto name : names) {
    const int64_t child = Child(id, name);
    if (child) {
      id = child;
      continue;
    }
    Stmt insert("INSERT INTO keys(parent, name, fold) VALUES(?, ?, ?)");
    if (insert.Bind(1, id).Bind(2, name).BindFolded(3, name).Step() != SQLITE_DONE) return WriteError();
    id = sqlite3_last_insert_rowid(gConnection.db);
    created = true;
  }
  if (!t.Commit()) return WriteError();
  if (disposition) *disposition = created ? kCreatedNewKey : kOpenedExistingKey;
  *out = NewHandle(id, access);
  return win32::kSuccess;
}

uint32_t CloseKey(HKey key) {
  if (IsRoot(key)) return win32::kSuccess;
  std::lock_guard lock(gMutex);
  return gConnection.handles.erase(key) ? win32::kSuccess : win32::kInvalidHandle;
}

uint32_t QueryValue(HKey key, std::u16string_view name, uint32_t* type, uint8_t* data, uint32_t* size) {
  std::lock_guard lock(gMutex);
  if (!Db()) return win32::kCantRead;
  Handle h;
  if (uint32_t e = Lookup(key, &h)) return e;
  if (!(h.access & kQueryValue)) return win32::kAccessDenied;
  Stmt s("SELECT type, data FROM vals WHERE key=? AND fold=?");
  if (s.Bind(1, h.id).BindFolded(2, name).Step() != SQLITE_ROW)
    return KeyExists(h.id) ? win32::kFileNotFound : win32::kKeyDeleted;
  if (type) *type = static_cast<uint32_t>(s.Int(0));
  uint32_t length = 0;
  const uint8_t* blob = s.Blob(1, &length);
  return GiveData(blob, length, data, size);
}

uint32_t ReadValue(HKey parent, std::u16string_view subKey, std::u16string_view name, uint32_t* type,
                   std::vector<uint8_t>* data) {
  std::lock_guard lock(gMutex);
  if (!Db()) return win32::kCantRead;
  Handle h;
  if (uint32_t e = Lookup(parent, &h)) return e;
  if (!(h.access & kQueryValue)) return win32::kAccessDenied;
  std::vector<std::u16string_view> names;
  if (!SplitPath(subKey, &names)) return win32::kFileNotFound;
  sqlite3_stmt* prepared = nullptr;
  if (names.size() <= kPathChunk) {
    prepared = ValueStatement(names.size());
  } else {
    h.id = Descend(h.id, std::vector<std::u16string_view>(names.begin(), names.end() - kPathChunk));
    if (!h.id) return win32::kFileNotFound;
    names.erase(names.begin(), names.end() - kPathChunk);
    prepared = ValueStatement(kPathChunk);
  }
  Stmt s(prepared);
  if (!s) return win32::kCantRead;
  s.Bind(1, h.id);
  for (size_t i = 0; i < names.size(); ++i) s.BindFolded(static_cast<int>(i + 2), names[i]);
  s.BindFolded(static_cast<int>(names.size() + 2), name);
  if (s.Step() != SQLITE_ROW) return win32::kFileNotFound;
  if (type) *type = static_cast<uint32_t>(s.Int(0));
  uint32_t length = 0;
  const uint8_t* blob = s.Blob(1, &length);
  data->assign(blob, blob + length);
  return win32::kSuccess;
}

uint32_t SetValue(HKey key, std::u16string_view name, uint32_t type, const uint8_t* data, uint32_t size) {
  if ((size && !data) || name.size() > kMaxValueNameLength) return win32::kInvalidParameter;
  std::lock_guard lock(gMutex);
  if (!Db()) return win32::kCantWrite;
  Handle h;
  if (uint32_t e = Lookup(key, &h)) return e;
  if (!(h.access & kSetValue)) return win32::kAccessDenied;
  Transaction t;
  if (!t.ok()) return WriteError();
  if (!KeyExists(h.id)) return win32::kKeyDeleted;
  {
    // An existing value keeps its name's case and its place in the order.
    Stmt update("UPDATE vals SET type=?, data=? WHERE key=? AND fold=?");
    update.Bind(1, type).BindBlob(2, data, size).Bind(3, h.id).BindFolded(4, name);
    if (update.Step() != SQLITE_DONE) return WriteError();
  }
  if (sqlite3_changes(gConnection.db) == 0) {
    Stmt insert("INSERT INTO vals(key, name, fold, type, data) VALUES(?, ?, ?, ?, ?)");
    insert.Bind(1, h.id).Bind(2, name).BindFolded(3, name).Bind(4, type).BindBlob(5, data, size);
    if (insert.Step() != SQLITE_DONE) return WriteError();
  }
  return t.Commit() ? win32::kSuccess : WriteError();
}

uint32_t DeleteValue(HKey key, std::u16string_view name) {
  std::lock_guard lock(gMutex);
  if (!Db()) return win32::kCantWrite;
  Handle h;
  if (uint32_t e = Lookup(key, &h)) return e;
  if (!(h.access & kSetValue)) return win32::kAccessDenied;
  Transaction t;
  if (!t.ok()) return WriteError();
  Stmt s("DELETE FROM vals WHERE key=? AND fold=?");
  if (s.Bind(1, h.id).BindFolded(2, name).Step() != SQLITE_DONE) return WriteError();
  if (sqlite3_changes(gConnection.db) == 0) return KeyExists(h.id) ? win32::kFileNotFound : win32::kKeyDeleted;
  return t.Commit() ? win32::kSuccess : WriteError();
}

uint32_t DeleteKey(HKey parent, std::u16string_view subKey) {
  std::lock_guard lock(gMutex);
  if (!Db()) return win32::kCantWrite;
  Handle h;
  if (uint32_t e = Lookup(parent, &h)) return e;
  std::vector<std::u16string_view> names;
  if (!SplitPath(subKey, &names)) return win32::kFileNotFound;
  Transaction t;
  if (!t.ok()) return WriteError();
  if (!KeyExists(h.id)) return win32::kKeyDeleted;
  const int64_t id = names.empty() ? h.id : Descend(h.id, names);
  if (!id) return win32::kFileNotFound;
  if (id <= 4) return win32::kAccessDenied;  // a root cannot be deleted
  {
    Stmt children("SELECT 1 FROM keys WHERE parent=? LIMIT 1");
    if (children.Bind(1, id).Step() == SQLITE_ROW) return win32::kAccessDenied;
  }
  Stmt values("DELETE FROM vals WHERE key=?");
  Stmt self("DELETE FROM keys WHERE id=?");
  if (values.Bind(1, id).Step() != SQLITE_DONE || self.Bind(1, id).Step() != SQLITE_DONE) return WriteError();
  return t.Commit() ? win32::kSuccess : WriteError();
}

uint32_t EnumValue(HKey key, uint32_t index, std::u16string* name, uint32_t* type, uint8_t* data, uint32_t* size) {
  std::lock_guard lock(gMutex);
  if (!Db()) return win32::kCantRead;
  Handle h;
  if (uint32_t e = Lookup(key, &h)) return e;
  if (!(h.access & kQueryValue)) return win32::kAccessDenied;
  Stmt s("SELECT name, type, data FROM vals WHERE key=? ORDER BY rowid LIMIT 1 OFFSET ?");
  if (s.Bind(1, h.id).Bind(2, index).Step() != SQLITE_ROW)
    return KeyExists(h.id) ? win32::kNoMoreItems : win32::kKeyDeleted;
  if (name) *name = s.Text(0);
  if (type) *type = static_cast<uint32_t>(s.Int(1));
  uint32_t length = 0;
  const uint8_t* blob = s.Blob(2, &length);
  return GiveData(blob, length, data, size);
}

uint32_t EnumKey(HKey key, uint32_t index, std::u16string* name, uint32_t capacity) {
  std::lock_guard lock(gMutex);
  if (!Db()) return win32::kCantRead;
  Handle h;
  if (uint32_t e = Lookup(key, &h)) return e;
  if (!(h.access & kEnumerateSubKeys)) return win32::kAccessDenied;
  Stmt s("SELECT name FROM keys WHERE parent=? ORDER BY fold LIMIT 1 OFFSET ?");
  if (s.Bind(1, h.id).Bind(2, index).Step() != SQLITE_ROW)
    return KeyExists(h.id) ? win32::kNoMoreItems : win32::kKeyDeleted;
  std::u16string found = s.Text(0);
  if (found.size() + 1 > capacity) return win32::kMoreData;
  if (name) *name = std::move(found);
  return win32::kSuccess;
}

uint32_t VisitValues(HKey key, uint32_t from, bool withData, const std::function<bool(const ValueEntry&)>& visit) {
  std::lock_guard lock(gMutex);
  if (!Db()) return win32::kCantRead;
  Handle h;
  if (uint32_t e = Lookup(key, &h)) return e;
  if (!(h.access & kQueryValue)) return win32::kAccessDenied;
  // One statement walks the key in order; without data, length() does not
  // read the bytes of a large value.
  Stmt s(withData ? "SELECT name, type, length(data), data FROM vals WHERE key=? ORDER BY rowid LIMIT -1 OFFSET ?"
                  : "SELECT name, type, length(data) FROM vals WHERE key=? ORDER BY rowid LIMIT -1 OFFSET ?");
  s.Bind(1, h.id).Bind(2, from);
  ValueEntry entry;
  entry.index = from;
  std::u16string name;
  int rc = SQLITE_OK;
  for (; (rc = s.Step()) == SQLITE_ROW; ++entry.index) {
    s.TextInto(0, name);
    entry.name = name;
    entry.type = static_cast<uint32_t>(s.Int(1));
    entry.size = static_cast<uint32_t>(s.Int(2));
    if (withData) {
      uint32_t length = 0;
      const uint8_t* blob = s.Blob(3, &length);
      entry.data = std::span<const uint8_t>(blob, blob ? length : 0);
    }
    if (!visit(entry)) return win32::kSuccess;
  }
  if (rc != SQLITE_DONE) return win32::kCantRead;
  // A key deleted meanwhile has no values left: tell it from an empty key.
  return entry.index == from && !KeyExists(h.id) ? win32::kKeyDeleted : win32::kSuccess;
}

uint32_t EnumKeys(HKey key, uint32_t from, std::vector<std::u16string>* names, uint32_t capacity) {
  if (!names) return win32::kInvalidParameter;
  std::lock_guard lock(gMutex);
  if (!Db()) return win32::kCantRead;
  Handle h;
  if (uint32_t e = Lookup(key, &h)) return e;
  if (!(h.access & kEnumerateSubKeys)) return win32::kAccessDenied;
  // The (parent, fold) index gives the names in order: no sort.
  Stmt s("SELECT name FROM keys WHERE parent=? ORDER BY fold LIMIT -1 OFFSET ?");
  s.Bind(1, h.id).Bind(2, from);
  bool any = false;
  int rc = SQLITE_OK;
  while ((rc = s.Step()) == SQLITE_ROW) {
    any = true;
    std::u16string name = s.Text(0);
    if (name.size() + 1 > capacity) return win32::kMoreData;
    names->push_back(std::move(name));
  }
  if (rc != SQLITE_DONE) return win32::kCantRead;
  return !any && !KeyExists(h.id) ? win32::kKeyDeleted : win32::kSuccess;
}

uint32_t QueryInfoKey(HKey key, KeyInfo* info) {
  std::lock_guard lock(gMutex);
  if (!Db()) return win32::kCantRead;
  Handle h;
  if (uint32_t e = Lookup(key, &h)) return e;
  if (!(h.access & kQueryValue)) return win32::kAccessDenied;
  if (!KeyExists(h.id)) return win32::kKeyDeleted;
  KeyInfo out;
  {
    Stmt s("SELECT name FROM keys WHERE parent=?");
    s.Bind(1, h.id);
    for (int rc; (rc = s.Step()) != SQLITE_DONE;) {
      if (rc != SQLITE_ROW) return win32::kCantRead;
      ++out.subKeys;
      out.maxSubKeyLength = std::max(out.maxSubKeyLength, static_cast<uint32_t>(s.Text(0).size()));
    }
  }
  {
    Stmt s("SELECT name, length(data) FROM vals WHERE key=?");
    s.Bind(1, h.id);
    for (int rc; (rc = s.Step()) != SQLITE_DONE;) {
      if (rc != SQLITE_ROW) return win32::kCantRead;
      ++out.values;
      out.maxValueNameLength = std::max(out.maxValueNameLength, static_cast<uint32_t>(s.Text(0).size()));
      out.maxValueLength = std::max(out.maxValueLength, static_cast<uint32_t>(s.Int(1)));
    }
  }
  if (info) *info = out;
  return win32::kSuccess;
}

}  // namespace kp::platform::reg
