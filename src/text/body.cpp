#include "text/body.h"

#include <cassert>
#include <cstring>
#include <memory>
#include <string_view>

#include "codes/convert.h"
#include "codes/guess.h"
#include "common/byte_search.h"
#include "common/byte_tables.h"
#include "common/strings.h"
#include "run/run.h"
#include "text/dates.h"
#include "text/widths.h"

namespace tz {

namespace {

constexpr size_t kDateCopy = 4096;      // the date field is read from a copy this long
constexpr size_t kLinkRoom = 10000;     // a web address longer than this is left alone
constexpr size_t kHostCut = 30;         // a shortened link shows at most this much host
constexpr size_t kExcerptText = 15000;  // the excerpt's text and the tree mode's block
constexpr size_t kExcerptWidth = 800;   // a line of the excerpt: 50 full-width characters
constexpr size_t kNameCut = 64;         // name and mail of the excerpt, Shift_JIS
constexpr size_t kNameRoom = 159;       // name and mail of the excerpt, other codes

// The stop bytes of the scanner. A blank only matters in a body, where " <br> " begins
// with it; the scanner finds that at its "<" instead, so blanks are no stops in the
// common case. The comma mark begins with 0x81 and only counts in a comma log; h, t and
// f begin the schemes of shortened links.
template <bool kBlank, bool kComma, bool kLinks>
struct Stops;
template <>
struct Stops<false, false, false> : AnyOf<'<', '&'> {};
template <>
struct Stops<false, true, false> : AnyOf<'<', '&', 0x81> {};
template <>
struct Stops<false, false, true> : AnyOf<'<', '&', 'h', 't', 'f'> {};
template <>
struct Stops<false, true, true> : AnyOf<'<', '&', 0x81, 'h', 't', 'f'> {};
template <>
struct Stops<true, false, false> : AnyOf<' ', '<', '&'> {};
template <>
struct Stops<true, true, false> : AnyOf<' ', '<', '&', 0x81> {};
template <>
struct Stops<true, false, true> : AnyOf<' ', '<', '&', 'h', 't', 'f'> {};
template <>
struct Stops<true, true, true> : AnyOf<' ', '<', '&', 0x81, 'h', 't', 'f'> {};

bool starts(const char* p, const char* end, std::string_view s) {
  return static_cast<size_t>(end - p) >= s.size() && std::memcmp(p, s.data(), s.size()) == 0;
}

// ASCII comparison blind to case; `s` is lower case.
bool istarts(const char* p, const char* end, std::string_view s) {
  if (static_cast<size_t>(end - p) < s.size()) return false;
  for (size_t i = 0; i < s.size(); ++i) {
    char c = p[i];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c != s[i]) return false;
  }
  return true;
}

bool istarts(std::string_view text, size_t at, std::string_view s) {
  return istarts(text.data() + at, text.data() + text.size(), s);
}

// "<br>" or "<hr>" at `p`, blind to case: `letter` is 'b' or 'h'. A letter or'ed with
// 0x20 is lower case exactly when it was one of the two cases of that letter.
bool tag_at(const char* p, const char* end, char letter) {
  return end - p >= 4 && p[0] == '<' && (p[1] | 0x20) == letter && (p[2] | 0x20) == 'r' &&
         p[3] == '>';
}

// " <br> " at `p`, blind to case. With 8 bytes to read it is one compare: the letters
// or'ed with 0x20 are lower case exactly when they were one of the two cases.
bool blank_break_at(const char* p, const char* end) {
  if (end - p >= 8) {
    uint64_t x;
    std::memcpy(&x, p, sizeof x);
    uint64_t want;
    uint64_t fold;
    std::memcpy(&want, " <br>   ", sizeof want);
    std::memcpy(&fold, "\0\0\x20\x20\0\0\0\0", sizeof fold);
    uint64_t six;
    std::memcpy(&six, "\xFF\xFF\xFF\xFF\xFF\xFF\0\0", sizeof six);
    return ((x | fold) & six) == (want & six);
  }
  return end - p >= 6 && p[0] == ' ' && tag_at(p + 1, end, 'b') && p[5] == ' ';
}

// The entity at the "&" at `p`: its length, 0 for none; `repl` gets its character.
// Where two begin alike the longer wins, so "&amp;" before "&amp".
TZ_INLINE inline size_t entity_at(const char* p, const char* end, char* repl) {
  const size_t left = static_cast<size_t>(end - p);
  if (left < 4) return 0;
  switch (p[1]) {
    case 'a':
      *repl = '&';
      if (left >= 5 && std::memcmp(p, "&amp;", 5) == 0) return 5;
      return std::memcmp(p, "&amp", 4) == 0 ? 4 : 0;
    case 'g':
      *repl = '>';
      return std::memcmp(p, "&gt;", 4) == 0 ? 4 : 0;
    case 'l':
      *repl = '<';
      return std::memcmp(p, "&lt;", 4) == 0 ? 4 : 0;
    case 'q':
      *repl = '"';
      return left >= 6 && std::memcmp(p, "&quot;", 6) == 0 ? 6 : 0;
    case 'n':
      *repl = ' ';
      return left >= 6 && std::memcmp(p, "&nbsp;", 6) == 0 ? 6 : 0;
    default:
      return 0;
  }
}

// The state of one read_post: the settings of the scan and the line count of the body.
struct Scanner {
  Run& run;
  int limit;
  bool short_links;
  bool comma_log;
  bool sjis_walk;  // byte_kind can find second bytes (Shift_JIS output, no abroad board)
  std::string_view comma_mark;
  int lines = 1;
  int cut_line = 0;

  // The body break and the rule line, looked up at the first break of a post. A short
  // break is also kept in 16 bytes, to be put in with one move.
  bool have_breaks = false;
  std::string_view brk{};
  std::string_view rule{};
  char brk16[16] = {};

  void look_up_breaks() {
    brk = run.str.body_break.view();
    rule = run.str.rule_line.view();
    if (brk.size() <= sizeof brk16) std::memcpy(brk16, brk.data(), brk.size());
    have_breaks = true;
  }
};

// A scheme of a web address to shorten stands at `p`. Its first two bytes are compared
// before the rest: an h, t or f is mostly a letter of a word or the second byte of a
// katakana.
bool scheme_at(const Run& run, const char* p, const char* end) {
  for (const auto& row : run.str.scheme) {
    if (row[0] == '\0' || row[0] != p[0]) continue;
    if (row[1] != '\0' && (end - p < 2 || row[1] != p[1])) continue;
    if (starts(p, end, row)) return true;
  }
  return false;
}

// The scanner's work area with room for `need` bytes, its first `have` kept. A field is
// built there and appended to its string at once: no check of a string's room and no
// NUL per piece.
char* field_area(ConvertState& cs, size_t have, size_t need) {
  if (cs.field_room < need) {
    const size_t room = cs.field_room * 2 > need ? cs.field_room * 2 : need;
    std::unique_ptr<char[]> bigger(new char[room]);
    if (have) std::memcpy(bigger.get(), cs.field.get(), have);
    cs.field = std::move(bigger);
    cs.field_room = room;
  }
  return cs.field.get();
}

// Collects the web address at `p`; `host` gets the part of it that stands for the link.
// Result: where the collecting stopped.
const char* shorten_link(Run& run, const char* p, const char* end, std::string_view* host) {
  std::string& link = run.conv.link;
  link.clear();
  *host = std::string_view();
  const char* q = p;
  bool overrun = false;
  while (q < end) {
    auto c = static_cast<uint8_t>(*q);
    if (tbl::url_end[c]) break;
    if (c == '&') {
      if (starts(q, end, "&gt;") || starts(q, end, "&lt;") || starts(q, end, "&quot;")) break;
    }
    if (link.size() >= kLinkRoom) {
      overrun = true;
      break;
    }
    if (c == '&' && starts(q, end, "&amp") && !starts(q, end, "&amp;")) {
      link += '&';
      q += 4;
      continue;
    }
    link += static_cast<char>(c);
    ++q;
  }
  if (!overrun) {
    size_t at = link.find("://");
    if (at != std::string::npos) {
      at += 3;
      size_t slash = link.find('/', at);
      size_t len = (slash == std::string::npos ? link.size() : slash) - at;
      *host = std::string_view(link).substr(at, len < kHostCut ? len : kHostCut);
    }
  }
  return q;
}

// The line limit struck at line `lines` of the body: the cut goes behind what the body
// holds so far (what `out` held before the scan, then `built`), with shortened links at
// its last line feed.
void record_cut(Scanner& s, int lines, const std::string& out, std::string_view built) {
  s.cut_line = lines;
  size_t cut = out.size() + built.size();
  if (s.short_links) {
    size_t lf = built.rfind('\n');
    if (lf != std::string_view::npos) {
      cut = out.size() + lf;
    } else if ((lf = out.rfind('\n')) != std::string::npos) {
      cut = lf;
    }
  }
  s.run.post.cut = cut;
}

// Scans one field from `head` to `end` into `out`. Result false when the field runs
// past the room of a field: the whole post is then broken.
//
// With kExact the blanks are stops and the room is checked at every stop, as the scan
// of an overlong body must stop where it would have found out, for the cut of the line
// limit that it leaves behind. Without it the field is known to fit its room.
//
// `p` is the field's first stop; scan_start has looked at the start of the field.
template <bool kExact, bool kComma, bool kLinks>
bool scan_field(Scanner& s, const char* head, const char* end, std::string& out, bool body,
                const char* p) {
  using Stop = Stops<kExact, kComma, kLinks>;
  constexpr auto kRoom = static_cast<ptrdiff_t>(kFieldRoom);
  Run& run = s.run;
  int lines = s.lines;
  // The line count at which the line limit strikes behind a break; 0 when it can't (any
  // more) in this field.
  int cut_at = body && s.limit != 0 && s.cut_line == 0 ? s.limit : 0;

  ConvertState& cs = run.conv;

  // The output of a field is no longer than what it was made of but for the line
  // breaks: the room is checked where one is put in.
  char* base = field_area(cs, 0, static_cast<size_t>(end - head) + 64);
  char* w = base;
  char* lim = base + cs.field_room;
  const char* seg = head;
  // A "<" with no ">" behind it ends what a copy from `seg` takes: the bytes from it up
  // to the next place where the scanner copies are lost.
  const char* hole = nullptr;
  const char* gt = nullptr;  // the ">" found last
  bool no_gt = false;        // no ">" stands behind the last "<" looked at
  const bool walk = s.sjis_walk;

  auto copy = [&](const char* from, size_t n) TZ_INLINE {
    copy_bytes(w, from, n);
    w += n;
  };
  auto flush = [&](const char* upto) TZ_INLINE {
    const char* stop = hole && hole < upto ? hole : upto;
    copy(seg, static_cast<size_t>(stop - seg));
    hole = nullptr;
  };
  // A stop byte can be the second byte of a Shift_JIS character only behind a byte that
  // may lead one, and only if it can stand behind one at all; byte_kind decides.
  auto second_byte = [&](const char* q) TZ_INLINE {
    return walk && !never_second(static_cast<uint8_t>(*q)) && q > head &&
           (tbl::sjis[static_cast<uint8_t>(q[-1])] & tbl::kLead) &&
           byte_kind(run, q, head, run.code_out, 100) == 2;
  };
  // A body line break of `len` bytes at `at`; with `ruled` the rule line follows. A
  // short break goes in with one move of 16 bytes; what lies behind it is written over
  // later, within the room kept for that.
  auto line_break = [&](const char* at, size_t len, bool ruled) TZ_INLINE {
    if (!s.have_breaks) s.look_up_breaks();
    const std::string_view brk = s.brk;
    const std::string_view rule = s.rule;
    const size_t extra = ruled ? 2 * brk.size() + rule.size() : brk.size();
    const auto need = static_cast<size_t>(end - seg) + extra + sizeof s.brk16;
    if (static_cast<size_t>(lim - w) < need) {
      const auto have = static_cast<size_t>(w - base);
      base = field_area(cs, have, have + need);
      w = base + have;
      lim = base + cs.field_room;
    }
    ++lines;
    flush(at);
    if (brk.size() <= sizeof s.brk16) {
      std::memcpy(w, s.brk16, sizeof s.brk16);
      w += brk.size();
    } else {
      copy(brk.data(), brk.size());
    }
    if (ruled) {
      copy(rule.data(), rule.size());
      copy(brk.data(), brk.size());
    }
    p = at + len;
    seg = p;
    if (lines == cut_at) {
      record_cut(s, lines, out, std::string_view(base, static_cast<size_t>(w - base)));
      cut_at = 0;
    }
  };

  const char* from = head;  // where the search that found `p` began
  for (;; from = p, p = Stop::find(p, end, head)) {
    if (p >= end) {
      if (kExact && end - head > kRoom) return false;
      flush(end);
      out.append(base, static_cast<size_t>(w - base));
      s.lines = lines;
      return true;
    }
    if (kExact && p - head > kRoom) return false;
    const char c = *p;
    // A stop that only a comma mark or a web address can begin leads nowhere unless one
    // stands there: only then is it asked whether it is a second byte.
    if ((kComma && c == '\x81') || (kLinks && (c == 'h' || c == 't' || c == 'f'))) {
      const bool comma = kComma && !s.comma_mark.empty() && starts(p, end, s.comma_mark);
      const bool link =
          !comma && kLinks && (c == 'h' || c == 't' || c == 'f') && scheme_at(run, p, end);
      if ((!comma && !link) || second_byte(p)) {
        ++p;
        continue;
      }
      flush(p);
      if (comma) {
        *w++ = ',';
        p += s.comma_mark.size();
      } else {
        std::string_view host;
        p = shorten_link(run, p, end, &host);
        copy(host.data(), host.size());
      }
      seg = p;
      continue;
    }
    if (second_byte(p)) {
      ++p;
      continue;
    }
    if (c == '&') {
      char repl;
      if (size_t len = entity_at(p, end, &repl)) {
        flush(p);
        *w++ = repl;
        p += len;
        seg = p;
        continue;
      }
    }
    if (kComma && !s.comma_mark.empty() && starts(p, end, s.comma_mark)) {
      flush(p);
      *w++ = ',';
      p += s.comma_mark.size();
      seg = p;
      continue;
    }
    if (kExact && body && c == ' ' && blank_break_at(p, end)) {
      line_break(p, 6, false);
      continue;
    }
    if (c == '<') {
      if (body) {
        // The blank before this "<" was passed over by the search; it would have been a
        // stop of its own unless a jump took the scan past it. A blank is never a second
        // byte.
        if (!kExact && p - 1 >= from && blank_break_at(p - 1, end)) {
          line_break(p - 1, 6, false);
          continue;
        }
        if (tag_at(p, end, 'b')) {
          line_break(p, 4, false);
          continue;
        }
        if (tag_at(p, end, 'h')) {
          line_break(p, 4, true);
          continue;
        }
      }
      if (!(gt && gt > p) && !no_gt) {
        gt = static_cast<const char*>(std::memchr(p + 1, '>', static_cast<size_t>(end - p - 1)));
        if (!gt) no_gt = true;
      }
      if (gt && gt > p) {
        flush(p);
        p = gt + 1;
        seg = p;
        continue;
      }
      if (!hole) hole = p;
    }
    ++p;
  }
}

// The start of a field: the line limit strikes at once in a body when it is 1, and many
// a field holds no stop byte at all.
template <bool kExact, bool kComma, bool kLinks>
bool scan_start(Scanner& s, const char* head, const char* end, std::string& out, bool body) {
  if (body && s.limit != 0 && s.cut_line == 0 && s.lines == s.limit) {
    record_cut(s, s.lines, out, std::string_view());
  }
  const char* p = Stops<kExact, kComma, kLinks>::find(head, end, head);
  if (p < end) return scan_field<kExact, kComma, kLinks>(s, head, end, out, body, p);
  if (kExact && end - head > static_cast<ptrdiff_t>(kFieldRoom)) return false;
  out.append(head, static_cast<size_t>(end - head));
  return true;
}

// Scans a field with the stops of its line: false when it is broken. Only a body with a
// line limit needs the scan of a field that can't fit its room; a comma mark that began
// with a blank would need the blanks as stops.
bool scan_any(Scanner& s, std::string_view field, std::string& out, bool body) {
  const char* head = field.data();
  const char* end = head + field.size();
  const bool overlong = field.size() > kFieldRoom;
  if (overlong && !(body && s.limit != 0)) return false;
  const bool exact = overlong || (!s.comma_mark.empty() && s.comma_mark[0] == ' ');
  const int set = (exact ? 4 : 0) | (s.comma_log ? 2 : 0) | (s.short_links ? 1 : 0);
  switch (set) {
    case 0:
      return scan_start<false, false, false>(s, head, end, out, body);
    case 1:
      return scan_start<false, false, true>(s, head, end, out, body);
    case 2:
      return scan_start<false, true, false>(s, head, end, out, body);
    case 3:
      return scan_start<false, true, true>(s, head, end, out, body);
    case 4:
      return scan_start<true, false, false>(s, head, end, out, body);
    case 5:
      return scan_start<true, false, true>(s, head, end, out, body);
    case 6:
      return scan_start<true, true, false>(s, head, end, out, body);
    default:
      return scan_start<true, true, true>(s, head, end, out, body);
  }
}

void make_broken(Run& run) {
  Post& post = run.post;
  std::string_view broken = run.str.broken_text.view();
  post.name.assign(broken);
  post.date.assign(broken);
  post.body.assign(broken);
  post.mail.clear();
}

// Field `i` of the line split by next_line. Its separator, made NUL, lies right before
// the next field, so its length needs no strlen but for the last one.
std::string_view field_view(const LineFields& lf, int i, size_t sep) {
  const char* f = lf.fields[i];
  if (f == nullptr) return std::string_view();
  const char* next = i < 8 ? lf.fields[i + 1] : nullptr;
  const size_t n = next ? static_cast<size_t>(next - f) - sep : std::strlen(f);
  assert(n == std::strlen(f));
  return std::string_view(f, n);
}

// A text of the program (UTF-8 here) in the output code.
void append_in_code(Run& run, std::string& out, const char* utf8) {
  std::string text = sjis_from_utf8(utf8);
  if (run.code_out == kEuc || run.code_out == kUtf8) {
    convert_code(run, text, kSjis, run.code_out, text.size() * 3 + 4);
  }
  out += text;
}

bool leads_double(uint8_t c) {
  return (c >= 0x81 && c <= 0x9F) || (c >= 0xE0 && c <= 0xFC);
}

// Folds the excerpt's text to lines of kExcerptWidth units by putting " <br> " into it.
void fold_excerpt(const std::string& in, std::string& out) {
  out.clear();
  const size_t n = in.size();
  int width = 0;
  bool in_link = false;
  bool in_tag = false;
  int blanks = 0;
  size_t i = 0;
  // Puts `ins` in; false when that takes the text past its room: the text then ends
  // with the insertion. `rest` is where the text goes on behind it.
  auto insert = [&](std::string_view ins, size_t rest) {
    if (out.size() + ins.size() + (n - rest) > kExcerptText) {
      out += ins;
      return false;
    }
    out += ins;
    return true;
  };
  while (i < n) {
    auto c = static_cast<uint8_t>(in[i]);
    bool after_entity = false;
    if (c == '<' && (istarts(in, i, "<br>") || istarts(in, i, "<hr>"))) {
      out.append(in, i, 4);
      i += 4;
      width = 0;
      in_link = in_tag = false;
      blanks = 0;
      continue;
    }
    if (c == '<' && istarts(in, i, "</a>")) {
      out.append(in, i, 4);
      i += 4;
      in_link = in_tag = false;
      blanks = 0;
      continue;
    }
    if (c == '&') {
      size_t len = in.compare(i, 5, "&amp;") == 0 ? 5 : in.compare(i, 4, "&amp") == 0 ? 4 : 0;
      if (len) {
        out.append(in, i, len);
        i += len;
        width += 10;
        blanks = 0;
        continue;
      }
      if (!in_link && i + 1 < n && in[i + 1] == '#') {
        size_t j = i + 2;
        for (int d = 0; d < 6 && j < n && in[j] >= '0' && in[j] <= '9'; ++d) ++j;
        out.append(in, i, j - i);
        i = j;
        if (i >= n) break;
        c = static_cast<uint8_t>(in[i]);
        after_entity = true;
      }
    }
    if (c == '<') {
      if (istarts(in, i, "<a href=\"")) {
        in_link = in_tag = true;
      } else if (istarts(in, i, "<font") || istarts(in, i, "<img")) {
        in_tag = true;
      }
    }
    if (in_tag && c == '>') in_tag = false;
    blanks = c == ' ' ? blanks + 1 : 0;
    const bool dbl = leads_double(c) && i + 1 < n;
    const size_t len = dbl ? 2 : 1;
    if (in_tag) {
      out.append(in, i, len);
      i += len;
      continue;
    }
    if (after_entity) {
      width += 13;
    } else if (dbl) {
      width += tbl::width_of_double(c, static_cast<uint8_t>(in[i + 1]));
    } else if (c != ' ' || (blanks == 1 && width != 0)) {
      width += tbl::width1[c];
    }
    if (width > static_cast<int>(kExcerptWidth)) {
      width = 0;
      if (in_link) {
        // The rest of the link's text goes; what follows its "</a>" stays.
        size_t close = i;
        while (close < n && !istarts(in, close, "</a>")) ++close;
        size_t rest = close < n ? close + 4 : n;
        in_link = false;
        if (!insert("...</a><br>", rest)) break;
        i = rest;
        continue;
      }
      if (after_entity) {
        out.append(in, i, len);
        i += len;
        if (!insert(" <br> ", i)) break;
        continue;
      }
      if (!insert(" <br> ", i)) break;
    }
    out.append(in, i, len);
    i += len;
  }
}

}  // namespace

void read_post(Run& run) {
  Post& post = run.post;
  LineFields& lf = run.line;
  post.date_ok = 0;
  post.cut = std::string::npos;
  post.cut_lines = 0;

  // A numbered line with 3 separators has no body slot once its number is dropped: it
  // is taken as a broken line like one with 1 or 2.
  if (lf.seps < 3 || !lf.fields[0] || !lf.fields[1] || !lf.fields[2] || !lf.fields[3]) {
    make_broken(run);
    return;
  }

  // The date field is read from its first kDateCopy bytes; a copy is made only for a
  // BE notation to be rewritten in.
  ConvertState& cs = run.conv;
  const size_t sep = run.sflg.kind == 1 ? 1 : 2;  // the line's separator: ',' or "<>"
  std::string_view date = field_view(lf, 2, sep).substr(0, kDateCopy);

  std::string_view name = field_view(lf, 0, sep);
  if (name.size() >= 7 && name.substr(0, 3) == "<b>") name = name.substr(3, name.size() - 7);

  // The common case: a <> log with links left alone, where a field is scanned for '<'
  // and '&' only.
  const bool plain = run.sflg.kind != 1 && !m_short_links(run.cmdm);

  DateInfo info;
  char digits[20] = {};
  read_date(run, &info, digits, date, run.code_out, 0);
  // With `date_known` the date holds no '<', and `date_amp` is its first '&' or null.
  bool date_known = false;
  const char* date_amp = nullptr;
  if (info.ok) {
    post.date_ok = 1;
    bool be = false;
    if (plain) {
      // One search serves the BE notation, which needs a '<' or "BE:", and the scan.
      using LtAmpB = AnyOf<'<', '&', 'B'>;
      const char* head = date.data();
      const char* end = head + date.size();
      for (const char* p = head;; ++p) {
        p = LtAmpB::find(p, end, head);
        if (p >= end) break;
        if (*p == '<' || (*p == 'B' && end - p >= 3 && p[1] == 'E' && p[2] == ':')) {
          be = true;
          break;
        }
        if (*p == '&' && date_amp == nullptr) date_amp = p;
      }
      date_known = !be;
    } else {
      be = may_hold_be(date);
    }
    if (be) {
      cs.date_work.assign(date);
      rewrite_be(run, cs.date_work);
      date = cs.date_work;
    }
  }

  std::string_view body = field_view(lf, 3, sep);
  if (run.sflg.k_machi == 2) {
    // Such boards close a body with a blank and two breaks of their own.
    size_t blank = body.rfind(' ');
    if (blank != std::string_view::npos && body.substr(blank + 1).substr(0, 8) == "<br><br>") {
      body = body.substr(0, blank + 1);
    }
  }
  const Cmdm& cm = run.cmdm;
  const bool comma_log = run.sflg.kind == 1;
  Scanner s{
      run,
      m_line_limit(cm),
      m_short_links(cm),
      comma_log,
      run.code_out <= kSjis && run.sflg.k_abroad == 0,
      comma_log && run.str.comma_mark ? std::string_view(run.str.comma_mark) : std::string_view()};
  if (!body.empty() && body[0] == ' ') body.remove_prefix(1);

  // In the common case a field that fits its room and holds no '<' or '&' is taken as
  // it is, else scanned from its first one.
  auto scan = [&](std::string_view f, std::string& out, bool in_body) {
    if (!plain || f.size() > kFieldRoom || (in_body && s.limit != 0)) {
      return scan_any(s, f, out, in_body);
    }
    const char* head = f.data();
    const char* end = head + f.size();
    const char* p = Stops<false, false, false>::find(head, end, head);
    if (p < end) return scan_field<false, false, false>(s, head, end, out, in_body, p);
    out.append(f);
    return true;
  };
  bool whole = scan(name, post.name, false);
  if (whole) {
    std::string_view mail = field_view(lf, 1, sep);
    if (comma_log) {
      whole = scan_any(s, mail, post.mail, false);
    } else if (mail.size() > kFieldRoom) {
      whole = false;
    } else {
      post.mail.assign(mail);
    }
  }
  if (whole && date_known) {
    const char* head = date.data();
    if (date_amp == nullptr) {
      post.date.append(date);
    } else {
      whole =
          scan_field<false, false, false>(s, head, head + date.size(), post.date, false, date_amp);
    }
  } else if (whole) {
    whole = scan(date, post.date, false);
  }
  if (whole) whole = scan(body, post.body, true);
  if (!whole) {
    make_broken(run);
    return;
  }

  const bool trim_name = m_name_blanks(cm) && !post.name.empty() && post.name[0] == ' ';
  if (trim_name || run.sflg.k_be == 1) {
    if (trim_name) post.name.erase(0, 1);
    for (int i = 0; i < 2 && !post.name.empty() && post.name.back() == ' '; ++i) {
      post.name.pop_back();
    }
  }
  if (!post.date.empty() && post.date_ok == 1 && post.date[0] == ' ') {
    size_t lead = post.date.find_first_not_of(' ');
    post.date.erase(0, lead == std::string::npos ? post.date.size() : lead);
  }
  if (run.sflg.k_machi == 3) {
    // The host behind the third blank is put in brackets.
    size_t at = std::string::npos;
    for (int k = 0; k < 3; ++k) {
      at = post.date.find(' ', at == std::string::npos ? 0 : at + 1);
      if (at == std::string::npos) break;
    }
    if (at != std::string::npos) {
      post.date.insert(at + 1, 1, '[');
      post.date += ']';
    }
  }
  if (!m_keep_body_blank(cm) && !post.body.empty() && post.body.back() == ' ') {
    post.body.pop_back();
  }
  if (s.limit != 0 && s.cut_line != 0) post.cut_lines = s.lines - s.cut_line + 1;
}

void cut_body(Post& post) {
  if (post.cut == std::string::npos || post.cut > post.body.size()) return;
  post.body.resize(post.cut);
  if (post.cut > 0 && post.body.back() == '\r') post.body.pop_back();
}

void clean_title(Run& run, std::string& title, int code_from, int code_to, int mode, size_t size) {
  int code = code_from != 0 ? code_from : guess_code(title.c_str(), static_cast<long>(size));
  if (title.empty() && mode == 11) {
    title.assign(run.str.no_title_text.view());
    if (code_from != 0) convert_code(run, title, kCodeAuto, code_from, size);
  } else {
    if (mode == 11) {
      const Sflg& f = run.sflg;
      if ((f.kind == 1 && f.comma_sub == 0) || f.comma_sub == 1) {
        std::string mark = run.str.comma_mark ? run.str.comma_mark : "";
        if (code > kSjis && code <= kUtf8) convert_code(run, mark, kSjis, code, 16);
        replace_text(run, title, mark, ",", size, code, 0);
      }
      replace_text(run, title, "&amp;", "&", size, code, 0);
      replace_text(run, title, "&amp", "&", size, code, 0);
      replace_text(run, title, "&quot; ", "\"", size, code, 0);
      replace_text(run, title, "&gt;", ">", size, code, 0);
      replace_text(run, title, "&lt;", "<", size, code, 0);
      replace_text(run, title, "\t", " ", size, code, 0);
      replace_text(run, title, "\r", " ", size, code, 0);
    }
    if (mode == 11 && m_title_lead_blank(run.cmdm) && !title.empty() && title[0] == ' ') {
      title.erase(0, 1);
    }
  }
  if (code_to != 0 && code_to != code) {
    convert_code(run, title, code, code_to, size);
    clean_text(title, code_to, size);
  }
}

void make_excerpt(Run& run, int tree_mode) {
  const Post& post = run.post;
  ConvertState& cs = run.conv;
  const bool sjis = run.code_out <= kSjis;

  std::string_view body = post.body;
  if (post.cut != std::string::npos && post.cut <= body.size()) {
    body = body.substr(0, post.cut);
    if (post.cut > 0 && body.back() == '\r') body.remove_suffix(1);
  }
  body = body.substr(0, kExcerptText);

  // Each line end of the body becomes " <br> ", within the room of the text.
  std::string& text = cs.text;
  text.clear();
  std::string_view nl = run.str.newline.view();
  for (size_t at = 0; at < body.size();) {
    size_t hit = nl.empty() ? std::string_view::npos : body.find(nl, at);
    size_t upto = hit == std::string_view::npos ? body.size() : hit;
    text.append(body, at, upto - at);
    if (hit == std::string_view::npos) break;
    text += " <br> ";
    at = hit + nl.size();
  }
  if (text.size() > kExcerptText) text.resize(kExcerptText);
  if (sjis) {
    fold_excerpt(text, cs.fold);
    text.swap(cs.fold);
  }

  auto short_form = [&](std::string_view s) -> std::string {
    if (s.size() > kNameCut && sjis) return std::string(s.substr(0, kNameCut)) + "...";
    return std::string(s.substr(0, kNameRoom));
  };
  const std::string name = short_form(post.name);
  const std::string mail = short_form(post.mail);

  const size_t room = tree_mode == 1
                          ? kExcerptText
                          : name.size() + mail.size() + post.date.size() + text.size() + 70;
  std::string block;
  block.reserve(room);
  auto put = [&](std::string_view s) {
    size_t left = room - 1 - block.size();
    block.append(s.substr(0, s.size() < left ? s.size() : left));
  };
  std::string word;
  append_in_code(run, word, "名前：");
  put(word);
  put(run.sflg.k_abroad == 1 ? "<font color=\"#333333\">" : "<font color=green>");
  put("<b>");
  put(name);
  put("</b>");
  put("[");
  put(mail);
  put("]");
  word.clear();
  append_in_code(run, word, " ：");
  put(word);
  put(post.date);
  put("<br>");
  put(text);
  put("<br>");

  if (tree_mode == 1) {
    run.excerpt.assign(block);
  } else {
    run.excerpt.resize(run.pos_1);
    run.excerpt += block;
  }
}

}  // namespace tz
