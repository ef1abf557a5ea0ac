// The file name test of walks and of the existence checks.
#pragma once

#include <string_view>

namespace tz {

// Without `wild` the names are equal, case-independent. With it `pattern` may hold
// * and ?; there is no backtracking: behind a * only the first occurrence of the
// next pattern character is tried.
bool name_matches(std::string_view pattern, std::string_view name, bool wild);

// The test of a folder lookup, as the system's find makes it: * any run, ? one
// character, letters in any case, with backtracking; a closing ".*" also takes names
// without a dot. Used by the folder scans and by the existence check of a source.
bool find_matches(std::string_view pattern, std::string_view name);

}  // namespace tz
