#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "encoding/image_filter.h"
#include "support/fake_context.h"

namespace {

std::vector<std::u16string> Split(const std::u16string& s, std::u16string_view sep) {
  std::vector<std::u16string> parts;
  size_t at = 0;
  for (size_t found; (found = s.find(sep, at)) != std::u16string::npos; at = found + sep.size())
    parts.push_back(s.substr(at, found - at));
  parts.push_back(s.substr(at));
  return parts;
}

// Every line is "description\tpatterns"; the first offers every pattern of
// the others; the description names the patterns it filters.
TEST(fFiltreImage, LinesOfDescriptionAndPatterns) {
  kp::test::FakeContext context;
  const std::u16string filter = kp::encoding::GraphicFilter(context);
  const auto lines = Split(filter, u"\r\n");
  ASSERT_EQ(lines.size(), 5u);
  std::u16string others;
  for (size_t i = 0; i < lines.size(); ++i) {
    const auto columns = Split(lines[i], u"\t");
    ASSERT_EQ(columns.size(), 2u) << i;
    EXPECT_NE(columns[0].find(u"(" + columns[1] + u")"), std::u16string::npos) << i;
    if (i > 0) others += (others.empty() ? u"" : u";") + columns[1];
  }
  EXPECT_EQ(Split(lines[0], u"\t")[1], others);
  EXPECT_EQ(lines[0].substr(0, 17), u"Toutes les images");
  context.language.code = 9;
  EXPECT_EQ(kp::encoding::GraphicFilter(context).substr(0, 10), u"All images");
}

}  // namespace
