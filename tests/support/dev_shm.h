// What the named objects of one device prefix left in /dev/shm: the tests of
// shared memory check that every object goes with its last handle.
#pragma once

#include <dirent.h>

#include <cstring>
#include <string>
#include <vector>

namespace kp::test {

// The names in /dev/shm that start with `stem` (the prefix's, from
// SharedMemoryStem()).
inline std::vector<std::string> LeftInDevShm(const std::string& stem) {
  std::vector<std::string> left;
  if (DIR* d = opendir("/dev/shm")) {
    while (dirent* e = readdir(d))
      if (std::strncmp(e->d_name, stem.c_str(), stem.size()) == 0) left.push_back(e->d_name);
    closedir(d);
  }
  return left;
}

}  // namespace kp::test
