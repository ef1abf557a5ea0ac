#include "log/identify.h"

#include <cstring>

#include "run/run.h"

namespace tz {

namespace {

// Finds "<>" in the NUL-ended `p`.
char* find_sep(char* p) {
  while ((p = std::strchr(p, '<')) != nullptr) {
    if (p[1] == '>') return p;
    ++p;
  }
  return nullptr;
}

void clear_post_rows(Run& run) {
  run.post.name.clear();
  run.post.mail.clear();
  run.post.date.clear();
  run.post.body.clear();
}

}  // namespace

void next_line(Run& run, char* line) {
  LineFields& lf = run.line;
  for (int i = 1; i <= 6; ++i) lf.fields[i] = nullptr;
  char* lfeed = line ? std::strchr(line, '\n') : nullptr;
  if (!lfeed) {
    lf.end_flag = 1;
    return;
  }
  lf.end_flag = 0;
  lf.fields[0] = line;
  lf.next = lfeed + 1;
  *lfeed = '\0';
  if (lfeed > line && lfeed[-1] == '\r') lfeed[-1] = '\0';
  if (*line == '\0') {
    lf.seps = 0;
    return;
  }
  int seps = 0;
  if (char* sep = find_sep(line)) {
    run.sflg.kind = 2;
    while (sep && seps < 6) {
      sep[0] = sep[1] = '\0';
      lf.fields[++seps] = sep + 2;
      sep = find_sep(sep + 2);
    }
  } else {
    run.sflg.kind = 1;
    char* comma = std::strchr(line, ',');
    while (comma && seps < 8) {
      *comma = '\0';
      lf.fields[++seps] = comma + 1;
      comma = std::strchr(comma + 1, ',');
    }
  }
  for (int i = seps + 1; i <= 8; ++i) lf.fields[i] = nullptr;
  if (seps == 5 && run.sflg.k_abroad == 2) {
    const char* f = lf.fields[5];
    lf.lang_tag = "";
    if (std::strncmp(f, "en", 2) == 0) lf.lang_tag = " By English";
    else if (std::strncmp(f, "ja", 2) == 0) lf.lang_tag = " By Japanese";
    else if (std::strncmp(f, "ko", 2) == 0) lf.lang_tag = " By Korean";
    else if (std::strncmp(f, "zh", 2) == 0) lf.lang_tag = " By Chinese";
  }
  lf.seps = static_cast<uint8_t>(seps);
  clear_post_rows(run);
}

int count_separators(const char* line, const char* end) {
  const char* stop = line;
  while (stop < end && *stop != '\n' && *stop != '\0') ++stop;
  size_t len = static_cast<size_t>(stop - line);
  int pairs = 0;
  int commas = 0;
  for (const char* p = static_cast<const char*>(std::memchr(line, '<', len)); p;
       p = static_cast<const char*>(std::memchr(p + 1, '<', static_cast<size_t>(stop - p - 1)))) {
    if (p + 1 < stop && p[1] == '>') ++pairs;
  }
  if (pairs) return pairs;
  for (const char* p = static_cast<const char*>(std::memchr(line, ',', len)); p;
       p = static_cast<const char*>(std::memchr(p + 1, ',', static_cast<size_t>(stop - p - 1)))) {
    ++commas;
  }
  return commas;
}

}  // namespace tz
