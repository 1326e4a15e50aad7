// kp160std — what /proc tells of processes on POSIX: the snapshots of the
// running processes and of a process's modules, the own module file and
// command line (see platform/process.h).
#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/filesystem.h"
#include "platform/platform.h"
#include "platform/posix/beneath.h"
#include "platform/posix/fs_names.h"
#include "platform/posix/process_proc.h"
#include "platform/process.h"
#include "platform/win32_errors.h"

namespace kp::platform::proc {

bool ReadWhole(const std::string& path, std::string* out) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  char buffer[4096];
  out->clear();
  for (;;) {
    const ssize_t n = read(fd, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      const int error = errno;
      close(fd);
      errno = error;
      return false;
    }
    if (n == 0) break;
    out->append(buffer, static_cast<size_t>(n));
  }
  close(fd);
  return true;
}

// The fields of /proc/<pid>/stat after the command's closing parenthesis:
// [0] state, [1] parent, ..., [49] exit code.
std::vector<std::string_view> StatFields(const std::string& stat) {
  std::vector<std::string_view> fields;
  const size_t close = stat.rfind(')');
  if (close == std::string::npos) return fields;
  std::string_view rest(stat);
  rest.remove_prefix(close + 1);
  size_t i = 0;
  while (i < rest.size()) {
    while (i < rest.size() && rest[i] == ' ') ++i;
    size_t j = i;
    while (j < rest.size() && rest[j] != ' ' && rest[j] != '\n') ++j;
    if (j > i) fields.push_back(rest.substr(i, j - i));
    i = j + 1;
  }
  return fields;
}

uint32_t ToNumber(std::string_view s) {
  uint32_t v = 0;
  for (char c : s) {
    if (c < '0' || c > '9') break;
    v = v * 10 + static_cast<uint32_t>(c - '0');
  }
  return v;
}

std::string ReadLink(const std::string& path) {
  char buffer[PATH_MAX];
  const ssize_t n = readlink(path.c_str(), buffer, sizeof buffer);
  if (n <= 0) return {};
  return std::string(buffer, static_cast<size_t>(n));
}

PathShower::PathShower() : root_(fs::RootHostPath()) {}

std::u16string PathShower::Show(const std::string& host) const {
  std::string shown;
  if (root_ == "/") {
    shown = host;
  } else if (!root_.empty() && host.size() > root_.size() && host.compare(0, root_.size(), root_) == 0 &&
             host[root_.size()] == '/') {
    shown = host.substr(root_.size());
  } else {
    return fs::names::FromUtf8(host);
  }
  std::u16string out = fs::names::FromUtf8(shown);
  for (auto& c : out)
    if (c == u'/') c = u'\\';
  return out;
}

// The executable and the mapped code files of a process, the executable
// first; false with the last error set when /proc refuses.
bool ModulePaths(pid_t pid, std::vector<std::string>* paths) {
  const std::string base = "/proc/" + std::to_string(pid);
  std::string maps;
  if (!ReadWhole(base + "/maps", &maps)) return FailErrno(errno);
  const std::string exe = ReadLink(base + "/exe");
  if (exe.empty()) return Fail(win32::kAccessDenied);  // a kernel thread, or gone meanwhile
  paths->clear();
  if (!exe.empty()) paths->push_back(exe);
  size_t start = 0;
  while (start < maps.size()) {
    size_t end = maps.find('\n', start);
    if (end == std::string::npos) end = maps.size();
    const std::string_view line(maps.data() + start, end - start);
    start = end + 1;
    // address perms offset device inode pathname
    const size_t space = line.find(' ');
    if (space == std::string_view::npos || space + 4 > line.size() || line[space + 3] != 'x') continue;
    const size_t slash = line.find('/');
    if (slash == std::string_view::npos) continue;
    const std::string path(line.substr(slash));
    bool known = false;
    for (const auto& p : *paths) known = known || p == path;
    if (!known) paths->push_back(path);
  }
  return true;
}

namespace {

std::u16string FileNameOf(std::u16string_view path) {
  const size_t slash = path.find_last_of(u"\\/");
  return std::u16string(slash == std::u16string_view::npos ? path : path.substr(slash + 1));
}

}  // namespace

bool ProcessSnapshot(std::vector<ProcessEntry>* processes, bool withParents) {
  processes->clear();
  DIR* dir = opendir("/proc");
  if (!dir) return FailErrno(errno);
  const PathShower shower;
  std::string path = "/proc/";
  std::string stat;
  while (const dirent* e = readdir(dir)) {
    if (e->d_name[0] < '1' || e->d_name[0] > '9') continue;
    path.resize(6);
    path += e->d_name;
    const size_t base = path.size();
    path += "/exe";
    const std::string exe = ReadLink(path);
    if (exe.empty()) continue;  // a kernel thread, or another user's process
    ProcessEntry entry;
    entry.processId = ToNumber(e->d_name);
    entry.path = shower.Show(exe);
    if (withParents) {
      path.resize(base);
      path += "/stat";
      if (ReadWhole(path, &stat)) {
        const auto fields = StatFields(stat);
        if (fields.size() > 1) entry.parentId = ToNumber(fields[1]);
      }
    }
    processes->push_back(std::move(entry));
  }
  closedir(dir);
  return true;
}

bool ModuleSnapshot(uint32_t processId, std::vector<ModuleEntry>* modules) {
  modules->clear();
  if (processId == 0 || processId > static_cast<uint32_t>(INT_MAX)) return Fail(win32::kInvalidParameter);
  std::vector<std::string> paths;
  if (!ModulePaths(static_cast<pid_t>(processId), &paths)) return false;
  const PathShower shower;
  for (const auto& p : paths) {
    ModuleEntry m;
    m.path = shower.Show(p);
    m.name = FileNameOf(m.path);
    modules->push_back(std::move(m));
  }
  return true;
}

bool ModulesByEnumeration() { return true; }

std::u16string OwnModuleFile() { return PathShower().Show(ReadLink("/proc/self/exe")); }

std::u16string OwnCommandLine() {
  std::string raw;
  if (!ReadWhole("/proc/self/cmdline", &raw)) return {};
  std::u16string line;
  size_t start = 0;
  while (start < raw.size()) {
    size_t end = raw.find('\0', start);
    if (end == raw.npos) end = raw.size();
    const std::u16string arg = fs::names::FromUtf8(raw.substr(start, end - start));
    if (!line.empty()) line += u' ';
    if (!arg.empty() && arg.find_first_of(u" \t\"") == arg.npos) {
      line += arg;
    } else {
      // Quoted so that the Windows runtime's rules give it back: backslashes
      // before a quote (or the closing quote) doubled, quotes escaped.
      line += u'"';
      size_t slashes = 0;
      for (char16_t c : arg) {
        if (c == u'\\') {
          ++slashes;
          continue;
        }
        line.append(c == u'"' ? 2 * slashes + 1 : slashes, u'\\');
        slashes = 0;
        line += c;
      }
      line.append(2 * slashes, u'\\');
      line += u'"';
    }
    start = end + 1;
  }
  return line;
}

std::u16string UpdaterDirectory() {
  if (const char* dir = std::getenv("KP_UPDATER_DIR"); dir && *dir) return fs::names::FromUtf8(dir);
  std::u16string own = OwnModuleFile();
  const size_t slash = own.find_last_of(u"\\/");
  return slash == own.npos ? std::u16string() : own.substr(0, slash);
}

}  // namespace kp::platform::proc
