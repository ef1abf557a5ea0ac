#include "log/name_match.h"

#include <string>

namespace tz {

namespace {

constexpr size_t kNameRoom = 255;

char ascii_lower(char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c;
}

// Names are UTF-8 here, where no byte of a multibyte character is an ASCII letter,
// so lowering the ASCII letters leaves every other character alone.
void lower_name(std::string& s) {
  for (char& c : s) c = ascii_lower(c);
}

void replace_all(std::string& s, std::string_view from, std::string_view to) {
  size_t pos;
  while ((pos = s.find(from)) != std::string::npos) s.replace(pos, from.size(), to);
}

// Bytes of the UTF-8 character at `i`; a stray byte counts as one character.
size_t char_len(std::string_view s, size_t i) {
  size_t n = 1;
  if (static_cast<unsigned char>(s[i]) >= 0xC0)
    while (n < 4 && i + n < s.size() && (static_cast<unsigned char>(s[i + n]) & 0xC0) == 0x80) ++n;
  return n;
}

bool glob_matches(std::string_view pat, std::string_view name) {
  size_t i = 0;
  size_t j = 0;
  size_t star = std::string_view::npos;
  size_t mark = 0;
  while (j < name.size()) {
    if (i < pat.size() && pat[i] == '?') {
      ++i;
      j += char_len(name, j);
    } else if (i < pat.size() && pat[i] == '*') {
      star = i++;
      mark = j;
    } else if (i < pat.size() && ascii_lower(pat[i]) == ascii_lower(name[j])) {
      ++i;
      ++j;
    } else if (star != std::string_view::npos) {
      i = star + 1;
      mark += char_len(name, mark);
      j = mark;
    } else {
      return false;
    }
  }
  while (i < pat.size() && pat[i] == '*') ++i;
  return i == pat.size();
}

}  // namespace

bool find_matches(std::string_view pattern, std::string_view name) {
  if (glob_matches(pattern, name)) return true;
  return pattern.size() >= 2 && pattern.ends_with(".*") &&
         glob_matches(pattern.substr(0, pattern.size() - 2), name);
}

bool name_matches(std::string_view pattern, std::string_view name, bool wild) {
  if (!wild) {
    if (pattern.size() != name.size()) return false;
    for (size_t i = 0; i < name.size(); ++i)
      if (ascii_lower(pattern[i]) != ascii_lower(name[i])) return false;
    return true;
  }
  std::string p(pattern.substr(0, kNameRoom));
  std::string n(name.substr(0, kNameRoom));
  replace_all(p, "*?", "?*");
  replace_all(p, "**", "*");
  lower_name(p);
  lower_name(n);
  size_t i = 0;
  size_t j = 0;
  while (i < p.size() && j < n.size()) {
    char c = p[i];
    if (c == '*') {
      if (i + 1 == p.size()) return true;
      size_t at = n.find(p[i + 1], j);
      if (at == std::string::npos) return false;
      j = at;
      ++i;
      continue;
    }
    if (c != '?' && c != n[j]) return false;
    ++i;
    ++j;
  }
  // A closing * only matches when the walk reaches it: "ab*" doesn't match "ab".
  return i == p.size() && j == n.size();
}

}  // namespace tz
