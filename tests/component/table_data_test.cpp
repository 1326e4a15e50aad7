// The data of the declaration tables: descriptors and constant values.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "component/tables.h"

namespace {

const std::set<uint32_t> kResultCodes = {KL_T_NONE,     KL_T_BOOL,     KL_T_INT,    KL_T_INT64,
                                         KL_T_CURRENCY, KL_T_REAL,     KL_T_INSTANCE, KL_T_WINDOW,
                                         KL_T_TEXT,     KL_T_DURATION, KL_T_BUFFER, KL_T_VARIANT};

// A text result code (19) among the parameters, or a parameter code (0x12,
// 0x50) as a result, is the usual slip; neither is in the other set.
const std::set<uint32_t> kParameterCodes = {KL_T_BOOL,      KL_T_INT,         KL_T_INT | KL_T_FLAG_8000,
                                            KL_T_INT64,     KL_T_CURRENCY,    KL_T_REAL,
                                            KL_T_TEXT_CELL, KL_T_TEXT_DIRECT, KL_T_TEXT_DIRECT | KL_T_FLAG_8000,
                                            KL_T_BUFFER,    KL_T_VARIANT,     KL_T_DURATION,
                                            KL_T_DATE,      KL_T_TIME,        KL_T_DATETIME};

const KLFunctionRow* FindFunction(const char* english) {
  const KLFunctionRow* rows = kp::FunctionTable();
  for (uint32_t i = 0; i < KL_FUNCTION_COUNT; ++i)
    if (std::strcmp(rows[i].englishName, english) == 0) return &rows[i];
  return nullptr;
}

const KLConstantRow* FindConstant(const char* english) {
  const KLConstantRow* rows = kp::ConstantTable();
  for (uint32_t i = 0; i < KL_CONSTANT_COUNT; ++i)
    if (std::strcmp(rows[i].englishName, english) == 0) return &rows[i];
  return nullptr;
}

std::vector<uint32_t> Descriptor(const KLSyntax& s) {
  return {s.descriptor, s.descriptor + s.parameterCount + 2};
}

std::u16string Text(const KLConstantRow& c) { return reinterpret_cast<const char16_t*>(c.value); }

TEST(TableData, EverySyntaxDescriptorIsWellFormed) {
  const KLFunctionRow* rows = kp::FunctionTable();
  for (uint32_t i = 0; i < KL_FUNCTION_COUNT; ++i) {
    SCOPED_TRACE(rows[i].englishName);
    for (uint32_t s = 0; s < (rows[i].identifier >> 24); ++s) {
      const KLSyntax& syntax = rows[i].syntaxes[s];
      SCOPED_TRACE("syntax " + std::to_string(s));
      ASSERT_NE(syntax.descriptor, nullptr);
      EXPECT_TRUE(kResultCodes.count(syntax.descriptor[0])) << "result " << syntax.descriptor[0];
      // The VM counts codes up to the terminator; it must agree with the record.
      uint32_t counted = 0;
      while (syntax.descriptor[1 + counted] != 0) ++counted;
      EXPECT_EQ(counted, syntax.parameterCount);
      for (uint32_t p = 0; p < counted; ++p)
        EXPECT_TRUE(kParameterCodes.count(syntax.descriptor[1 + p])) << "parameter " << p;
    }
  }
}

TEST(TableData, FileAndRegistryDescriptors) {
  const KLFunctionRow* open = FindFunction("fOpen");
  ASSERT_NE(open, nullptr);
  EXPECT_EQ(Descriptor(open->syntaxes[0]), (std::vector<uint32_t>{8, 0x8050, 8, 0}));
  EXPECT_EQ(Descriptor(open->syntaxes[1]), (std::vector<uint32_t>{8, 0x8050, 0}));

  // A text by name (syntax 1) and by index (syntax 6) differ only in the second parameter.
  const KLFunctionRow* write = FindFunction("RegistrySetValue");
  ASSERT_NE(write, nullptr);
  ASSERT_EQ(write->identifier >> 24, 14u);
  EXPECT_EQ(Descriptor(write->syntaxes[0]), (std::vector<uint32_t>{1, 0x12, 0x12, 0x12, 0}));
  EXPECT_EQ(Descriptor(write->syntaxes[5]), (std::vector<uint32_t>{1, 0x12, 8, 0x12, 0}));
  EXPECT_EQ(Descriptor(write->syntaxes[13]), (std::vector<uint32_t>{1, 0x12, 8, 0x1f, 0x12, 0}));

  for (const char* variantResult : {"RegistryQueryValue", "INIRead", "LoadParameter", "SysSpace", "fRead"}) {
    const KLFunctionRow* row = FindFunction(variantResult);
    ASSERT_NE(row, nullptr) << variantResult;
    EXPECT_EQ(row->syntaxes[0].descriptor[0], static_cast<uint32_t>(KL_T_VARIANT)) << variantResult;
  }
}

TEST(TableData, ConstantKindsAndValues) {
  const KLConstantRow* rows = kp::ConstantTable();
  for (uint32_t i = 0; i < KL_CONSTANT_COUNT; ++i) {
    SCOPED_TRACE(rows[i].englishName);
    switch (rows[i].kind) {
      case KL_CONST_KIND_NONE:
        EXPECT_EQ(rows[i].value, 0u);
        break;
      case KL_CONST_KIND_TEXT:
        ASSERT_NE(rows[i].value, 0u);
        EXPECT_FALSE(Text(rows[i]).empty());
        break;
      case KL_CONST_KIND_INT:
        break;
      default:
        ADD_FAILURE() << "kind " << rows[i].kind;
    }
  }
}

TEST(TableData, ConstantsTheLibraryDocuments) {
  struct Int {
    const char* name;
    uint32_t value;
  };
  const Int ints[] = {
      {"scActiveBorder", 0x4000000a},    {"scActiveCaption", 0x40000002},  {"scAppWorkSpace", 0x4000000c},
      {"scBackground", 0x40000001},      {"scBtnFace", 0x4000000f},        {"scInactiveBorder", 0x4000000b},
      {"appUPDAvailOptional", 1},        {"appUPDAvailMandatory", 2},      {"appUPDNotAvail", 3},
      {"appUPDNetwork", 1},              {"appUPDServer", 3},              {"appUPDMsgStop", 9},
      {"appUPDCompatibleVersion", 12},   {"foReadWrite", 3},               {"foCreateIfNotExist", 0x100},
      {"foCreate", 0x200},               {"foAdd", 0x800},                 {"foUnicode", 0x1000},
      {"frDirectory", 55},               {"fdFullInformation", 16},        {"srWindows", 1},
      {"srCommonProgramFiles", 29},      {"exeParentPID", 6},              {"sysFreeStorageSpace", 3},
  };
  for (const Int& c : ints) {
    const KLConstantRow* row = FindConstant(c.name);
    ASSERT_NE(row, nullptr) << c.name;
    EXPECT_EQ(row->kind, static_cast<uint32_t>(KL_CONST_KIND_INT)) << c.name;
    EXPECT_EQ(row->value, c.value) << c.name;
  }

  struct Txt {
    const char* name;
    const char16_t* text;
  };
  const Txt texts[] = {{"exeVersion", u"VERSION"},
                       {"exeVersionWindowsFormat", u"VERSION4N"},
                       {"MciAudioCD", u"cdaudio"},
                       {"Orient90", u"90"}};
  for (const Txt& c : texts) {
    const KLConstantRow* row = FindConstant(c.name);
    ASSERT_NE(row, nullptr) << c.name;
    ASSERT_EQ(row->kind, static_cast<uint32_t>(KL_CONST_KIND_TEXT)) << c.name;
    EXPECT_EQ(Text(*row), c.text) << c.name;
  }

  for (const char* lacking : {"foReadLock", "DDEOK", "serviceStatusStopped", "foAutomaticDeletion"}) {
    const KLConstantRow* row = FindConstant(lacking);
    ASSERT_NE(row, nullptr) << lacking;
    EXPECT_EQ(row->kind, static_cast<uint32_t>(KL_CONST_KIND_NONE)) << lacking;
  }
}

}  // namespace
