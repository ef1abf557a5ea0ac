#include "run/stores.h"

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <type_traits>

#include "board/kind.h"
#include "codes/convert.h"
#include "codes/guess.h"
#include "run/fatal.h"
#include "run/run.h"

namespace tz {

const char* const kMessageTexts[kMsgCount] = {
#define TANZAKU_MSG_TEXT(name, text) text,
    TANZAKU_MESSAGES(TANZAKU_MSG_TEXT)
#undef TANZAKU_MSG_TEXT
};

namespace {

// Big5 bytes of the Taiwan labels.
constexpr char kBig5Name[] = "\xA6\x57\xA6\x72\xA1\x47";
constexpr char kBig5Colon[] = "\xA1\x47";
constexpr char kBig5Date[] = "\x20\xAE\xC9\xB6\xA1\xA1\x47";

std::string sj(const char* utf8) {
  return sjis_from_utf8(utf8);
}

void copy_row(char (&row)[16], std::string_view text) {
  size_t n = text.size() < 15 ? text.size() : 15;
  std::memcpy(row, text.data(), n);
  row[n] = '\0';
}

// Converts a slot from Shift_JIS to `code` within its room.
void convert_slot(Run& run, Slot& slot, int code) {
  if (slot.p) convert_code(run, slot.p, kSjis, code, slot.size);
}

}  // namespace

const char* store_const(Run& run, std::string_view text) {
  Stores& s = run.str;
  if (s.const_fill + text.size() > kConstStoreSize) {
    fatal(run, sj(kMessageTexts[static_cast<int>(Msg::const_overflow)]).c_str(), 401);
  }
  char* p = s.const_array + s.const_fill;
  std::memcpy(p, text.data(), text.size());
  p[text.size()] = '\0';
  s.const_fill += text.size() + 1;
  return p;
}

Slot store_vari(Run& run, std::string_view text, size_t size) {
  Stores& s = run.str;
  if (s.vari_fill + size > kVariStoreSize || text.size() >= size) {
    fatal(run, sj(kMessageTexts[static_cast<int>(Msg::vari_overflow)]).c_str(), 404);
  }
  Slot slot{s.vari_array + s.vari_fill, size};
  std::memcpy(slot.p, text.data(), text.size());
  slot.p[text.size()] = '\0';
  s.vari_fill += size;
  return slot;
}

void set_slot(Slot& slot, std::string_view text) {
  if (!slot.p || slot.size == 0) return;
  size_t n = text.size() < slot.size - 1 ? text.size() : slot.size - 1;
  std::memmove(slot.p, text.data(), n);
  slot.p[n] = '\0';
}

void copy_stores(const Stores& from, Stores& to) {
  static_assert(std::is_trivially_copyable_v<Stores> && std::is_standard_layout_v<Stores>);
  // Only the filled part of the variable store, and everything behind the two stores.
  std::memcpy(to.vari_array, from.vari_array, from.vari_fill);
  to.vari_fill = from.vari_fill;
  constexpr size_t kTail = offsetof(Stores, version);
  std::memcpy(reinterpret_cast<char*>(&to) + kTail, reinterpret_cast<const char*>(&from) + kTail,
              sizeof(Stores) - kTail);
  for (Slot Stores::*member :
       {&Stores::newline, &Stores::url_sep, &Stores::label_name, &Stores::label_name_off,
        &Stores::label_date, &Stores::label_date_off, &Stores::label_mail, &Stores::cut_note,
        &Stores::no_title_text, &Stores::broken_text, &Stores::log_store, &Stores::top_page,
        &Stores::thread_list, &Stores::machi, &Stores::rule_line, &Stores::body_indent,
        &Stores::body_break}) {
    const Slot& src = from.*member;
    Slot& dst = to.*member;
    if (src.p >= from.vari_array && src.p < from.vari_array + kVariStoreSize)
      dst.p = to.vari_array + (src.p - from.vari_array);
  }
}

const char* msg(const Run& run, Msg m) {
  const char* p = run.str.cmsg[static_cast<int>(m)];
  return p ? p : "";
}

void init_stores(Run& run) {
  Stores& s = run.str;
  s.version = store_const(run, "0.35f FIX");
  s.index_tag = store_const(run, "htmlindextag v1.1");
  s.comma_mark = store_const(run, sj("＠｀"));
  s.index_html = store_const(run, "index.html");
  s.index_html2 = store_const(run, "_index.html");
  s.index_stem = store_const(run, "");
  s.slash = store_const(run, "/");
  s.be_ranks[0] = store_const(run, sj("ラッキー賞"));
  s.be_ranks[1] = store_const(run, sj("ポイント特典"));
  s.be_ranks[2] = store_const(run, sj("株優プチ"));
  s.log_name = store_const(run, "tanzaku_log.txt");
  std::string marks;
  for (const char* mark :
       {"あぼーん", "あほーん", "移転したよ", "移転", "ヤバイ！", "削除", "停止", "停止2",
        "[ここ壊れています]", "[ここ壊れてます]", "N/A", "移転＆停止"}) {
    marks += sj(mark);
    marks += '\x01';
  }
  s.dead_marks = store_const(run, marks);
  for (size_t i = 0; i < marks.size(); ++i) {
    if (i == 0 || marks[i - 1] == '\x01') s.dead_first[static_cast<uint8_t>(marks[i])] = true;
  }

  for (int i = 0; i < kMsgCount; ++i) s.cmsg[i] = store_const(run, sj(kMessageTexts[i]));

  const char* schemes[] = {"http://", "https://", "ttp://", "ftp://"};
  for (int i = 0; i < 4; ++i) copy_row(s.scheme[i], schemes[i]);
  const char* charsets[] = {"Shift_JIS", "Shift_JIS", "EUC-JP", "UTF-8", "big5", ""};
  for (int i = 0; i < 6; ++i) copy_row(s.charset[i], charsets[i]);
  std::string days = sj("日月火水木金土");
  for (int i = 0; i < 7; ++i) copy_row(s.weekday[i], days.substr(i * 2, 2));

  s.newline = store_vari(run, "\r\n", 4);
  s.url_sep = store_vari(run, "/", 4);
}

void fill_empty_slots(Run& run) {
  Stores& s = run.str;
  for (Slot* slot :
       {&s.newline, &s.url_sep, &s.label_name, &s.label_name_off, &s.label_date, &s.label_date_off,
        &s.label_mail, &s.cut_note, &s.no_title_text, &s.broken_text, &s.log_store, &s.top_page,
        &s.thread_list, &s.machi, &s.rule_line, &s.body_indent, &s.body_break}) {
    if (!slot->p) *slot = store_vari(run, "", 512);
  }
}

void output_setup(Run& run) {
  Stores& s = run.str;
  run.paths.out_ext = ".txt";
  s.log_name = store_const(run, "tanzaku_log.txt");
  s.rule_line = store_vari(run, std::string(65, '-'), 80);
  s.body_indent = store_vari(run, "      ", 16);
  s.body_break = store_vari(run, "\r\n      ", 16);
  run.cmdm.sp = true;
  run.cmdm.st = false;
  run.cmdm.m |= 0x0001 | 0x1000 | 0x2000;
}

void select_strings(Run& run, int stage) {
  Stores& s = run.str;
  Sflg& f = run.sflg;
  if (stage == 0) {
    if (m_lf(run.cmdm)) set_slot(s.newline, "\n");
    set_slot(s.no_title_text, sj("(無題)"));
    return;
  }
  if (stage == 1) {
    set_bbs_name(run);
    return;
  }
  // Stage 2: the thread's codes are known.
  if (run.code_out > kSjis) convert_code(run, f.bbs_name, kSjis, run.code_out, kPathRoom);
  long key = static_cast<long>(bbs_code(f)) * 100 + f.k_abroad * 10 + run.code_out;
  if (key == s.strings_key) return;
  s.strings_key = key;

  set_slot(s.cut_note,
           m_short_links(run.cmdm) ? sj(" (%d行省略)") : sj("(%d行省略されました・・)"));
  std::string days = sj("日月火水木金土");
  for (int i = 0; i < 7; ++i) {
    std::string day = days.substr(i * 2, 2);
    if (run.code_out > kSjis) convert_code(run, day, kSjis, run.code_out, 16);
    copy_row(s.weekday[i], day);
  }
  switch (f.k_abroad) {
    case 1:
      set_slot(s.label_name, kBig5Name);
      set_slot(s.label_name_off, kBig5Colon);
      set_slot(s.label_date, kBig5Date);
      set_slot(s.label_date_off, " ");
      set_slot(s.label_mail, "");
      set_slot(s.no_title_text, "no title");
      set_slot(s.broken_text, "[Broken log]");
      break;
    case 2:
      set_slot(s.label_name, "Name: ");
      set_slot(s.label_name_off, ": ");
      set_slot(s.label_date, " date: ");
      set_slot(s.label_date_off, ": ");
      set_slot(s.label_mail, "");
      set_slot(s.no_title_text, "no title");
      set_slot(s.broken_text, "[Broken log]");
      break;
    default:
      set_slot(s.label_name, sj("名前："));
      set_slot(s.label_name_off, sj("："));
      set_slot(s.label_date, sj("投稿日："));
      set_slot(s.label_date_off, sj("："));
      set_slot(s.label_mail, "E-mail:");
      set_slot(s.no_title_text, sj("(無題)"));
      set_slot(s.broken_text, sj("[ここ壊れてます]"));
      break;
  }
  if (f.k_abroad == 0 && run.code_out > kSjis) {
    // Every vstr slot, the page words included: page_words writes them again only
    // when its own key changes, so pages made later may show them in code_out.
    for (Slot* slot : {&s.newline, &s.url_sep, &s.label_name, &s.label_name_off, &s.label_date,
                       &s.label_date_off, &s.label_mail, &s.cut_note, &s.no_title_text,
                       &s.broken_text, &s.log_store, &s.top_page, &s.thread_list, &s.machi}) {
      convert_slot(run, *slot, run.code_out);
    }
  }
}

void page_words(Run& run, int which) {
  Stores& s = run.str;
  int code = which == 1 ? run.code_list : run.code_tree;
  long key = static_cast<long>(which) * 1000 + run.sflg.k_abroad * 100 + run.code_list * 10 +
             run.code_tree;
  if (key == s.page_key) return;
  s.page_key = key;
  if (run.sflg.k_abroad == 2) {
    set_slot(s.log_store, "Log storage");
    set_slot(s.thread_list, "Thread list");
    set_slot(s.top_page, "Top page");
    return;
  }
  auto put = [&](Slot& slot, const char* utf8) {
    std::string text = sj(utf8);
    convert_code(run, text, kCodeAuto, code, slot.size);
    set_slot(slot, text);
  };
  put(s.thread_list, "スレッド一覧");
  put(s.log_store, "過去ログ倉庫");
  put(s.top_page, "トップページ");
  put(s.machi, "まちＢＢＳ");
}

}  // namespace tz
