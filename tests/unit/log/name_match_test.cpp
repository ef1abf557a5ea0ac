#include "log/name_match.h"

#include <gtest/gtest.h>

namespace tz {
namespace {

TEST(NameMatches, FirstOccurrenceBehindAStarIsTheOnlyOneTried) {
  struct Case {
    const char* pattern;
    const char* name;
    bool wild;
    bool match;
  } cases[] = {
      {"a*b*", "axbxc", true, true},       // a closing * takes the rest
      {"*ab", "aab", true, false},         // only the first 'a' is tried
      {"ab*", "ab", true, false},          // the name ends before the * is reached
      {"*.dat", "k.b.dat", true, false},   // the first dot, not the last
      {"*.dat", "K.DAT", true, true},      // letters in any case
      {"*?.dat", "ab.dat", true, true},    // "*?" is read as "?*"
      {"a**c", "abc", true, true},         // "**" is one *
      {"a?c", "abc", true, true},          //
      {"a?c", "ac", true, false},          //
      {"A.DAT", "a.dat", false, true},     // without wild: equal in any case
      {"a.*", "a.dat", false, false},      // ...and * is a character
      {"a.da", "a.dat", false, false},     //
  };
  for (const Case& c : cases)
    EXPECT_EQ(name_matches(c.pattern, c.name, c.wild), c.match) << c.pattern << " " << c.name;
}

}  // namespace
}  // namespace tz
