// Fault injection for tests (see fault_injection.h): one trap per system
// call, each a function of the call's own type that fails while its
// FailNext has failures left and calls the saved original otherwise.
#include "support/fault_injection.h"

#include <sqlite3.h>
#include <sys/types.h>

#include <cerrno>
#include <cstdlib>
#include <cstdio>
#include <vector>

#include "platform/posix/syscalls.h"

namespace kp::test {

using platform::sys::SysCalls;

struct FailNext::Slot {
  const char* name;
  void (*install)(FailNext*);
  void (*uninstall)();
  FailNext* active = nullptr;

  // True (with errno set) when this call is to fail.
  static bool Fail(FailNext* f) {
    if (!f || f->remaining_ <= 0) return false;
    --f->remaining_;
    ++f->failed_;
    errno = f->error_;
    return true;
  }
};

namespace {

// A backend entry: the table's member is swapped for Call.
template <auto Member>
struct Trap;
template <typename R, typename... A, R (*SysCalls::*Member)(A...)>
struct Trap<Member> {
  static inline FailNext::Slot* slot = nullptr;
  static inline R (*saved)(A...) = nullptr;
  static R Call(A... a) {
    if (FailNext::Slot::Fail(slot->active)) return static_cast<R>(-1);
    return saved(a...);
  }
  static void Install(FailNext*) {
    saved = platform::sys::Sys().*Member;
    platform::sys::Sys().*Member = Call;
  }
  static void Uninstall() { platform::sys::Sys().*Member = saved; }
};

// An SQLite unix VFS call: every name of `Names` (the variants SQLite may
// use for one operation) is swapped for a trap of its type.
template <int Id, typename R, typename... A>
struct SqliteTrap {
  static inline FailNext::Slot* slot = nullptr;
  static inline R (*saved)(A...) = nullptr;
  static R Call(A... a) {
    if (FailNext::Slot::Fail(slot->active)) return static_cast<R>(-1);
    return saved(a...);
  }
};

sqlite3_vfs* Vfs() { return sqlite3_vfs_find(nullptr); }

template <typename T>
void SwapSqlite(const char* name) {
  sqlite3_vfs* vfs = Vfs();
  const sqlite3_syscall_ptr original = vfs->xGetSystemCall(vfs, name);
  if (!original) return;  // not in this build
  T::saved = reinterpret_cast<decltype(T::saved)>(original);
  if (vfs->xSetSystemCall(vfs, name, reinterpret_cast<sqlite3_syscall_ptr>(T::Call)) != SQLITE_OK) std::abort();
}
void RestoreSqlite(const char* name) {
  sqlite3_vfs* vfs = Vfs();
  if (vfs->xGetSystemCall(vfs, name)) vfs->xSetSystemCall(vfs, name, nullptr);  // back to the default
}

using SqlWrite = SqliteTrap<0, ssize_t, int, const void*, size_t>;
using SqlPwrite = SqliteTrap<1, ssize_t, int, const void*, size_t, off_t>;
using SqlPwrite64 = SqliteTrap<2, ssize_t, int, const void*, size_t, off64_t>;
using SqlRead = SqliteTrap<3, ssize_t, int, void*, size_t>;
using SqlPread = SqliteTrap<4, ssize_t, int, void*, size_t, off_t>;
using SqlPread64 = SqliteTrap<5, ssize_t, int, void*, size_t, off64_t>;
using SqlOpen = SqliteTrap<6, int, const char*, int, int>;
using SqlFtruncate = SqliteTrap<7, int, int, off_t>;
using SqlUnlink = SqliteTrap<8, int, const char*>;

template <auto Member>
FailNext::Slot Backend(const char* name) {
  return {name, Trap<Member>::Install, Trap<Member>::Uninstall};
}

std::vector<FailNext::Slot>& Slots() {
  static std::vector<FailNext::Slot> slots = [] {
    std::vector<FailNext::Slot> s = {
        Backend<&SysCalls::openat>("openat"),       Backend<&SysCalls::read>("read"),
        Backend<&SysCalls::pread>("pread"),         Backend<&SysCalls::write>("write"),
        Backend<&SysCalls::renameat>("renameat"),   Backend<&SysCalls::renameat2>("renameat2"),
        Backend<&SysCalls::unlinkat>("unlinkat"),   Backend<&SysCalls::fsync>("fsync"),
        Backend<&SysCalls::ftruncate>("ftruncate"), Backend<&SysCalls::mkdirat>("mkdirat"),
        Backend<&SysCalls::close>("close"),
        {"sqlite.write",
         [](FailNext*) {
           SwapSqlite<SqlWrite>("write");
           SwapSqlite<SqlPwrite>("pwrite");
           SwapSqlite<SqlPwrite64>("pwrite64");
         },
         [] {
           RestoreSqlite("write");
           RestoreSqlite("pwrite");
           RestoreSqlite("pwrite64");
         }},
        {"sqlite.read",
         [](FailNext*) {
           SwapSqlite<SqlRead>("read");
           SwapSqlite<SqlPread>("pread");
           SwapSqlite<SqlPread64>("pread64");
         },
         [] {
           RestoreSqlite("read");
           RestoreSqlite("pread");
           RestoreSqlite("pread64");
         }},
        {"sqlite.open", [](FailNext*) { SwapSqlite<SqlOpen>("open"); }, [] { RestoreSqlite("open"); }},
        {"sqlite.ftruncate", [](FailNext*) { SwapSqlite<SqlFtruncate>("ftruncate"); },
         [] { RestoreSqlite("ftruncate"); }},
        {"sqlite.unlink", [](FailNext*) { SwapSqlite<SqlUnlink>("unlink"); }, [] { RestoreSqlite("unlink"); }},
    };
    return s;
  }();
  return slots;
}

// The traps find their slot through a static pointer of their own type.
void Bind(FailNext::Slot* slot) {
  const std::string_view n = slot->name;
  if (n == "openat") Trap<&SysCalls::openat>::slot = slot;
  if (n == "read") Trap<&SysCalls::read>::slot = slot;
  if (n == "pread") Trap<&SysCalls::pread>::slot = slot;
  if (n == "write") Trap<&SysCalls::write>::slot = slot;
  if (n == "renameat") Trap<&SysCalls::renameat>::slot = slot;
  if (n == "renameat2") Trap<&SysCalls::renameat2>::slot = slot;
  if (n == "unlinkat") Trap<&SysCalls::unlinkat>::slot = slot;
  if (n == "fsync") Trap<&SysCalls::fsync>::slot = slot;
  if (n == "ftruncate") Trap<&SysCalls::ftruncate>::slot = slot;
  if (n == "mkdirat") Trap<&SysCalls::mkdirat>::slot = slot;
  if (n == "close") Trap<&SysCalls::close>::slot = slot;
  if (n == "sqlite.write") SqlWrite::slot = SqlPwrite::slot = SqlPwrite64::slot = slot;
  if (n == "sqlite.read") SqlRead::slot = SqlPread::slot = SqlPread64::slot = slot;
  if (n == "sqlite.open") SqlOpen::slot = slot;
  if (n == "sqlite.ftruncate") SqlFtruncate::slot = slot;
  if (n == "sqlite.unlink") SqlUnlink::slot = slot;
}

}  // namespace

FailNext::FailNext(std::string_view call, int error, int count) : call_(call), error_(error), remaining_(count) {
  for (Slot& s : Slots())
    if (call_ == s.name) slot_ = &s;
  if (!slot_ || slot_->active) {
    std::fprintf(stderr, "FailNext: %s is %s\n", call_.c_str(), slot_ ? "already failing" : "not a known call");
    std::abort();
  }
  Bind(slot_);
  slot_->active = this;
  slot_->install(this);
}

FailNext::~FailNext() {
  slot_->uninstall();
  slot_->active = nullptr;
}

}  // namespace kp::test
