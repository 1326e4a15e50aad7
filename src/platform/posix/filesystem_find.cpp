// kp160std — FindFirstFile/FindNextFile on the POSIX device file system.
//
// The directory is resolved beneath the root and listed through a descriptor
// of it (getdents64); each entry is looked at relative to that descriptor.
// An entry that is a link is resolved beneath the root again from its own
// place: one that leads inside is listed as what it names, one that leads
// outside (or dangles, or loops) is not part of the device and is left out.
// The whole listing is read at FindFirstFile and handed out sorted by name
// (in the directory's own order for a size total, kFindSizesOnly).
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include "platform/filesystem.h"
#include "platform/platform.h"
#include "platform/posix/errno_map.h"
#include "platform/posix/filesystem_internal.h"
#include "platform/posix/fs_names.h"
#include "platform/win32_errors.h"

namespace kp::platform::fs {

using detail::Fail;

namespace {

struct FindState {
  std::vector<FindData> entries;
  size_t next = 0;
  // The directory listed, kept open so that a walk enters its
  // subdirectories through it (FindFirstFileBelow), with its path from the
  // root, "/"-ended (empty for the root), and the on-disk names of its
  // subdirectories, by entry.
  UniqueFd dir;
  std::string prefix;
  std::vector<std::string> onDisk;
};

// Lists the open directory `dfd` (taken over), whose path from the root is
// `prefix`, as FindFirstFile does.
// The next entry of the open directory `fd`, read through `buffer` (no DIR:
// fdopendir would ask the descriptor's status and flags once more per
// directory, which a walk of many small directories pays for); null at the
// end or on an error (errno set, 0 at the end).
struct Entries {
  int fd;
  alignas(8) char buffer[16384];
  size_t at = 0, size = 0;
  const struct dirent64* Next() {
    if (at >= size) {
      ssize_t n;
      do n = getdents64(fd, buffer, sizeof buffer);
      while (n < 0 && errno == EINTR);
      if (n <= 0) {
        if (n == 0) errno = 0;
        return nullptr;
      }
      size = static_cast<size_t>(n);
      at = 0;
    }
    const auto* e = reinterpret_cast<const struct dirent64*>(buffer + at);
    at += e->d_reclen;
    return e;
  }
};

FindHandle List(UniqueFd dfd, std::string prefix, std::u16string_view leaf, FindData* data, uint32_t details) {
  auto state = std::make_unique<FindState>();
  state->dir = std::move(dfd);
  const int fd = state->dir.get();
  Entries listing;  // on the stack: the walk lists one directory at a time
  listing.fd = fd;
  // "*" and "*.*" take every name: no need to fold each one.
  const bool everything = leaf == u"*" || leaf == u"*.*";
  const bool sizesOnly = everything && (details & kFindSizesOnly);
  details &= ~kFindSizesOnly;
  std::vector<std::pair<size_t, std::string>> subdirectories;
  while (const struct dirent64* e = listing.Next()) {
    if (std::strcmp(e->d_name, ".") == 0 || std::strcmp(e->d_name, "..") == 0) continue;
    std::u16string entry;
    if (!sizesOnly) entry = names::FromUtf8(e->d_name);
    if (!everything && !names::Match(leaf, entry)) continue;
    struct stat st {};
    bool haveStat = false;
    // The entry's type from the listing spares a stat when nothing else is
    // read; a directory is always looked at, for its identity.
    const bool plain = e->d_type == DT_REG;
    if (!plain || details != 0) {
      if (fstatat(fd, e->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
      haveStat = true;
    }
    UniqueFd object;
    std::string objectLeaf = e->d_name;
    const bool link = haveStat && S_ISLNK(st.st_mode);
    if (link) {
      Location target;
      if (LocateBeneath(prefix + e->d_name, &target) != win32::kSuccess || !target.exists) continue;
      st = target.st;
      objectLeaf = target.leaf;
      if (details & kFindAttributes) object = detail::OpenObject(target);
    } else if (details & kFindAttributes) {
      object = detail::OpenObjectAt(fd, e->d_name);
    }
    const bool isDir = haveStat ? S_ISDIR(st.st_mode) : e->d_type == DT_DIR;
    // A directory reached through a link is entered by its path, from the root again.
    if (isDir && !link) subdirectories.emplace_back(state->entries.size(), e->d_name);
    FindData f;
    f.name = sizesOnly && isDir ? names::FromUtf8(e->d_name) : std::move(entry);
    f.attributes = (details & kFindAttributes) ? detail::AttributesOf(object.get(), objectLeaf, st)
                   : isDir                      ? kAttrDirectory
                                                : kAttrNormal;
    if (haveStat) {
      f.device = static_cast<uint64_t>(st.st_dev);
      f.inode = static_cast<uint64_t>(st.st_ino);
    }
    if (details & kFindSizeTimes) {
      f.size = isDir ? 0 : st.st_size;
      if (!sizesOnly) f.times = detail::TimesOf(st);
    }
    state->entries.push_back(std::move(f));
  }
  if (errno != 0 && state->entries.empty()) return Fail(Win32FromErrno(errno)), kInvalidFind;
  if (state->entries.empty()) return Fail(win32::kFileNotFound), kInvalidFind;
  if (sizesOnly) {
    // In the directory's own order: the on-disk names by entry as they came.
    if (!subdirectories.empty()) {
      state->onDisk.resize(state->entries.size());
      for (auto& [index, name] : subdirectories) state->onDisk[index] = std::move(name);
    }
  } else {
    // Sorted by name, the on-disk names of the subdirectories following their entries.
    std::vector<size_t> order(state->entries.size());
    for (size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::sort(order.begin(), order.end(),
              [&](size_t a, size_t b) { return state->entries[a].name < state->entries[b].name; });
    std::vector<FindData> sorted;
    sorted.reserve(order.size());
    for (size_t i : order) sorted.push_back(std::move(state->entries[i]));
    state->entries = std::move(sorted);
    if (!subdirectories.empty()) {
      std::vector<size_t> rank(order.size());
      for (size_t i = 0; i < order.size(); ++i) rank[order[i]] = i;
      state->onDisk.resize(order.size());
      for (auto& [index, name] : subdirectories) state->onDisk[rank[index]] = std::move(name);
    }
  }
  state->prefix = std::move(prefix);
  // Each entry is handed out once: moved, not copied.
  *data = std::move(state->entries[0]);
  state->next = 1;
  SetLastError(win32::kSuccess);
  return reinterpret_cast<FindHandle>(state.release());
}

}  // namespace

FindHandle FindFirstFile(std::u16string_view pattern, FindData* data, uint32_t details) {
  const size_t cut = pattern.find_last_of(u"\\/");
  if (cut == std::u16string_view::npos) return Fail(win32::kInvalidName), kInvalidFind;
  const std::u16string_view leaf = pattern.substr(cut + 1);
  Location dir;
  if (!detail::Locate(cut == 0 ? pattern.substr(0, 1) : pattern.substr(0, cut), &dir)) return kInvalidFind;
  if (!dir.exists || !S_ISDIR(dir.st.st_mode)) return Fail(win32::kPathNotFound), kInvalidFind;
  if (leaf.empty()) return Fail(win32::kFileNotFound), kInvalidFind;
  UniqueFd dfd(OpenAt(dir, O_RDONLY | O_DIRECTORY));
  if (!dfd) return Fail(Win32FromErrno(errno)), kInvalidFind;
  return List(std::move(dfd), dir.isRoot ? std::string() : dir.relative + "/", leaf, data, details);
}

FindHandle FindFirstFileBelow(FindHandle parent, std::u16string_view pattern, FindData* data, uint32_t details) {
  auto* state = parent == kInvalidFind || parent == 0 ? nullptr : reinterpret_cast<FindState*>(parent);
  const size_t cut = pattern.find_last_of(u"\\/");
  if (!state || !state->dir || state->next == 0 || state->next > state->onDisk.size() ||
      state->onDisk[state->next - 1].empty() || cut == std::u16string_view::npos || cut + 1 == pattern.size())
    return FindFirstFile(pattern, data, details);
  const std::string& name = state->onDisk[state->next - 1];
  // Never through a link: one swapped in since the listing is taken by its path, beneath the root.
  UniqueFd dfd(openat(state->dir.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!dfd) return FindFirstFile(pattern, data, details);
  return List(std::move(dfd), state->prefix + name + "/", pattern.substr(cut + 1), data, details);
}

bool FindNextFile(FindHandle find, FindData* data) {
  if (find == kInvalidFind || find == 0) return Fail(win32::kInvalidHandle);
  auto* state = reinterpret_cast<FindState*>(find);
  if (state->next >= state->entries.size()) return Fail(win32::kNoMoreFiles);
  *data = std::move(state->entries[state->next++]);
  return true;
}

void FindClose(FindHandle find) {
  if (find != kInvalidFind && find != 0) delete reinterpret_cast<FindState*>(find);
}

}  // namespace kp::platform::fs
