// xev on a window of its own under the test's Xvfb, as an observer of the
// key and button events that reach that window.
#pragma once

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "support/xvfb.h"

namespace kp::test {

class Xev {
 public:
  // Starts xev with a window titled `title` at (50, 60), 300 x 200, and waits
  // for xdotool to find it.
  explicit Xev(const std::string& title)
      : log_(Xvfb::Shared().dir() + "/" + title + ".log"),
        child_({"stdbuf", "-oL", "xev", "-name", title, "-geometry", "300x200+50+60"}, log_) {
    WaitFor([&] {
      const std::string found = Shell("xdotool search --name '^" + title + "$' 2>/dev/null");
      if (found.empty()) return false;
      window_ = std::stoul(found);
      return true;
    });
    // xev shows its first events once mapped: wait for the window to be viewable.
    WaitFor([&] { return Shell("xwininfo -id " + std::to_string(window_)).find("IsViewable") != std::string::npos; });
  }

  uint32_t window() const { return window_; }
  std::string log() const { return ReadFile(log_); }
  void Stop() { child_.Stop(); }

  // The keysym names of the KeyPress events seen so far, in order.
  std::vector<std::string> KeyPresses() const { return Names("KeyPress event", R"(keysym 0x[0-9a-f]+, ([^)]+)\))"); }
  std::vector<std::string> KeyReleases() const {
    return Names("KeyRelease event", R"(keysym 0x[0-9a-f]+, ([^)]+)\))");
  }
  // "button N at (x,y)" for each ButtonPress.
  std::vector<std::string> ButtonPresses() const {
    std::vector<std::string> out;
    for (const auto& block : Blocks("ButtonPress event")) {
      std::smatch at, button;
      if (std::regex_search(block, at, std::regex(R"(time \d+, \((-?\d+),(-?\d+)\))")) &&
          std::regex_search(block, button, std::regex(R"(button (\d+))")))
        out.push_back("button " + button[1].str() + " at (" + at[1].str() + "," + at[2].str() + ")");
    }
    return out;
  }

  // Waits until at least `n` key presses have been seen.
  bool WaitForKeyPresses(size_t n) {
    return WaitFor([&] { return KeyPresses().size() >= n; }, std::chrono::seconds(5));
  }
  bool WaitForKeyReleases(size_t n) {
    return WaitFor([&] { return KeyReleases().size() >= n; }, std::chrono::seconds(5));
  }

 private:
  std::vector<std::string> Blocks(const std::string& head) const {
    std::vector<std::string> blocks;
    const std::string text = log();
    size_t at = 0;
    while ((at = text.find(head, at)) != std::string::npos) {
      size_t end = text.find("\n\n", at);
      if (end == std::string::npos) end = text.size();
      blocks.push_back(text.substr(at, end - at));
      at = end;
    }
    return blocks;
  }
  std::vector<std::string> Names(const std::string& head, const char* pattern) const {
    std::vector<std::string> out;
    for (const auto& block : Blocks(head)) {
      std::smatch m;
      if (std::regex_search(block, m, std::regex(pattern))) out.push_back(m[1].str());
    }
    return out;
  }

  std::string log_;
  Child child_;
  uint32_t window_ = 0;
};

}  // namespace kp::test
