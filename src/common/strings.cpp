#include "common/strings.h"

#include <array>
#include <cstring>

#include "codes/guess.h"
#include "common/byte_tables.h"
#include "run/run.h"

namespace tz {

namespace {

// Where a Shift_JIS text is certain, by the class of a byte (row) and of the byte
// before it (column): 1 a single byte, 2 a first byte, 4 a second byte, -1 unsure.
constexpr std::array<std::array<int8_t, 16>, 16> make_sjis_sync() {
  std::array<std::array<int8_t, 16>, 16> t{};
  for (auto& row : t) row.fill(-1);
  for (int before : {1, 4, 5, 6, 12}) {
    t[1][before] = 1;
    t[4][before] = 4;
  }
  for (int before : {5, 12}) {
    t[5][before] = 1;
    t[6][before] = 2;
  }
  return t;
}
constexpr auto kSjisSync = make_sjis_sync();

// A tail longer than this can't be set aside while a replacement is put in.
constexpr size_t kTailRoom = 149998;

// Work copy of encode_blanks.
constexpr size_t kEncodeRoom = 1024;

inline uint8_t sjis_class(char c) {
  return tbl::sjis[static_cast<uint8_t>(c)];
}

// First bytes that announce a double byte to lower_case and sep_pos.
inline bool announces_double(uint8_t c) {
  return (c >= 0x81 && c <= 0x9F) || (c >= 0xE0 && c <= 0xEE) || (c >= 0xFA && c <= 0xFC);
}

}  // namespace

int byte_kind(const Run& run, const char* p, const char* base, int code, int reach) {
  if (code > 1 || run.sflg.k_abroad > 0) return 0;
  if (p == base) {
    uint8_t c = sjis_class(*p);
    return (c == 1 || c == 5 || c == 12) ? 0 : 1;
  }
  // Look back for a place where the text is certain, then walk forward from it.
  const char* start = base;
  int state = sjis_class(*p);
  const char* stop = p - base > reach ? p - reach : base + 1;
  for (const char* k = p; k >= stop; --k) {
    int entry = kSjisSync[sjis_class(*k)][sjis_class(k[-1])];
    if (entry > 0) {
      start = k + 1;
      state = entry;
      break;
    }
  }
  for (const char* k = start; k <= p; ++k) {
    if (state == 2) {
      state = 4;
    } else {
      state = (sjis_class(*k) & tbl::kLead) ? 2 : 1;
    }
  }
  if (state == 2) return 1;
  if (state == 4) return 2;
  return 0;
}

int replace_text(const Run& run, std::string& text, std::string_view search, std::string_view repl,
                 size_t size, int code, int once) {
  if (search.empty() || search.size() > text.size()) return 0;
  const size_t room = size > 0 ? size - 1 : 0;
  const bool grows = repl.size() > search.size();
  std::string src;
  src.swap(text);
  text.reserve(grows ? src.size() + repl.size() : src.size());

  // `end` is the end of what is left of the source: a lost tail or the room of the
  // text cut it short, as the text itself would be cut when edited in place.
  size_t end = src.size();
  size_t pos = 0;
  int count = 0;
  while (pos < end) {
    size_t hit = std::string_view(src.data(), end).find(search, pos);
    if (hit == std::string_view::npos) break;
    if (code == 1) {
      // The text as edited so far lies in `text`: a match only counts when its first
      // byte starts a character there.
      text.append(src, pos, hit - pos + 1);
      if (byte_kind(run, &text.back(), text.data(), code, 50) == 2) {
        pos = hit + 1;
        continue;
      }
      text.pop_back();
    } else {
      text.append(src, pos, hit - pos);
    }
    pos = hit + search.size();
    if (end - pos > kTailRoom) end = pos;
    text.append(repl);
    ++count;
    if (grows) {
      if (text.size() >= room) {
        text.resize(room);
        pos = end;
        break;
      }
      if (text.size() + (end - pos) > room) end = pos + (room - text.size());
    }
    if (once) break;
  }
  text.append(src, pos, end - pos);
  return count;
}

void lower_case(std::string& text, int code) {
  for (size_t i = 0; i < text.size(); ++i) {
    uint8_t c = static_cast<uint8_t>(text[i]);
    if (c < 0x20) break;
    if (code <= 1 && announces_double(c)) {
      ++i;  // the second byte may be a letter
      continue;
    }
    if (c >= 'A' && c <= 'Z') text[i] = static_cast<char>(c + ('a' - 'A'));
  }
}

int sep_pos(std::string_view path, int n) {
  if (path.size() >= 255) return 0;
  if (n == -1) {
    int count = 0;
    for (char c : path) count += c == '/';
    return count;
  }
  if (n <= 0) return 0;
  for (size_t i = path.size(); i-- > 0;) {
    if (path[i] == '/' && --n == 0) return static_cast<int>(i);
  }
  return 0;
}

int path_piece(std::string_view path, std::string* out, int level, int what) {
  out->clear();
  if (level == 0 && what == 2) {
    size_t last = path.rfind('/');
    if (last == std::string_view::npos) return 1;
    out->assign(path.substr(0, last + 1));
    return 0;
  }
  if (level <= 0 || (what != 1 && what != 2)) return 1;
  // The folder name lies between the (level + 1)-th and the level-th separator from
  // the end.
  size_t close = std::string_view::npos;
  size_t open = std::string_view::npos;
  int seen = 0;
  for (size_t i = path.size(); i-- > 0;) {
    if (path[i] != '/') continue;
    ++seen;
    if (seen == level) close = i;
    if (seen == level + 1) {
      open = i;
      break;
    }
  }
  if (open == std::string_view::npos) return 1;
  size_t name_len = close - open - 1;
  if (name_len == 0 || name_len >= 254) return 1;
  if (what == 1) {
    out->assign(path.substr(open + 1, name_len));
  } else {
    out->assign(path.substr(0, open + 1));
  }
  return 0;
}

void encode_blanks(const Run& run, std::string& text, size_t size) {
  std::string work;
  assign_cut(work, text, kEncodeRoom - 1);
  int code = guess_code(work.c_str(), static_cast<long>(kEncodeRoom));
  replace_text(run, work, " ", "%20", kEncodeRoom, code, 0);
  size_t limit = size < kEncodeRoom ? size : kEncodeRoom;
  assign_cut(text, work, limit > 0 ? limit - 1 : 0);
}

int relative_path(std::string_view root, std::string_view path, std::string* out) {
  out->clear();
  if (root.empty() || path.empty()) return 1;
  size_t common = 0;
  while (common < root.size() && common < path.size() && root[common] == path[common]) ++common;
  if (common == 0 || common == path.size()) return 1;
  std::string rel(path.substr(common));
  rel += '/';
  assign_cut(*out, rel, kPathRoom - 1);
  return 0;
}

}  // namespace tz
