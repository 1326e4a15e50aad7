// Fault injection for tests (see fault_injection.h): one trap per system
// call, each a function of the call's own type that fails while its
// FailNext has failures left and calls the saved original otherwise.
#include "support/fault_injection.h"

#include <sqlite3.h>
#include <sys/types.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "platform/posix/syscalls.h"

namespace kp::test {

using platform::sys::SysCalls;

struct FailNext::Slot {
  const char* name;
  void (*install)(Slot*);
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
  static void Install(FailNext::Slot* s) {
    slot = s;
    saved = platform::sys::Sys().*Member;
    platform::sys::Sys().*Member = Call;
  }
  static void Uninstall() { platform::sys::Sys().*Member = saved; }
};

// An SQLite unix VFS call, swapped by name for a trap of its type; `Id`
// keeps apart two calls of the same type.
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
void SwapSqlite(const char* name, FailNext::Slot* slot) {
  T::slot = slot;
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
        Backend<&SysCalls::openat>("openat"),
        Backend<&SysCalls::read>("read"),
        Backend<&SysCalls::pread>("pread"),
        Backend<&SysCalls::write>("write"),
        Backend<&SysCalls::renameat>("renameat"),
        Backend<&SysCalls::renameat2>("renameat2"),
        Backend<&SysCalls::unlinkat>("unlinkat"),
        Backend<&SysCalls::fsync>("fsync"),
        Backend<&SysCalls::ftruncate>("ftruncate"),
        Backend<&SysCalls::fallocate>("fallocate"),
        Backend<&SysCalls::mkdirat>("mkdirat"),
        Backend<&SysCalls::close>("close"),
        {"sqlite.write",
         [](FailNext::Slot* slot) {
           SwapSqlite<SqlWrite>("write", slot);
           SwapSqlite<SqlPwrite>("pwrite", slot);
           SwapSqlite<SqlPwrite64>("pwrite64", slot);
         },
         [] {
           RestoreSqlite("write");
           RestoreSqlite("pwrite");
           RestoreSqlite("pwrite64");
         }},
        {"sqlite.read",
         [](FailNext::Slot* slot) {
           SwapSqlite<SqlRead>("read", slot);
           SwapSqlite<SqlPread>("pread", slot);
           SwapSqlite<SqlPread64>("pread64", slot);
         },
         [] {
           RestoreSqlite("read");
           RestoreSqlite("pread");
           RestoreSqlite("pread64");
         }},
        {"sqlite.open", [](FailNext::Slot* slot) { SwapSqlite<SqlOpen>("open", slot); }, [] { RestoreSqlite("open"); }},
        {"sqlite.ftruncate", [](FailNext::Slot* slot) { SwapSqlite<SqlFtruncate>("ftruncate", slot); },
         [] { RestoreSqlite("ftruncate"); }},
        {"sqlite.unlink", [](FailNext::Slot* slot) { SwapSqlite<SqlUnlink>("unlink", slot); },
         [] { RestoreSqlite("unlink"); }},
    };
    return s;
  }();
  return slots;
}

}  // namespace

FailNext::FailNext(std::string_view call, int error, int count) : call_(call), error_(error), remaining_(count) {
  for (Slot& s : Slots())
    if (call_ == s.name) slot_ = &s;
  if (!slot_ || slot_->active) {
    std::fprintf(stderr, "FailNext: %s is %s\n", call_.c_str(), slot_ ? "already failing" : "not a known call");
    std::abort();
  }
  slot_->active = this;
  slot_->install(slot_);
}

FailNext::~FailNext() {
  slot_->uninstall();
  slot_->active = nullptr;
}

}  // namespace kp::test
