// kp160std — FindFirstFile/FindNextFile on the POSIX device file system.
//
// The directory is resolved beneath the root and listed through a descriptor
// of it (fdopendir); each entry is looked at relative to that descriptor. An
// entry that is a link is resolved beneath the root again from its own
// place: one that leads inside is listed as what it names, one that leads
// outside (or dangles, or loops) is not part of the device and is left out.
// The whole listing is read at FindFirstFile and handed out sorted by name.
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
};

}  // namespace

FindHandle FindFirstFile(std::u16string_view pattern, FindData* data, uint32_t details) {
  const size_t cut = pattern.find_last_of(u"\\/");
  if (cut == std::u16string_view::npos) return Fail(win32::kInvalidName), kInvalidFind;
  const std::u16string_view leaf = pattern.substr(cut + 1);
  Location dir;
  if (!detail::Locate(cut == 0 ? pattern.substr(0, 1) : pattern.substr(0, cut), &dir)) return kInvalidFind;
  if (!dir.exists || !S_ISDIR(dir.st.st_mode)) return Fail(win32::kPathNotFound), kInvalidFind;
  if (leaf.empty()) return Fail(win32::kFileNotFound), kInvalidFind;
  const int dfd = OpenAt(dir, O_RDONLY | O_DIRECTORY);
  if (dfd < 0) return Fail(Win32FromErrno(errno)), kInvalidFind;
  DIR* d = fdopendir(dfd);
  if (!d) {
    const int e = errno;
    close(dfd);
    return Fail(Win32FromErrno(e)), kInvalidFind;
  }
  const std::unique_ptr<DIR, int (*)(DIR*)> closer(d, closedir);
  const std::string prefix = dir.isRoot ? std::string() : dir.relative + "/";
  auto state = std::make_unique<FindState>();
  // "*" and "*.*" take every name: no need to fold each one.
  const bool everything = leaf == u"*" || leaf == u"*.*";
  while (dirent* e = readdir(d)) {
    if (std::strcmp(e->d_name, ".") == 0 || std::strcmp(e->d_name, "..") == 0) continue;
    std::u16string entry = names::FromUtf8(e->d_name);
    if (!everything && !names::Match(leaf, entry)) continue;
    struct stat st {};
    bool haveStat = false;
    // The entry's type from the listing spares a stat when nothing else is
    // read; a directory is always looked at, for its identity.
    const bool plain = e->d_type == DT_REG;
    if (!plain || details != 0) {
      if (fstatat(dfd, e->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
      haveStat = true;
    }
    UniqueFd object;
    std::string objectLeaf = e->d_name;
    if (haveStat && S_ISLNK(st.st_mode)) {
      Location target;
      if (LocateBeneath(prefix + e->d_name, &target) != win32::kSuccess || !target.exists) continue;
      st = target.st;
      objectLeaf = target.leaf;
      if (details & kFindAttributes) object = detail::OpenObject(target);
    } else if (details & kFindAttributes) {
      object = detail::OpenObjectAt(dfd, e->d_name);
    }
    const bool isDir = haveStat ? S_ISDIR(st.st_mode) : e->d_type == DT_DIR;
    FindData f;
    f.name = std::move(entry);
    f.attributes = (details & kFindAttributes) ? detail::AttributesOf(object.get(), objectLeaf, st)
                   : isDir                      ? kAttrDirectory
                                                : kAttrNormal;
    if (haveStat) {
      f.device = static_cast<uint64_t>(st.st_dev);
      f.inode = static_cast<uint64_t>(st.st_ino);
    }
    if (details & kFindSizeTimes) {
      f.size = isDir ? 0 : st.st_size;
      f.times = detail::TimesOf(st);
    }
    state->entries.push_back(std::move(f));
  }
  if (state->entries.empty()) return Fail(win32::kFileNotFound), kInvalidFind;
  std::sort(state->entries.begin(), state->entries.end(),
            [](const FindData& a, const FindData& b) { return a.name < b.name; });
  *data = state->entries[0];
  state->next = 1;
  SetLastError(win32::kSuccess);
  return reinterpret_cast<FindHandle>(state.release());
}

bool FindNextFile(FindHandle find, FindData* data) {
  if (find == kInvalidFind || find == 0) return Fail(win32::kInvalidHandle);
  auto* state = reinterpret_cast<FindState*>(find);
  if (state->next >= state->entries.size()) return Fail(win32::kNoMoreFiles);
  *data = state->entries[state->next++];
  return true;
}

void FindClose(FindHandle find) {
  if (find != kInvalidFind && find != 0) delete reinterpret_cast<FindState*>(find);
}

}  // namespace kp::platform::fs
