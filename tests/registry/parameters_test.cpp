#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/registry.h"
#include "registry/ini.h"
#include "registry/parameters.h"
#include "registry/registry.h"
#include "registry_fixture.h"

namespace kp::test {
namespace {

using namespace kp::registry;
namespace reg = platform::reg;

class ParamStore : public FreshDevice {
 protected:
  void SetUp() override {
    FreshDevice::SetUp();
    ctx_.project[KL_PROJECT_REGISTRY_KEY] = u"Software\\Maker\\Appli";
    ctx_.project[KL_PROJECT_DIRECTORY] = u"\\Program Files\\Appli";
    ctx_.project[KL_PROJECT_NAME] = u"Appli";
    // The program's own directory, where its INI file goes: it always exists.
    std::filesystem::create_directories(HostFile("Program Files/Appli"));
  }
  void TearDown() override {
    ReleaseParameterStore(ctx_);
    FreshDevice::TearDown();
  }
  std::string HostContent(const std::string& relative) {
    std::ifstream in(HostFile(relative), std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
  }
};

TEST(ParamEncoding, NamesSectionsAndValues) {
  std::u16string section, name;
  SplitParameterName(u"Window.Position\\X", &section, &name);
  EXPECT_EQ(section, u"Window\\Position");
  EXPECT_EQ(name, u"X");
  EXPECT_EQ(IniSectionName(section), u"Window_Position");
  SplitParameterName(u"a/b c-d.e", &section, &name);
  EXPECT_EQ(IniSectionName(section), u"a_b_c_d");
  SplitParameterName(u"plain", &section, &name);
  EXPECT_EQ(section, u"");
  EXPECT_EQ(IniSectionName(section), u"Global");
  EXPECT_EQ(IniSectionName(u"\\x"), u"x");

  const std::u16string awkward = u"a\tb\nc\r\\d e\\_";
  EXPECT_EQ(EncodeIniValue(awkward), u"a\\tb\\nc\\r\\\\d\\_e\\\\_");
  EXPECT_EQ(DecodeIniValue(EncodeIniValue(awkward)), awkward);
  EXPECT_EQ(DecodeIniValue(u"\\x\\"), u"\\x\\");  // unknown pairs and a lone "\" stay
}

TEST_F(ParamStore, FirstInitReturnsTheCurrentSettingAndUnknownModesFail) {
  EXPECT_EQ(InitParameter(ctx_, kParamRegistry, std::nullopt), u"0\t");
  EXPECT_EQ(CurrentParameterSetting(ctx_).keyPath, u"Software\\Maker\\Appli");  // the project's key
  EXPECT_TRUE(KeyExists(ctx_, u"HKEY_CURRENT_USER\\Software\\Maker\\Appli"));
  EXPECT_EQ(InitParameter(ctx_, kParamIni, u"other.ini"), u"0\tSoftware\\Maker\\Appli");
  // A bare file name goes beside the default INI file.
  EXPECT_EQ(CurrentParameterSetting(ctx_).iniPath, u"\\Program Files\\Appli\\other.ini");
  EXPECT_EQ(InitParameter(ctx_, 7, u"x"), u"");
  EXPECT_EQ(ctx_.errorId(), kErrUnknownMode);
  EXPECT_EQ(CurrentParameterSetting(ctx_).mode, kParamIni);  // unchanged
}

TEST_F(ParamStore, RegistryRoundTripsAndDeletion) {
  InitParameter(ctx_, kParamRegistry, u"HKEY_CURRENT_USER\\Software\\P");
  const std::u16string awkward = u" lead\ttab\nline\\back ";
  SaveParameter(ctx_, u"Plain", awkward);
  SaveParameter(ctx_, u"Window.Position/X", u"12");
  SaveParameter(ctx_, u"Window.Position.Sub.Y", u"3");
  EXPECT_FALSE(ctx_.hasError());
  EXPECT_EQ(LoadParameter(ctx_, u"Plain", std::nullopt), Value{awkward});
  EXPECT_EQ(QueryValue(ctx_, u"HKEY_CURRENT_USER\\Software\\P\\Window\\Position", u"X"),
            Value{std::u16string(u"12")});
  EXPECT_EQ(LoadParameter(ctx_, u"Window\\Position\\X", std::nullopt), Value{std::u16string(u"12")});
  EXPECT_EQ(LoadParameter(ctx_, u"Missing", Value{int32_t{5}}), Value{std::u16string(u"5")});
  EXPECT_EQ(LoadParameter(ctx_, u"Missing", std::nullopt), Value{std::u16string()});

  EXPECT_TRUE(DeleteParameter(ctx_, u"Window.Position.X"));  // a value
  EXPECT_FALSE(ValueExists(ctx_, u"HKEY_CURRENT_USER\\Software\\P\\Window\\Position", u"X"));
  EXPECT_TRUE(DeleteParameter(ctx_, u"Window"));  // no such value: the section, depth-first
  EXPECT_FALSE(KeyExists(ctx_, u"HKEY_CURRENT_USER\\Software\\P\\Window"));
  EXPECT_EQ(LoadParameter(ctx_, u"Plain", std::nullopt), Value{awkward});
  EXPECT_FALSE(DeleteParameter(ctx_, u""));
  EXPECT_EQ(ctx_.errorId(), kErrEmptyParameterName);
  ctx_.clearError();
  EXPECT_TRUE(DeleteAllParameters(ctx_));
  EXPECT_FALSE(KeyExists(ctx_, u"HKEY_CURRENT_USER\\Software\\P"));
}

TEST_F(ParamStore, LocalMachineKeysAreCreatedUnderTheCurrentUser) {
  InitParameter(ctx_, kParamRegistry, u"HKEY_LOCAL_MACHINE\\Software\\LM");
  EXPECT_EQ(CurrentParameterSetting(ctx_).root, reg::kLocalMachine);
  EXPECT_TRUE(KeyExists(ctx_, u"HKEY_CURRENT_USER\\Software\\LM"));
  EXPECT_FALSE(KeyExists(ctx_, u"HKEY_LOCAL_MACHINE\\Software\\LM"));
  // A write goes to the key that was just prepared, wherever it was made.
  SaveParameter(ctx_, u"v", u"1");
  EXPECT_FALSE(ctx_.hasError());
  EXPECT_EQ(QueryValue(ctx_, u"HKEY_CURRENT_USER\\Software\\LM", u"v"), Value(u"1"));
  SaveParameter(ctx_, u"Section.w", u"2");
  EXPECT_FALSE(ctx_.hasError());
  EXPECT_EQ(QueryValue(ctx_, u"HKEY_CURRENT_USER\\Software\\LM\\Section", u"w"), Value(u"2"));
  // A key that exists under the machine root is written there.
  ASSERT_TRUE(CreateKey(ctx_, u"HKEY_LOCAL_MACHINE\\Software\\LM2"));
  InitParameter(ctx_, kParamRegistry, u"HKEY_LOCAL_MACHINE\\Software\\LM2");
  SaveParameter(ctx_, u"z", u"1");
  EXPECT_FALSE(ctx_.hasError());
  EXPECT_EQ(QueryValue(ctx_, u"HKEY_LOCAL_MACHINE\\Software\\LM2", u"z"), Value(u"1"));
}

TEST_F(ParamStore, DeletingAValueOfAnyType) {
  InitParameter(ctx_, kParamRegistry, u"Software\\Typed");
  ASSERT_TRUE(SetValue(ctx_, u"HKEY_CURRENT_USER\\Software\\Typed", u"n", reg::kDword, DwordBytes(7)));
  EXPECT_TRUE(DeleteParameter(ctx_, u"n"));
  EXPECT_FALSE(ValueExists(ctx_, u"HKEY_CURRENT_USER\\Software\\Typed", u"n"));
}

TEST_F(ParamStore, IniRoundTripsSkipUnchangedAndSubSections) {
  InitParameter(ctx_, kParamIni, std::nullopt);
  EXPECT_EQ(CurrentParameterSetting(ctx_).iniPath, u"\\Program Files\\Appli\\Appli.ini");
  const std::u16string awkward = u" lead\ttab\nline\r\\back end ";
  SaveParameter(ctx_, u"Plain", awkward);
  SaveParameter(ctx_, u"Window.Position\\X", u"12");
  SaveParameter(ctx_, u"Window.Other", u"a");
  SaveParameter(ctx_, u"Windows.Z", u"kept");
  const std::string file = "Program Files/Appli/Appli.ini";
  EXPECT_EQ(HostContent(file),
            "[Global]\r\nPlain = \\_lead\\ttab\\nline\\r\\\\back\\_end\\_\r\n"
            "[Window_Position]\r\nX = 12\r\n[Window]\r\nOther = a\r\n[Windows]\r\nZ = kept\r\n");
  EXPECT_EQ(LoadParameter(ctx_, u"Plain", std::nullopt), Value{awkward});
  EXPECT_EQ(LoadParameter(ctx_, u"Window/Position/X", Value{std::u16string(u"d")}), Value{std::u16string(u"12")});
  EXPECT_EQ(LoadParameter(ctx_, u"Nope", Value{std::u16string(u"d e")}), Value{std::u16string(u"d e")});

  // The same value twice is written once: an edit by hand in between stays.
  std::string edited = HostContent(file);
  edited.replace(edited.find("X = 12"), 6, "X  =  12");
  std::ofstream(HostFile(file), std::ios::binary) << edited;
  SaveParameter(ctx_, u"Window.Position.X", u"12");
  EXPECT_NE(HostContent(file).find("X  =  12"), std::string::npos);

  // A long value needs the second, larger read.
  const std::u16string longValue(3000, u'x');
  SaveParameter(ctx_, u"Long", longValue);
  EXPECT_EQ(LoadParameter(ctx_, u"Long", std::nullopt), Value{longValue});

  // "Window" is no value: the section and its sub-sections go, not "Windows".
  EXPECT_TRUE(DeleteParameter(ctx_, u"Window"));
  EXPECT_EQ(IniRead({}, {}, std::nullopt, 1000, u"\\Program Files\\Appli\\Appli.ini"), u"Global\r\nWindows\r\n");
  EXPECT_TRUE(DeleteParameter(ctx_, u"Plain"));
  EXPECT_EQ(LoadParameter(ctx_, u"Plain", std::nullopt), Value{std::u16string()});
  EXPECT_TRUE(DeleteAllParameters(ctx_));  // "Global": the file itself
  EXPECT_EQ(IniFileSize(u"\\Program Files\\Appli\\Appli.ini"), -1);
}

TEST_F(ParamStore, LargeIniFileWarnsThroughTheTrace) {
  std::string big(40000, ';');
  std::filesystem::create_directories(HostFile("Data"));
  std::ofstream(HostFile("Data/big.ini"), std::ios::binary) << big;
  ctx_.traceActive = true;
  InitParameter(ctx_, kParamIni, u"\\Data\\big.ini");
  ASSERT_EQ(ctx_.trace.size(), 1u);
  // The message of the message block, in the program's language (French here).
  EXPECT_EQ(ctx_.trace[0], u"Le fichier INI <\\Data\\big.ini> dépasse 32 Ko : sa lecture peut être lente.");
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(ParamStore, EachContextHasItsOwnStore) {
  FakeContext other;
  InitParameter(ctx_, kParamIni, u"\\a.ini");
  EXPECT_EQ(CurrentParameterSetting(other).mode, kParamRegistry);
  ReleaseParameterStore(other);
  ReleaseParameterStore(ctx_);
  EXPECT_EQ(CurrentParameterSetting(ctx_).mode, kParamRegistry);  // a fresh store after release
}

}  // namespace
}  // namespace kp::test
