// kp — finding library names the way a person types them: without accents
// ("Paques" for Pâques), in any case, or misspelt ("did you mean …").
//
// Thread-safety: plain functions over a Library's read-only tables.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "vm.h"

namespace kphost {

// FoldName, then the accents of Latin letters dropped (é → e, œ → oe, ß → ss):
// the key under which "Paques" and "Pâques" meet.
std::string FoldAccents(std::string_view utf8);

// Levenshtein distance over code points.
size_t EditDistance(std::string_view a, std::string_view b);

// Up to `most` function and constant names (in the language of the spelling
// that came closest) nearest to `name`, accents and case folded; empty when
// nothing is near enough to be a likely misspelling.
std::vector<std::string> ClosestNames(const Library& library, std::string_view name, size_t most = 3);

// "; did you mean X or Y?" for an unknown name, or "" when nothing is close.
std::string DidYouMean(const Library& library, std::string_view name);

}  // namespace kphost
