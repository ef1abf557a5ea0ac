#include "cmdline/parser.h"

#include <cstdint>
#include <initializer_list>
#include <string>

#include "cmdline/help_pages.h"
#include "cmdline/paths.h"
#include "codes/convert.h"
#include "common/strings.h"
#include "platform/os.h"
#include "run/console.h"
#include "run/run.h"
#include "run/stores.h"

namespace tz {

namespace {

constexpr size_t kWorkRoom = 1024;  // the work string of the argument in hand
constexpr size_t kPathCut = kPathRoom - 1;

// A character of an argument; everything behind its end reads as NUL.
char at(std::string_view s, size_t i) {
  return i < s.size() ? s[i] : '\0';
}
std::string_view tail(std::string_view s, size_t from) {
  return from < s.size() ? s.substr(from) : std::string_view();
}
bool is_letter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}
bool is_digit(char c) {
  return c >= '0' && c <= '9';
}
char lower(char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c;
}
bool ends_name(char c) {
  return c == '\0' || c == ':' || c == '=' || c == '-';
}

// An option: a letter, then the end of the name, or a second letter and the end.
bool option_shaped(std::string_view arg) {
  return is_letter(at(arg, 1)) &&
         (ends_name(at(arg, 2)) || (is_letter(at(arg, 2)) && ends_name(at(arg, 3))));
}

// Case-independent: does `text` begin with `prefix`?
bool has_prefix(std::string_view text, std::string_view prefix) {
  if (text.size() < prefix.size()) return false;
  for (size_t i = 0; i < prefix.size(); ++i)
    if (lower(text[i]) != lower(prefix[i])) return false;
  return true;
}

int hex_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// A hexadecimal number of at most `width` characters; it ends at its first character
// that isn't a hexadecimal digit.
uint32_t read_hex(std::string_view text, size_t width) {
  uint32_t value = 0;
  for (size_t i = 0; i < width && i < text.size(); ++i) {
    int d = hex_value(text[i]);
    if (d < 0) break;
    value = value * 16 + static_cast<uint32_t>(d);
  }
  return value;
}

// The fields of a block of `bits` bits, read from its top, laid into a word from its
// lowest bit: the first field of the help page lands lowest, and a field of several bits
// keeps its value.
uint32_t lay_fields(uint32_t block, int bits, std::initializer_list<int> widths) {
  uint32_t word = 0;
  int top = bits;
  int to = 0;
  for (int w : widths) {
    top -= w;
    uint32_t field = (block >> top) & ((1u << w) - 1);
    word |= field << to;
    to += w;
  }
  return word;
}

// Code names of /ck, /l and /h=: 0 when none matches.
int code_by_prefix(std::string_view text, bool shift_jis_underscore) {
  if (has_prefix(text, "SJIS") || has_prefix(text, "SHIFTJIS")) return kSjis;
  if (shift_jis_underscore && has_prefix(text, "SHIFT_JIS")) return kSjis;
  if (has_prefix(text, "EUC")) return kEuc;
  if (has_prefix(text, "UTF8") || has_prefix(text, "UTF-8")) return kUtf8;
  return 0;
}

// The parse in hand: the code the arguments arrive in, and the positionals seen.
struct Parse {
  int arg_code = kUtf8;
  int positionals = 0;
};

// Text values arrive in the locale's code; the program holds them in Shift_JIS.
std::string text_value(Run& run, const Parse& p, std::string_view text) {
  if (p.arg_code == kSjis) return std::string(text);
  if (p.arg_code == kEuc) {
    std::string s(text);
    convert_code(run, s, kEuc, kSjis, s.size() + 1);
    return s;
  }
  return sjis_from_utf8(text);
}

int refuse(Run& run, const Parse& p, std::string_view arg) {
  con_print(run, msg(run, Msg::bad_option), text_value(run, p, arg).c_str());
  return 2;
}

// "/a-h" and the like: the name is followed by "-h" and nothing else.
bool help_form(std::string_view arg, size_t name_end, bool either_case) {
  if (arg.size() != name_end + 2 || arg[name_end] != '-') return false;
  return arg[name_end + 1] == 'h' || (either_case && arg[name_end + 1] == 'H');
}

int show(Run& run, HelpPage page) {
  print_help_page(run, page);
  return 2;
}

void set_console_code(Run& run, int code) {
  run.cmdm.ck = static_cast<uint8_t>(code);
  if (code) run.con_code = code;
}

void take_a(Run& run, std::string_view value) {
  Cmdm& c = run.cmdm;
  std::string letters(value.substr(0, value.size() < 10 ? value.size() : 10));
  bool any = false;
  if (letters.find('r') != std::string::npos) {
    c.a_r = true;
    std::erase(letters, 'r');
    any = true;
  }
  if (letters.find('c') != std::string::npos) {
    c.a_c = true;
    std::erase(letters, 'c');
    any = true;
  }
  for (char ch : letters) {
    if (std::string_view("BsbnfFd").find(ch) == std::string_view::npos) continue;
    // One board level and one key level: a second of the same kind is dropped.
    bool board = ch == 'b' || ch == 'n';
    bool key = ch == 'f' || ch == 'F';
    if (board && c.a_str.find_first_of("bn") != std::string::npos) continue;
    if (key && c.a_str.find_first_of("fF") != std::string::npos) continue;
    if (c.a_str.size() >= 10) continue;
    c.a_str += ch;
    any = true;
  }
  if (!any) con_print(run, "%s", msg(run, Msg::bad_a));
  c.a = !c.a_str.empty() || c.a_r;
}

// The value of :fn=, :tr= or :tl= anywhere in the /i text. A ':' that a separator
// follows belongs to the path.
void take_i_name(std::string_view text, std::string_view key, std::string& out) {
  size_t at_key = text.find(key);
  if (at_key == std::string_view::npos) return;
  std::string_view value = text.substr(at_key + key.size());
  size_t end = 0;
  while (end < value.size() && !(value[end] == ':' && at(value, end + 1) != os::kSep)) ++end;
  assign_cut(out, value.substr(0, end), kPathCut);
}

void take_i(Run& run, std::string_view arg) {
  Cmdm& c = run.cmdm;
  c.i = true;
  if (arg.size() == 2) {
    c.i_sort = 'L';
    c.i_order = 'd';
    return;
  }
  if (arg[2] == ':') c.i_img = true;
  std::string_view text = tail(arg, 3);
  if (text.empty()) return;

  size_t cur = 0;
  char ch = at(text, cur);
  char lo = lower(ch);
  if (lo == 'n' || lo == 'f' || lo == 'r' || lo == 'x')
    c.i_sort = lo;
  else if (ch == 'l' || ch == 'L')
    c.i_sort = ch;
  // An earlier /i that chose the item makes this place the item's, whatever stands there.
  if (c.i_sort)
    ++cur;
  else
    c.i_sort = 'l';

  if (cur < text.size()) {
    lo = lower(at(text, cur));
    if (lo == 'd' || lo == 'u') c.i_order = lo;
    if (c.i_order)
      ++cur;
    else
      c.i_order = 'd';

    uint8_t* digits[12] = {&c.i_num,    &c.i_rescnt, &c.i_others, &c.i_first,
                           &c.i_perout, &c.i_one,    &c.i_html,   &c.i_tmp,
                           &c.i_tpl,    &c.i_code,   &c.i_date,   &c.i_simple};
    for (int d = 0; d < 12 && cur < text.size(); ++d) {
      char top = d == 9 ? '3' : '1';
      char v = text[cur];
      if (v < '0' || v > top) continue;  // the same character is tried on the next digit
      *digits[d] = static_cast<uint8_t>(v - '0');
      ++cur;
    }
  }
  take_i_name(text, ":fn=", c.i_fn);
  take_i_name(text, ":tr=", c.i_tr);
  take_i_name(text, ":tl=", c.i_tl);
  if (at(text, cur) == ':' && c.i_fn.empty() && c.i_tr.empty() && c.i_tl.empty())
    assign_cut(c.i_fn, text.substr(cur + 1), kPathCut);
}

void take_mv(Run& run, std::string_view arg) {
  Cmdm& c = run.cmdm;
  c.mv = true;
  std::string_view value = tail(arg, 4);
  if (value.empty()) return;
  if (value.find("::r") != std::string_view::npos) c.mv_r = true;
  if (value.substr(0, 3) == "::r") return;
  size_t end = value.find("::");
  assign_cut(c.mv_path, value.substr(0, end), kPathCut);
  c.mv_dst = c.mv_path;
}

// /r=x-y: the number in hand becomes the lower bound at each '-'; a second '-' ends the
// value and leaves the upper bound as it was.
void take_r(Run& run, std::string_view value) {
  Cmdm& c = run.cmdm;
  int n = 0;
  int digits = 0;
  bool dash = false;
  for (char ch : value) {
    if (is_digit(ch)) {
      if (digits < 6) n = n * 10 + (ch - '0');
      ++digits;
    } else if (ch == '-') {
      c.r_min = digits ? n : 1;
      if (dash) return;
      dash = true;
      n = 0;
      digits = 0;
    }
  }
  if (!dash) {
    c.r_min = c.r_max = n;
    return;
  }
  c.r_max = digits ? n : kOpenEnd;
}

void take_s(Run& run, std::string_view arg) {
  Cmdm& c = run.cmdm;
  c.s = true;
  for (size_t i = 2; i < 6; ++i) {
    char ch = at(arg, i);
    if (ch == '\0' || ch == ' ') return;
    if (ch == ':') {
      assign_cut(c.s_file, tail(arg, i + 1), kPathCut);
      return;
    }
    if (ch == '1') c.i_one = 1;
    if (ch == 'c' || ch == 'C') c.a_c = true;
  }
}

// /ts: two patterns of YYYYMMDDhhmmss with '*' for any place, then the basis.
void take_ts(Run& run, std::string_view value) {
  Cmdm& c = run.cmdm;
  std::string from(14, '*');
  std::string to(14, '*');
  // ts_range is not reset: what an earlier /ts left there takes part in this walk.
  size_t pos = 0;
  size_t start_pos = 0;
  int side = 1;
  size_t i = 0;
  for (; i < 256; ++i) {
    char ch = at(value, i);
    if (ch == '\0' || ch == ',') break;
    size_t letter_pos = std::string_view("YMDhms").find(ch);
    if (letter_pos != std::string_view::npos) {
      static constexpr size_t kPlaces[] = {0, 4, 6, 8, 10, 12};
      pos = kPlaces[letter_pos];
      if (i == 0) start_pos = pos;
    } else if (ch == '-') {
      if (side == 2) break;
      c.ts_range = pos == 0 ? 3 : 2;
      side = 2;
      pos = start_pos;
    } else if (is_digit(ch)) {
      if (pos == 14) break;
      (side == 1 ? from : to)[pos++] = ch;
      if (c.ts_range == 2) c.ts_range = 1;
    }
  }
  c.ts_from = from;
  c.ts_to = to;
  c.ts_kind = 0;
  if (from == std::string(14, '*') && to == from) return;
  if (c.ts_range != 2 && c.ts_range != 3) {
    for (size_t k = 0; k < 14; ++k) {
      if (c.ts_from[k] == '*' && c.ts_to[k] != '*') return;  // digits at different places
      if (c.ts_from[k] != '*' && c.ts_to[k] == '*') c.ts_to[k] = c.ts_from[k];
    }
  }
  c.ts_kind = 'f';
  for (char ch : tail(value, i))
    if (ch == 'f' || ch == 'l' || ch == 'm' || ch == 'c') c.ts_kind = ch;
}

// Result -1: go on with the next argument; 2: stop.
int take_u(Run& run, const Parse& p, std::string_view arg) {
  Cmdm& c = run.cmdm;
  std::string_view value = tail(arg, 3);
  if (value.empty()) {
    c.u = 1;
    return -1;
  }
  if (has_prefix(value, "time"))
    c.u = 1;
  else if (has_prefix(value, "fsize"))
    c.u = 2;
  else if (has_prefix(value, "none"))
    c.u = 3;
  else if (c.u == 0)
    return refuse(run, p, arg);
  return -1;
}

void take_v(Run& run, std::string_view value) {
  Cmdm& c = run.cmdm;
  std::string letters;
  for (size_t i = 0; i < value.size() && i < 10 && is_letter(value[i]); ++i)
    letters += lower(value[i]);
  if (letters.find_first_of("ob") != std::string::npos) c.v_mode = 2;
  if (letters.find('f') != std::string::npos) c.v_mode = 1;
  c.v = true;
}

// The chain of tests for one option. Two-letter names come first; the others look at
// the second character alone. Result -1: go on; 2: stop.
int take_option(Run& run, const Parse& p, std::string_view arg) {
  Cmdm& c = run.cmdm;
  char c1 = lower(arg[1]);
  char c2 = lower(at(arg, 2));
  auto named = [&](char a, char b) { return c1 == a && c2 == b; };

  if (named('c', 't')) {
    c.ct = true;
  } else if (named('s', 'p')) {
    c.sp = false;
  } else if (named('s', 't')) {
    c.st = true;
  } else if (named('c', 'k')) {
    if (help_form(arg, 3, true)) return show(run, HelpPage::ck);
    int code = code_by_prefix(tail(arg, 4), false);
    set_console_code(run, code ? code : kSjis);
  } else if (named('m', 'v')) {
    if (help_form(arg, 3, true)) return show(run, HelpPage::mv);
    take_mv(run, arg);
  } else if (named('t', 's')) {
    if (help_form(arg, 3, true)) return show(run, HelpPage::ts);
    if (!tail(arg, 4).empty()) take_ts(run, tail(arg, 4));
  } else if (c1 == 'i') {
    if (is_letter(at(arg, 2))) return refuse(run, p, arg);
    if (help_form(arg, 2, true)) return show(run, HelpPage::i);
    take_i(run, arg);
  } else if (named('j', 's')) {
    // Accepted for old command lines; it has no effect.
  } else if (c1 == 'm') {
    if (arg.size() == 2) {
      c.m &= ~0x3000u;  // board name and thread address off the head
    } else {
      if (help_form(arg, 2, false)) return show(run, HelpPage::m);
      std::string_view value = tail(arg, 3);
      value = value.substr(0, value.find(' '));
      set_m_block(run, value.substr(0, value.size() < 16 ? value.size() : 16));
    }
  } else if (c1 == 'o') {
    if (help_form(arg, 2, false)) return show(run, HelpPage::o);
    if (arg.size() == 2) {
      con_print(run, "%s", msg(run, Msg::bad_o));
      return 2;
    }
    set_o_block(run, tail(arg, 3));
  } else if (c1 == 'f') {
    if (help_form(arg, 2, false)) return show(run, HelpPage::f);
    char kind = at(arg, 3);
    if (kind >= '0' && kind <= 'z') c.f = kind;
  } else if (c1 == 't') {
    if (help_form(arg, 2, false)) return show(run, HelpPage::t);
    c.t = true;
    if (arg.size() == 2) {
      c.t_fmt = "%threadtitle%";
    } else {
      std::string fmt = text_value(run, p, tail(arg, 3));
      if (fmt.size() > 254) fmt.resize(254);
      if (!fmt.empty() && fmt.front() == '"') {
        fmt.erase(0, 1);
        if (!fmt.empty() && fmt.back() == '"') fmt.pop_back();
      }
      if (fmt.empty()) {
        con_print(run, "%s", msg(run, Msg::no_t_format));
        return 2;
      }
      c.t_fmt = fmt;
    }
  } else if (c1 == 'c' && arg.size() == 2) {
    c.c = true;
  } else if (c1 == 's') {
    if (help_form(arg, 2, false)) return show(run, HelpPage::s);
    take_s(run, arg);
  } else if (c1 == 'a') {
    if (help_form(arg, 2, false)) return show(run, HelpPage::a);
    take_a(run, tail(arg, 3));
  } else if (c1 == 'r') {
    take_r(run, tail(arg, 3));
  } else if (c1 == 'd') {
    int64_t n = 0;
    std::string_view value = tail(arg, 3);
    for (size_t i = 0; i < value.size() && i < 10 && is_digit(value[i]); ++i)
      n = n * 10 + (value[i] - '0');
    c.d = n > INT32_MAX ? INT32_MAX : static_cast<int>(n);
  } else if (c1 == 'v') {
    take_v(run, tail(arg, 3));
  } else if (c1 == 'q') {
    if (help_form(arg, 2, false)) return show(run, HelpPage::q);
    c.q = true;
    assign_cut(c.q_str, text_value(run, p, tail(arg, 3)), kPathCut);
  } else if (c1 == 'l') {
    if (help_form(arg, 2, true)) return show(run, HelpPage::l);
    c.l = true;
    int code = code_by_prefix(tail(arg, 3), false);
    c.l_code = static_cast<uint8_t>(code ? code : kSjis);
  } else if (c1 == 'u') {
    if (help_form(arg, 2, true)) return show(run, HelpPage::u);
    return take_u(run, p, arg);
  } else if (c1 == 'z') {
    c.z = true;
  } else if (c1 == 'x') {
    // Accepted; no effect.
  } else if (c1 == 'n') {
    assign_cut(c.n, text_value(run, p, tail(arg, 3)), 500);
  } else {
    return refuse(run, p, arg);
  }
  return -1;
}

void take_positional(Run& run, Parse& p, std::string_view arg) {
  ++p.positionals;
  if (p.positionals == 1)
    assign_cut(run.paths.src_path, arg, kPathCut);
  else if (p.positionals == 2)
    assign_cut(run.paths.dst_path, arg, kPathCut);
}

bool is_null_name(const std::string& path) {
  return path == "NUL" || path == "NULL";
}

// The settings that follow from others once every option is read.
void settle(Run& run) {
  Cmdm& c = run.cmdm;
  const Paths& paths = run.paths;
  if (c.st) {
    c.i = false;
    c.c = true;
    if (c.s) c.a_c = true;
  }
  if (paths.src_path.find_first_of("?*") != std::string::npos) c.src_wild = true;
  if (is_null_name(paths.src_path)) {
    c.src_null = true;
    c.src_wild = true;
    c.d = 0;
    c.mv = false;
    if (c.i && !c.i_html && !c.i_tmp) c.i_tmp = 1;
  }
  if (is_null_name(paths.dst_path)) {
    c.dst_null = true;
    c.d = 0;
    c.i = false;
    c.i_one = 0;
  } else if (!c.i) {
    c.i_one = 0;
  }
  if (c.i_perout == 1) {
    if (c.i_one) {
      c.i_perout = 0;
    } else if (!c.a && (c.s || c.src_wild)) {
      c.a = true;
      c.a_str.clear();
      if (!c.a_c) c.a_r = true;
    }
  }
  // A walk mirrors the source tree unless told otherwise.
  if (!c.s) {
    c.a_r = false;
  } else if (!c.a_c && !c.a) {
    c.a = true;
    c.a_r = true;
  }
  c.exe_dir = os::program_dir();
  if (c.exe_dir.empty()) {
    c.exe_dir = os::current_dir();
    if (c.exe_dir.empty() || c.exe_dir.back() != os::kSep) c.exe_dir += os::kSep;
  }
}

}  // namespace

void set_m_block(Run& run, std::string_view text) {
  Cmdm& c = run.cmdm;
  std::string block(text);
  if (block.size() < 10) block.append(10 - block.size(), '0');
  uint32_t low = read_hex(block, 4);
  c.m = (c.m & 0xFFFF0000u) | lay_fields(low, 16, {1, 1, 1, 1, 2, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1});
  // Digit 6 bit 1 turns the Be marks off for good and is no bit of the word; bit 20
  // belongs to no digit and stays.
  uint32_t high = lay_fields(read_hex(std::string_view(block).substr(4), 4), 16,
                             {1, 2, 1, 1, 1, 1, 1, 5, 1, 1, 1});
  if (high & 0x10) c.be_off = true;
  c.m = (c.m & 0x0010FFFFu) | ((high & ~0x10u) << 16);
  uint32_t rest = read_hex(std::string_view(block).substr(8), 4);
  c.m2 = ((rest >> 7) & 1) | (((rest >> 5) & 3) << 1);
}

void set_o_block(Run& run, std::string_view text) {
  Cmdm& c = run.cmdm;
  uint32_t value = read_hex(text, 6);
  // The unused bit 5 of the flags keeps what it had.
  uint32_t flags = lay_fields((value >> 16) & 0xFF, 8, {1, 1, 1, 1, 1, 1, 2});
  c.o = (c.o & 0xFF000020u) | (flags & ~0x20u) | (value & 0xFF00) | ((value & 0xFF) << 16);
}

int parse_command_line(Run& run, int argc, char** argv) {
  Parse p;
  p.arg_code = os::locale_code();
  if (argc <= 1) {
    print_short_page(run);
    return 2;
  }
  if (argc == 2) {
    std::string_view only = argv[1];
    // An absolute path that begins with "/h" is a path, not the page.
    bool page = at(only, 0) == '-' || option_shaped(only);
    if (page && lower(at(only, 1)) == 'h') {
      // The one way to have the long page in a given code.
      if (only.size() > 3) set_console_code(run, code_by_prefix(only.substr(3), true));
      print_long_page(run);
      return 2;
    }
  }
  fill_empty_slots(run);
  output_setup(run);

  bool options_end = false;
  for (int k = 1; k < argc; ++k) {
    std::string_view arg = argv[k];
    arg = arg.substr(0, arg.size() < kWorkRoom - 1 ? arg.size() : kWorkRoom - 1);
    char first = at(arg, 0);
    if (options_end || (first != '/' && first != '-')) {
      take_positional(run, p, arg);
      continue;
    }
    if (arg == "--") {
      options_end = true;
      continue;
    }
    if (arg == "--help") {
      print_long_page(run);
      return 2;
    }
    if (arg == "--version") {
      print_version_line(run);
      return 2;
    }
    if (!option_shaped(arg)) {
      // An absolute path is a path; a lone '/' or '-' too.
      if (first == '/' || arg.size() == 1) {
        take_positional(run, p, arg);
        continue;
      }
      return refuse(run, p, arg);
    }
    int result = take_option(run, p, arg);
    if (result >= 0) return result;
  }

  settle(run);
  int result = resolve_paths(run);
  if (run.paths.src_file.find(".log") != std::string::npos) {
    con_print(run, "%s", msg(run, Msg::no_log_files));
    return 2;
  }
  if (result < 2) split_paths(run);
  return result;
}

}  // namespace tz
