// The file name test of walks and of the existence checks.
#pragma once

#include <string_view>

namespace tz {

// Without `wild` the names are equal, case-independent. With it `pattern` may hold
// * and ?; there is no backtracking: behind a * only the first occurrence of the
// next pattern character is tried.
bool name_matches(std::string_view pattern, std::string_view name, bool wild);

}  // namespace tz
