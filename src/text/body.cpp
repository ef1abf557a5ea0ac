#include "text/body.h"

#include <array>
#include <cstring>
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

// The bytes at which the scanner looks closer, by the form of the line and by whether
// links are shortened: index 0 the <> log, 1 the comma log, +2 with shortened links.
constexpr std::array<std::array<uint8_t, 256>, 4> make_stops() {
  std::array<std::array<uint8_t, 256>, 4> t{};
  for (int set = 0; set < 4; ++set) {
    t[set][' '] = t[set]['<'] = t[set]['&'] = 1;
    if (set & 1) t[set][0x81] = 1;  // first byte of the comma mark
    if (set & 2) t[set]['h'] = t[set]['t'] = t[set]['f'] = 1;
  }
  return t;
}
constexpr auto kStops = make_stops();

// The same sets for the vector search.
const ByteSet& stop_set(int set) {
  static const ByteSet kSets[4] = {ByteSet(kStops[0]), ByteSet(kStops[1]), ByteSet(kStops[2]),
                                   ByteSet(kStops[3])};
  return kSets[set];
}

struct Entity {
  std::string_view text;
  char repl;
};
// Longest first where two begin alike, so "&amp;" wins over "&amp".
constexpr Entity kEntities[] = {{"&amp;", '&'}, {"&amp", '&'},   {"&gt;", '>'},
                                {"&lt;", '<'},  {"&quot;", '"'}, {"&nbsp;", ' '}};

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

// The state of one read_post: the stop set and the line count of the body.
struct Scanner {
  Run& run;
  const ByteSet& stops;
  int limit;
  bool short_links;
  std::string_view brk;
  std::string_view rule;
  std::string_view comma_mark;
  int lines = 1;
  int cut_line = 0;
};

// Collects the web address at `p` and appends its host to `out`. Result: where the
// collecting stopped.
const char* shorten_link(Run& run, const char* p, const char* end, std::string& out) {
  std::string& link = run.conv.link;
  link.clear();
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
    size_t host = link.find("://");
    if (host != std::string::npos) {
      host += 3;
      size_t slash = link.find('/', host);
      size_t len = (slash == std::string::npos ? link.size() : slash) - host;
      out.append(link, host, len < kHostCut ? len : kHostCut);
    }
  }
  return q;
}

// Scans one field from `head` to `end` into `out`. Result false when the field runs
// past the room of a field: the whole post is then broken.
bool scan_field(Scanner& s, const char* head, const char* end, std::string& out, bool body) {
  Run& run = s.run;
  const char* seg = head;
  const char* p = head;
  // A "<" with no ">" behind it ends what a copy from `seg` takes: the bytes from it up
  // to the next place where the scanner copies are lost.
  const char* hole = nullptr;
  const char* gt = nullptr;  // the ">" found last
  bool no_gt = false;        // no ">" stands behind the last "<" looked at
  auto flush = [&](const char* upto) {
    const char* stop = hole && hole < upto ? hole : upto;
    out.append(seg, static_cast<size_t>(stop - seg));
    hole = nullptr;
  };
  for (;;) {
    if (body && s.limit != 0 && s.cut_line == 0 && s.lines == s.limit) {
      s.cut_line = s.lines;
      size_t cut = out.size();
      if (s.short_links) {
        size_t lf = out.rfind('\n');
        if (lf != std::string::npos) cut = lf;
      }
      run.post.cut = cut;
    }
    p = s.stops.find(p, end);
    if (p >= end) {
      if (end - head > static_cast<ptrdiff_t>(kFieldRoom)) return false;
      flush(end);
      return true;
    }
    if (p - head > static_cast<ptrdiff_t>(kFieldRoom)) return false;

    // A stop byte can be the second byte of a Shift_JIS character only behind a byte
    // that may lead one; byte_kind decides.
    if (p > head && (tbl::sjis[static_cast<uint8_t>(p[-1])] & tbl::kLead) &&
        byte_kind(run, p, head, run.code_out, 100) == 2) {
      ++p;
      continue;
    }
    const char c = *p;
    if (c == '&') {
      const Entity* hit = nullptr;
      for (const Entity& e : kEntities) {
        if (starts(p, end, e.text)) {
          hit = &e;
          break;
        }
      }
      if (hit) {
        flush(p);
        out += hit->repl;
        p += hit->text.size();
        seg = p;
        continue;
      }
    }
    if (!s.comma_mark.empty() && starts(p, end, s.comma_mark)) {
      flush(p);
      out += ',';
      p += s.comma_mark.size();
      seg = p;
      continue;
    }
    if (body && c == ' ' && istarts(p, end, " <br> ")) {
      ++s.lines;
      flush(p);
      out += s.brk;
      p += 6;
      seg = p;
      continue;
    }
    if (c == '<') {
      if (body && istarts(p, end, "<br>")) {
        ++s.lines;
        flush(p);
        out += s.brk;
        p += 4;
        seg = p;
        continue;
      }
      if (body && istarts(p, end, "<hr>")) {
        ++s.lines;
        flush(p);
        out += s.brk;
        out += s.rule;
        out += s.brk;
        p += 4;
        seg = p;
        continue;
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
    if (s.short_links && (c == 'h' || c == 't' || c == 'f')) {
      bool scheme = false;
      for (const auto& row : run.str.scheme) {
        if (row[0] && starts(p, end, row)) {
          scheme = true;
          break;
        }
      }
      if (scheme) {
        flush(p);
        p = shorten_link(run, p, end, out);
        seg = p;
        continue;
      }
    }
    ++p;
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

std::string_view field_view(const char* f) {
  return f ? std::string_view(f) : std::string_view();
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

  ConvertState& cs = run.conv;
  std::string_view date_field = field_view(lf.fields[2]);
  cs.date_work.assign(date_field.substr(0, kDateCopy));

  std::string_view name = field_view(lf.fields[0]);
  if (name.size() >= 7 && name.substr(0, 3) == "<b>") name = name.substr(3, name.size() - 7);

  DateInfo info;
  char digits[20] = {};
  read_date(run, &info, digits, cs.date_work.c_str(), run.code_out, 0);
  if (info.ok) {
    post.date_ok = 1;
    rewrite_be(run, cs.date_work);
  }

  std::string_view body = field_view(lf.fields[3]);
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
      stop_set((comma_log ? 1 : 0) + (m_short_links(cm) ? 2 : 0)),
      m_line_limit(cm),
      m_short_links(cm),
      run.str.body_break.view(),
      run.str.rule_line.view(),
      comma_log && run.str.comma_mark ? std::string_view(run.str.comma_mark) : std::string_view()};
  if (!body.empty() && body[0] == ' ') body.remove_prefix(1);

  bool whole = scan_field(s, name.data(), name.data() + name.size(), post.name, false);
  if (whole) {
    std::string_view mail = field_view(lf.fields[1]);
    if (comma_log) {
      whole = scan_field(s, mail.data(), mail.data() + mail.size(), post.mail, false);
    } else if (mail.size() > kFieldRoom) {
      whole = false;
    } else {
      post.mail.assign(mail);
    }
  }
  if (whole) {
    whole = scan_field(s, cs.date_work.data(), cs.date_work.data() + cs.date_work.size(), post.date,
                       false);
  }
  if (whole) whole = scan_field(s, body.data(), body.data() + body.size(), post.body, true);
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
  if (!post.date.empty() && post.date_ok == 1) {
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
