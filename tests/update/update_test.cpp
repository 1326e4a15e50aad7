// The update settings and the availability check against a real HTTP server
// on loopback (tests/update/http_server.py), which records every request's
// bytes; and the natural order against a second implementation.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <regex>
#include <sstream>
#include <thread>

#include "abi/error_ids.h"
#include "platform/registry.h"
#include "support/deadline.h"
#include "support/loopback_server.h"
#include "registry/registry_fixture.h"
#include "update/natural_order.h"
#include "update/update.h"

namespace kp::test {
namespace {

namespace reg = platform::reg;

std::u16string U16(const std::string& s) { return std::u16string(s.begin(), s.end()); }

class Update : public FreshDevice {
 protected:
  void SetUp() override {
    FreshDevice::SetUp();
    log_ = dir_ + "/requests.log";
    setenv("KP_HTTP_TIMEOUT_MS", "1500", 1);
    server_ = std::make_unique<LoopbackServer>(log_);
    ASSERT_GT(server_->port(), 0) << "the loopback server did not start";
  }
  void TearDown() override {
    server_.reset();
    unsetenv("KP_HTTP_TIMEOUT_MS");
    FreshDevice::TearDown();
  }
  std::string Base() const { return "http://127.0.0.1:" + std::to_string(server_->port()); }
  std::string Requests() const {
    std::ifstream f(log_, std::ios::binary);
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
  }
  // Settings of "\Apps\App.exe" written under the family's feet.
  void Settings(uint32_t enabled, const std::u16string& url, const std::u16string& version) {
    reg::KeyHolder k;
    uint32_t disposition = 0;
    ASSERT_EQ(reg::CreateKey(reg::kLocalMachine, update::SettingsKey(kApp), reg::kAllAccess, k.out(), &disposition),
              0u);
    ASSERT_EQ(reg::SetValue(k.get(), u"UPDATE_HTTP", reg::kDword, reinterpret_cast<const uint8_t*>(&enabled), 4), 0u);
    ASSERT_EQ(reg::SetValue(k.get(), u"UPDATE_URL", reg::kSz, reinterpret_cast<const uint8_t*>(url.data()),
                            static_cast<uint32_t>(url.size() * 2)),
              0u);
    ASSERT_EQ(reg::SetValue(k.get(), u"VERSION", reg::kSz, reinterpret_cast<const uint8_t*>(version.data()),
                            static_cast<uint32_t>(version.size() * 2)),
              0u);
  }
  static constexpr std::u16string_view kApp = u"\\Apps\\App.exe";
  std::string log_;
  std::unique_ptr<LoopbackServer> server_;
};

TEST_F(Update, OffOrUnsetMeansNoUpdateWithoutTheNetwork) {
  EXPECT_EQ(update::Available(ctx_, kApp), update::kNoUpdate);  // no key at all
  Settings(0, U16(Base() + "/ok"), u"1");
  EXPECT_EQ(update::Available(ctx_, kApp), update::kNoUpdate);
  EXPECT_EQ(Requests(), "");
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(Update, TheRequestOnTheWireAndTheComparison) {
  Settings(1, U16(Base() + "/ok"), u"2.9");
  EXPECT_EQ(update::Available(ctx_, kApp), update::kOptionalUpdate);  // 2.9 before 2.10
  EXPECT_EQ(Requests(), "GET /ok/VERSION.KX HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(server_->port()) +
                            "\r\nAccept: */*\r\n\r\n----\n");
  for (const char16_t* installed : {u"2.10", u"2.010", u"2.10a", u"3"}) {
    Settings(1, U16(Base() + "/ok"), installed);
    EXPECT_EQ(update::Available(ctx_, kApp), update::kNoUpdate) << std::string(installed, installed + 2);
  }
  EXPECT_EQ(update::Parameter(ctx_, update::kReferenceVersion, kApp), u"2.10");
}

TEST_F(Update, EveryWayTheServerCanAnswer) {
  for (const char* ok : {"/chunked", "/close", "/redirect/"}) {
    Settings(1, U16(Base() + ok), u"1");
    EXPECT_EQ(update::Available(ctx_, kApp), update::kOptionalUpdate) << ok;
  }
  struct Failure {
    const char* path;
    uint32_t system;
  };
  for (const Failure f : {Failure{"/missing", 2}, Failure{"/error", 12152}, Failure{"/nosection", 2},
                          Failure{"/hang", 12002}, Failure{"/big", 12152}, Failure{"/garbage", 0}}) {
    SCOPED_TRACE(f.path);
    Settings(1, U16(Base() + f.path), u"1");
    ctx_.clearError();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(update::Available(ctx_, kApp), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << "past the time limit";
    EXPECT_EQ(ctx_.errorId(), kErrCannotReadUpdateSettings);
    if (f.system) EXPECT_EQ(ctx_.systemError(), f.system);
    EXPECT_NE(ctx_.systemError(), 0u);
    EXPECT_NE(ctx_.message().find(u"VERSION.KX"), std::u16string::npos) << "the location is named";
  }
}

// The kept connection handle follows a change of the time limit between
// two requests (its options are set again only when a setting changed).
TEST_F(Update, TheTimeLimitIsReadAtEveryRequest) {
  Settings(1, U16(Base() + "/hang"), u"1");
  auto timed = [&](const char* limitMs) {
    setenv("KP_HTTP_TIMEOUT_MS", limitMs, 1);
    ctx_.clearError();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(update::Available(ctx_, kApp), 0);
    EXPECT_EQ(ctx_.systemError(), 12002u) << limitMs;
    return std::chrono::steady_clock::now() - start;
  };
  EXPECT_LT(timed("200"), std::chrono::milliseconds(1200));
  EXPECT_GE(timed("900"), std::chrono::milliseconds(850));
  EXPECT_LT(timed("200"), std::chrono::milliseconds(850));
}

// TLS with a certificate made here, trusted only through KP_HTTP_CA_FILE.
TEST_F(Update, HttpsWithATrustedCertificate) {
  const std::string cert = dir_ + "/cert.pem", key = dir_ + "/key.pem";
  const std::string make = "openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=127.0.0.1 "
                           "-addext subjectAltName=IP:127.0.0.1 -keyout " + key + " -out " + cert + " 2>/dev/null";
  ASSERT_EQ(std::system(make.c_str()), 0) << "openssl is needed to make the certificate";
  LoopbackServer tls(dir_ + "/tls.log", cert, key);
  ASSERT_GT(tls.port(), 0);
  const std::u16string url = U16("https://127.0.0.1:" + std::to_string(tls.port()) + "/ok");
  Settings(1, url, u"1");
  EXPECT_EQ(update::Available(ctx_, kApp), 0) << "an unknown certificate is refused";
  EXPECT_EQ(ctx_.systemError(), 12175u);
  setenv("KP_HTTP_CA_FILE", cert.c_str(), 1);
  ctx_.clearError();
  EXPECT_EQ(update::Available(ctx_, kApp), update::kOptionalUpdate);
  unsetenv("KP_HTTP_CA_FILE");
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(Update, BadLocationsFailClearly) {
  for (const std::u16string& url : {std::u16string(u"http:///nohost"), std::u16string(u"ftp://127.0.0.1/x"),
                                    std::u16string(10000, u'a')}) {
    Settings(1, url, u"1");
    ctx_.clearError();
    EXPECT_EQ(update::Available(ctx_, kApp), 0);
    EXPECT_EQ(ctx_.errorId(), kErrCannotReadUpdateSettings);
    EXPECT_NE(ctx_.systemError(), 0u);
  }
}

TEST_F(Update, ParametersReadAndChanged) {
  EXPECT_EQ(update::Parameter(ctx_, update::kProtocol, kApp), u"HTTP");  // no key needed
  EXPECT_FALSE(ctx_.hasError());
  EXPECT_EQ(update::Parameter(ctx_, update::kServer, kApp), u"");
  EXPECT_EQ(ctx_.errorId(), kErrCannotReadUpdateSettings);  // no settings key
  EXPECT_NE(ctx_.message().find(u"APPLI\\App"), std::u16string::npos);
  ctx_.clearError();
  EXPECT_EQ(update::Parameter(ctx_, 4, kApp), u"");
  EXPECT_EQ(ctx_.errorId(), kErrUnknownUpdateSetting);
  ctx_.clearError();
  EXPECT_FALSE(update::ChangeParameter(ctx_, 2, u"x", kApp));
  EXPECT_EQ(ctx_.errorId(), kErrUpdateSettingReadOnly);
  // Kept on purpose: half of the text's bytes are stored.
  ASSERT_TRUE(update::ChangeParameter(ctx_, update::kServer, u"abcd", kApp));
  EXPECT_EQ(update::Parameter(ctx_, update::kServer, kApp), u"ab");
  ASSERT_TRUE(update::ChangeParameter(ctx_, update::kLocalVersion, u"1.234", kApp));
  EXPECT_EQ(update::Parameter(ctx_, update::kLocalVersion, kApp), u"1.");  // 5 bytes: the odd one is dropped
  // "1" as text stores the byte '1': read as a number it is 49, and on.
  ASSERT_TRUE(update::ChangeParameter(ctx_, update::kNetwork, u"1", kApp));
  EXPECT_EQ(update::Parameter(ctx_, update::kNetwork, kApp), u"49");
}

// The settings' values as the system's calls read them into their buffers:
// a number of four bytes at most (fewer are zero-extended), a version of 40
// characters at most, a text cut at its first NUL; a value too large for
// its buffer is an error (234), a missing one a missing file (2).
TEST_F(Update, SettingsReadAsIntoTheSystemsBuffers) {
  Settings(1, U16(Base() + "/ok"), u"2.9");
  reg::KeyHolder k;
  ASSERT_EQ(reg::OpenKey(reg::kLocalMachine, update::SettingsKey(kApp), reg::kAllAccess, k.out()), 0u);
  auto set = [&](const char16_t* name, uint32_t type, const void* data, uint32_t size) {
    ASSERT_EQ(reg::SetValue(k.get(), name, type, static_cast<const uint8_t*>(data), size), 0u);
  };
  const uint8_t two[2] = {0x02, 0x01};
  set(u"UPDATE_HTTP", reg::kBinary, two, 2);
  EXPECT_EQ(update::Parameter(ctx_, update::kNetwork, kApp), u"258");
  const uint64_t wide = 1;
  set(u"UPDATE_HTTP", reg::kQword, &wide, 8);  // does not fit: updates count as off
  EXPECT_EQ(update::Available(ctx_, kApp), update::kNoUpdate);
  EXPECT_FALSE(ctx_.hasError());
  EXPECT_EQ(update::Parameter(ctx_, update::kNetwork, kApp), u"");
  EXPECT_EQ(ctx_.systemError(), 234u);
  ctx_.clearError();
  const uint32_t on = 1;
  set(u"UPDATE_HTTP", reg::kDword, &on, 4);

  const std::u16string cut(u"2.9\0junk", 8), longest(40, u'1'), tooLong(41, u'1'), other = u"7";
  // Names in any case; a name beyond ASCII next to them changes nothing.
  set(u"Versión", reg::kSz, other.data(), 2);
  set(u"version", reg::kSz, cut.data(), static_cast<uint32_t>(cut.size() * 2));
  EXPECT_EQ(update::Parameter(ctx_, update::kLocalVersion, kApp), u"2.9");
  EXPECT_EQ(update::Parameter(ctx_, update::kServer, kApp), U16(Base() + "/ok"));
  EXPECT_EQ(update::Available(ctx_, kApp), update::kOptionalUpdate);  // 2.9 against the server's 2.10
  set(u"VERSION", reg::kSz, longest.data(), 80);
  EXPECT_EQ(update::Available(ctx_, kApp), update::kNoUpdate);
  set(u"VERSION", reg::kSz, tooLong.data(), 82);
  EXPECT_EQ(update::Available(ctx_, kApp), 0);
  EXPECT_EQ(ctx_.errorId(), kErrCannotReadUpdateSettings);
  EXPECT_EQ(ctx_.systemError(), 234u);
  EXPECT_NE(ctx_.message().find(u"APPLI\\App"), std::u16string::npos);
  EXPECT_EQ(update::Parameter(ctx_, update::kLocalVersion, kApp), tooLong);  // its buffer is larger
  ctx_.clearError();

  ASSERT_EQ(reg::DeleteValue(k.get(), u"VERSION"), 0u);
  EXPECT_EQ(update::Available(ctx_, kApp), 0);
  EXPECT_EQ(ctx_.systemError(), 2u);
  ctx_.clearError();
  ASSERT_EQ(reg::DeleteValue(k.get(), u"UPDATE_URL"), 0u);
  EXPECT_EQ(update::Parameter(ctx_, update::kReferenceVersion, kApp), u"");
  EXPECT_EQ(ctx_.errorId(), kErrCannotReadUpdateSettings);
  EXPECT_EQ(ctx_.systemError(), 2u);
  ctx_.clearError();
  ASSERT_EQ(reg::DeleteValue(k.get(), u"UPDATE_HTTP"), 0u);
  EXPECT_EQ(update::Available(ctx_, kApp), update::kNoUpdate);  // a key without the switch: off
  EXPECT_FALSE(ctx_.hasError());
  const std::string requests = Requests();
  size_t gets = 0;
  for (size_t at = requests.find("GET "); at != std::string::npos; at = requests.find("GET ", at + 1)) ++gets;
  EXPECT_EQ(gets, 2u) << "only the checks that read a whole version asked the server";
}

// AppliDéclencheMAJ starts a stand-in updater (a script in the device's
// updater directory) that writes down its arguments.
TEST_F(Update, TheUpdaterIsStartedWithItsCommandLine) {
  const std::string updaterDir = dir_ + "/fs/Updater", record = dir_ + "/updater.args";
  std::filesystem::create_directories(updaterDir);
  const std::string script = updaterDir + "/QR160APPLIMOBILE.EXE";
  {
    std::ofstream f(script);
    ASSERT_TRUE(f.good());
    f << "#!/bin/sh\nfor a in \"$@\"; do printf '%s\\n' \"$a\"; done > " << record << ".part && mv " << record
      << ".part " << record << "\n";
  }
  std::filesystem::permissions(script, std::filesystem::perms::owner_all);
  setenv("KP_UPDATER_DIR", "\\Updater", 1);
  const std::u16string own = update::OwnApplication();
  const std::string name = std::filesystem::path(Utf8(own)).stem().string();
  // The running program's settings, as the syntax without an application reads them.
  reg::KeyHolder k;
  uint32_t disposition = 0, on = 1;
  ASSERT_EQ(reg::CreateKey(reg::kLocalMachine, update::SettingsKey(own), reg::kAllAccess, k.out(), &disposition), 0u);
  const std::u16string url = U16(Base() + "/named/" + name), installed = u"2.10";
  reg::SetValue(k.get(), u"UPDATE_HTTP", reg::kDword, reinterpret_cast<const uint8_t*>(&on), 4);
  reg::SetValue(k.get(), u"UPDATE_URL", reg::kSz, reinterpret_cast<const uint8_t*>(url.data()),
                static_cast<uint32_t>(url.size() * 2));
  reg::SetValue(k.get(), u"VERSION", reg::kSz, reinterpret_cast<const uint8_t*>(installed.data()),
                static_cast<uint32_t>(installed.size() * 2));
  EXPECT_TRUE(update::InstallUpdate(ctx_)) << "up to date: nothing to do";
  EXPECT_FALSE(std::filesystem::exists(record));

  const std::u16string older = u"2.9";
  reg::SetValue(k.get(), u"VERSION", reg::kSz, reinterpret_cast<const uint8_t*>(older.data()), 6);
  ASSERT_TRUE(update::InstallUpdate(ctx_));
  EXPECT_EQ(ctx_.level(), update::kUpdateLevel);
  ASSERT_TRUE(kp::test::WithinSeconds(10, "updater", [&] {
    while (!std::filesystem::exists(record)) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return true;
  }));
  std::ifstream f(record);
  std::vector<std::string> args;
  for (std::string line; std::getline(f, line);) args.push_back(line);
  ASSERT_GE(args.size(), 3u);
  EXPECT_EQ(args[0], "/UPDATE=");  // the stand-in VM gives no update location
  EXPECT_EQ(args[1], "/CMD=" + Utf8(own));
  // Then this process's own command line, word for word.
  std::ifstream cmdline("/proc/self/cmdline");
  std::vector<std::string> own_args;
  for (std::string a; std::getline(cmdline, a, '\0');) own_args.push_back(a);
  EXPECT_EQ(std::vector<std::string>(args.begin() + 2, args.end()), own_args);
  unsetenv("KP_UPDATER_DIR");
  ctx_.clearError();
  reg::SetValue(k.get(), u"UPDATE_URL", reg::kSz, reinterpret_cast<const uint8_t*>(u"http://127.0.0.1:1/x"), 40);
  EXPECT_FALSE(update::InstallUpdate(ctx_)) << "a failed check starts nothing";
}

// A second implementation: split both texts into digit runs and single
// characters, then compare the lists.
int Reference(const std::u16string& a, const std::u16string& b) {
  const auto split = [](const std::u16string& s) {
    std::vector<std::pair<bool, std::string>> out;
    for (size_t i = 0; i < s.size();) {
      if (s[i] >= u'0' && s[i] <= u'9') {
        size_t j = i;
        while (j < s.size() && s[j] >= u'0' && s[j] <= u'9') ++j;
        std::string digits(s.begin() + i, s.begin() + j);
        digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size() - 1));
        out.push_back({true, digits});
        i = j;
      } else {
        out.push_back({false, std::string(1, static_cast<char>(std::tolower(static_cast<char>(s[i]))))});
        ++i;
      }
    }
    return out;
  };
  const auto x = split(a), y = split(b);
  for (size_t i = 0; i < std::min(x.size(), y.size()); ++i) {
    if (x[i].first && y[i].first) {
      if (x[i].second.size() != y[i].second.size()) return x[i].second.size() < y[i].second.size() ? -1 : 1;
      if (x[i].second != y[i].second) return x[i].second < y[i].second ? -1 : 1;
    } else if (x[i].second != y[i].second) {
      return static_cast<unsigned char>(x[i].second[0]) < static_cast<unsigned char>(y[i].second[0]) ? -1 : 1;
    }
  }
  return x.size() == y.size() ? 0 : (x.size() < y.size() ? -1 : 1);
}

TEST(NaturalOrder, CasesAndAgreementWithASecondImplementation) {
  using update::CompareNatural;
  EXPECT_LT(CompareNatural(u"1.9", u"1.10"), 0);
  EXPECT_EQ(CompareNatural(u"v2a", u"V2A"), 0);
  EXPECT_EQ(CompareNatural(u"1.01", u"1.1"), 0);
  EXPECT_LT(CompareNatural(u"1.2", u"1.2.1"), 0);
  EXPECT_LT(CompareNatural(u"", u"0"), 0);
  EXPECT_LT(CompareNatural(u"9", u"123456789012345678901234567890"), 0);  // runs longer than any integer
  std::mt19937 random(7);
  const std::u16string alphabet = u"0123456789aAbB.-_";
  for (int n = 0; n < 5000; ++n) {
    std::u16string a, b;
    for (int i = random() % 9; i > 0; --i) a += alphabet[random() % alphabet.size()];
    for (int i = random() % 9; i > 0; --i) b += alphabet[random() % alphabet.size()];
    if (random() % 3 == 0) b = a.substr(0, random() % (a.size() + 1)) + b;  // shared beginnings
    const int want = Reference(a, b), got = CompareNatural(a, b);
    EXPECT_EQ((got > 0) - (got < 0), want) << std::string(a.begin(), a.end()) << " vs " << std::string(b.begin(), b.end());
  }
}

}  // namespace
}  // namespace kp::test
