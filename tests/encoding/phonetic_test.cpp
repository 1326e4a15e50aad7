#include <gtest/gtest.h>

#include <string>

#include "encoding/phonetic.h"

namespace {

// Codes worked out by hand from the nine Soundex2 rules (docs/encoding.md),
// with the steps that decide each noted.
TEST(Phonetique, CodesFollowTheRules) {
  const struct {
    std::u16string word;
    std::string code;
  } cases[] = {
      {u"MARTIN", "MRTN"},       // vowels to A, then every A but the first goes
      {u"Marteau", "MRT "},      // final A goes, padded to four
      {u"Dupont", "DPN "},       // final T
      {u"Dupond", "DPN "},       // final D: the same as Dupont
      {u"Guillaume", "KLM "},    // GUI -> KI, LL -> L
      {u"Philippe", "FLP "},     // prefix PH -> FF, FF -> F
      {u"Filipe", "FLP "},       // sounds like Philippe
      {u"François", "FRNK"},     // ç folded, CO -> KO, final S
      {u"Éléonore", "ELNR"},     // accents folded, the first vowel kept
      {u"Ça", "K   "},           // CA -> KA, final A
      {u"Quentin", "KNTN"},      // Q -> K
      {u"Kantin", "KNTN"},       // the same sound
      {u"Gaston", "KSTN"},       // GA -> KA
      {u"Bayard", "BYR "},       // Y kept after A
      {u"Jean-Pierre", "JNPR"},  // the hyphen dropped, RR -> R
      {u"A", "A   "},            // one letter
      // English and Germanic names: the prefix rules and the silent H.
      {u"Knight", "NG  "},  // KN -> NN; H after G goes
      {u"Night", "NG  "},
      {u"Smith", "SM  "},    // H after T goes, final T
      {u"Smyth", "SM  "},    // Y not after A goes
      {u"Schmidt", "SMD "},  // SCH -> SSS
      {u"Mac Donald", "MCDN"},
      {u"McDonald", "MCDN"},
      {u"O'Brien", "OBRN"},  // the apostrophe dropped
  };
  for (const auto& c : cases)
    EXPECT_EQ(kp::encoding::Soundex2(c.word), c.code) << std::string(c.word.begin(), c.word.end());
  EXPECT_EQ(kp::encoding::Phonetic(nullptr, u"Dupont"), u"DPN ");
}

TEST(Phonetique, TextsWithoutLettersGiveTheEmptyText) {
  EXPECT_EQ(kp::encoding::Phonetic(nullptr, u""), u"");
  EXPECT_EQ(kp::encoding::Phonetic(nullptr, u" 12-34 !"), u"");
  EXPECT_EQ(kp::encoding::Phonetic(nullptr, u"\u4e2d\u6587"), u"");  // no Latin letter
}

}  // namespace
