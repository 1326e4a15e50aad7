// The declaration tables as the VM reads them.
#include <algorithm>
#include <cstring>
#include <set>

#include "abi_support.h"

namespace {

// Windows-1252 leaves five bytes undefined.
bool ValidCp1252(const char* s) {
  if (!s || !*s) return false;
  for (; *s; ++s) {
    const auto c = static_cast<unsigned char>(*s);
    if (c == 0x81 || c == 0x8D || c == 0x8F || c == 0x90 || c == 0x9D || c < 0x20) return false;
  }
  return true;
}

const std::set<uint32_t> kParameterCodes = {KL_T_BOOL,        KL_T_INT,           KL_T_INT | KL_T_FLAG_8000,
                                            KL_T_INT64,       KL_T_CURRENCY,      KL_T_REAL,
                                            KL_T_TEXT_CELL,   KL_T_TEXT_DIRECT,   KL_T_TEXT_DIRECT | KL_T_FLAG_8000,
                                            KL_T_BUFFER,      KL_T_VARIANT,       KL_T_DURATION,
                                            KL_T_DATE,        KL_T_TIME,          KL_T_DATETIME,
                                            KL_T_INSTANCE,    KL_T_WINDOW,        KL_T_ARRAY};

TEST(Tables, FunctionRows) {
  auto lib = kp::abi::Load();
  const auto* rows = reinterpret_cast<const KLFunctionRow*>(lib->exports().info(33, 0));
  ASSERT_NE(rows, nullptr);
  std::set<std::string> english;
  for (uint32_t i = 0; i < 445; ++i) {
    const KLFunctionRow& r = rows[i];
    SCOPED_TRACE(r.frenchName);
    EXPECT_EQ(r.identifier & 0xFFFF, i);
    EXPECT_EQ((r.identifier >> 16) & 0xFF, 8u);
    const uint32_t count = r.identifier >> 24;
    EXPECT_GE(count, 1u);
    EXPECT_TRUE(ValidCp1252(r.frenchName));
    EXPECT_TRUE(ValidCp1252(r.englishName));
    EXPECT_TRUE(english.insert(r.englishName).second) << "English names are unique";
    bool anyEntry = false;
    for (uint32_t s = 0; s < count; ++s) {
      const KLSyntax& syntax = r.syntaxes[s];
      anyEntry |= syntax.entry != nullptr;
      EXPECT_EQ(syntax.reserved, 0u);
      ASSERT_NE(syntax.descriptor, nullptr);
      for (uint32_t p = 0; p < syntax.parameterCount; ++p)
        EXPECT_TRUE(kParameterCodes.count(syntax.descriptor[1 + p])) << "parameter " << p;
      EXPECT_EQ(syntax.descriptor[1 + syntax.parameterCount], 0u) << "descriptor terminated";
    }
    // 0x200 marks rows without any implementation here.
    if (r.flags & 0x200) {
      EXPECT_FALSE(anyEntry) << "0x200 on a row that has an entry";
    }
  }
  // The spine's proof of the path.
  EXPECT_STREQ(rows[0].frenchName, "DateSys");
  EXPECT_STREQ(rows[1].englishName, "TimeSys");
  bool easter = false;
  for (uint32_t i = 0; i < 445; ++i) easter |= std::string(rows[i].frenchName) == "P\xe2ques";
  EXPECT_TRUE(easter) << "accented names are Windows-1252 bytes";
}

TEST(Tables, ConstantsVariablesTypes) {
  auto lib = kp::abi::Load();
  const auto* constants = reinterpret_cast<const KLConstantRow*>(lib->exports().info(23, 0));
  for (uint32_t i = 0; i < 505; ++i) {
    const KLConstantRow& c = constants[i];
    SCOPED_TRACE(c.frenchName);
    EXPECT_TRUE(ValidCp1252(c.frenchName));
    EXPECT_TRUE(ValidCp1252(c.englishName));
    EXPECT_TRUE(c.kind == KL_CONST_KIND_INT || c.kind == KL_CONST_KIND_TEXT || c.kind == KL_CONST_KIND_NONE);
    if (c.kind == KL_CONST_KIND_NONE) {
      EXPECT_EQ(c.value, 0u);
    } else if (c.kind == KL_CONST_KIND_TEXT) {
      EXPECT_NE(c.value, 0u);
    }
  }
  const auto* variables = reinterpret_cast<const KLVariableRow*>(lib->exports().info(25, 0));
  const std::set<uint32_t> memberTypes = {1, 8, 19, 24, 25, 26, 27, 64};
  for (uint32_t i = 0; i < 53; ++i) {
    SCOPED_TRACE(variables[i].frenchName);
    EXPECT_EQ(variables[i].identifier & 0xFFFF, i);
    EXPECT_EQ((variables[i].identifier >> 16) & 0xFF, 8u);
    EXPECT_TRUE(memberTypes.count(variables[i].identifier >> 24));
    EXPECT_TRUE(variables[i].flags == 0x10 || variables[i].flags == 0x210 || variables[i].flags == 0x218);
  }
  EXPECT_STREQ(variables[0].frenchName, "_DDE.Sujet");
  EXPECT_EQ(variables[5].identifier >> 24, 25u);  // HoraireTâchePlanifiée.Heure is a time
  const auto* names = reinterpret_cast<const char* const*>(lib->exports().info(31, 0));
  EXPECT_STREQ(names[0], "+:008:0:STD:Processus");
  EXPECT_STREQ(names[1], "+:008:1:STD:InfoVersion");
  EXPECT_STREQ(names[2], "+:008:2:STD:Certificat");
}

// The full descriptors behind selector 29 (one indirection more): each type
// carries its flags, the count of its operations, both operations and its
// member list; an instance made by one type's Create is released by its
// Release, text members included.
TEST(Tables, TypeDescriptors) {
  auto lib = kp::abi::Load();
  const auto* descriptors = *reinterpret_cast<const KLTypeDescriptor* const*>(lib->exports().info(29, 0));
  ASSERT_NE(descriptors, nullptr);
  const auto* names = reinterpret_cast<const char* const*>(lib->exports().info(31, 0));
  const char* const french[] = {"Processus,Processus,m", "InfoVersion,InfoVersions,f", "Certificat,Certificats,m"};
  for (uint32_t t = 0; t < KL_TYPE_COUNT; ++t) {
    const KLTypeDescriptor& d = descriptors[t];
    SCOPED_TRACE(d.typeName);
    EXPECT_STREQ(d.frenchNames, french[t]);
    EXPECT_EQ(d.typeName, names[t]) << "the descriptor names the type-name table's text";
    EXPECT_EQ(d.count, 2u);
    ASSERT_NE(d.create, nullptr);
    ASSERT_NE(d.release, nullptr);
    EXPECT_EQ(d.members == nullptr, d.memberCount == 0);
    for (uint32_t m = 0; m < d.memberCount; ++m) {
      EXPECT_TRUE(ValidCp1252(d.members[m].frenchName));
      EXPECT_TRUE(ValidCp1252(d.members[m].englishName));
      EXPECT_EQ(d.members[m].identifier & 0xFFFF, m);
      EXPECT_EQ((d.members[m].identifier >> 16) & 0xFF, 8u);
    }
    void* instance = d.create();
    ASSERT_NE(instance, nullptr);
    for (uint32_t m = 0; m < std::max(d.memberCount, 1u); ++m)
      for (int b = 0; b < KL_TYPE_CELL_BYTES; ++b)
        EXPECT_EQ(static_cast<unsigned char*>(instance)[m * KL_TYPE_CELL_BYTES + b], 0) << "a new instance is empty";
    d.release(instance, 1);
  }
  // A process: its executable's path and its identifier; the two other types
  // belong to functions declared without an implementation here.
  const KLTypeDescriptor& process = descriptors[0];
  EXPECT_EQ(process.flags, uint32_t{KL_TYPE_FLAGS});
  ASSERT_EQ(process.memberCount, 2u);
  EXPECT_STREQ(process.members[0].englishName, "Path");
  EXPECT_EQ(process.members[0].identifier >> 24, uint32_t{KL_T_TEXT});
  EXPECT_STREQ(process.members[1].englishName, "PID");
  EXPECT_EQ(process.members[1].identifier >> 24, uint32_t{KL_T_INT});
  EXPECT_EQ(descriptors[1].flags, uint32_t{KL_TYPE_FLAGS_UNAVAILABLE});
  EXPECT_EQ(descriptors[2].flags, uint32_t{KL_TYPE_FLAGS_UNAVAILABLE});
  // A text member's block goes back to the VM's manager with the instance.
  const int64_t blocks = kphost::Library::LiveBlocks();
  void* instance = process.create();
  ASSERT_NE(instance, nullptr);
  KLStringHolder path = kphost::Library::MakeTextBlock(u"\\Windows\\kp.exe");
  ASSERT_NE(path, nullptr);
  EXPECT_EQ(kphost::Library::LiveBlocks(), blocks + 1);
  std::memcpy(instance, &path, sizeof path);
  process.release(instance, 1);
  EXPECT_EQ(kphost::Library::LiveBlocks(), blocks);
}

}  // namespace
