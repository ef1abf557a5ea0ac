#include "run/stores.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "../test_run.h"
#include "codes/convert.h"
#include "run/run.h"

namespace tz {
namespace {

std::string S(const char* utf8) {
  return sjis_from_utf8(utf8);
}

// The messages go to standard output; in a death test it is sent to standard error,
// where the expected pattern is looked for.
void console_to_stderr() {
  dup2(2, 1);
}

TEST(Stores, ConstantsAndRowsInShiftJis) {
  auto run = make_test_run();
  const Stores& s = run->str;
  EXPECT_STREQ(s.version, "0.35f FIX");
  EXPECT_STREQ(s.comma_mark, "\x81\x97\x81\x4D");
  EXPECT_STREQ(s.log_name, "tanzaku_log.txt");
  std::string marks = s.dead_marks;
  EXPECT_EQ(std::count(marks.begin(), marks.end(), '\x01'), 12);
  EXPECT_EQ(marks.substr(0, marks.find('\x01')), S("あぼーん"));
  EXPECT_EQ(marks.substr(marks.rfind('\x01', marks.size() - 2) + 1), S("移転＆停止") + "\x01");
  EXPECT_STREQ(s.weekday[0], "\x93\xFA");
  EXPECT_STREQ(s.weekday[6], S("土").c_str());
  EXPECT_STREQ(s.charset[0], "Shift_JIS");
  EXPECT_STREQ(s.charset[4], "big5");
  EXPECT_STREQ(s.charset[5], "");
  EXPECT_STREQ(msg(*run, Msg::zero_byte), S("%s\n:0バイトのファイルです。\r\n").c_str());
  EXPECT_STREQ(msg(*run, Msg::buffer_overflow), "buffer_overflow\r\n");
}

TEST(Stores, SlotsAfterTheSetUp) {
  auto run = make_test_run();
  Stores& s = run->str;
  const struct {
    const char* what;
    const Slot& slot;
    size_t size;
    std::string value;
  } cases[] = {
      {"newline", s.newline, 4, "\r\n"},
      {"url_sep", s.url_sep, 4, "/"},
      {"label_name", s.label_name, 512, ""},
      {"broken_text", s.broken_text, 512, ""},
      {"machi", s.machi, 512, ""},
      {"rule_line", s.rule_line, 80, std::string(65, '-')},
      {"body_indent", s.body_indent, 16, "      "},
      {"body_break", s.body_break, 16, "\r\n      "},
  };
  for (const auto& c : cases) {
    ASSERT_NE(c.slot.p, nullptr) << c.what;
    EXPECT_EQ(c.slot.size, c.size) << c.what;
    EXPECT_EQ(c.slot.view(), c.value) << c.what;
  }
  EXPECT_EQ(run->paths.out_ext, ".txt");
  EXPECT_TRUE(m_name_label(run->cmdm));
  EXPECT_TRUE(m_head_board(run->cmdm));
  EXPECT_TRUE(m_head_url(run->cmdm));
}

// A copy of the strings is read by the converter's thread while the main thread
// rewrites its own: no slot of the copy may lead back into the store it came from.
TEST(Stores, CopyHasSlotsOfItsOwn) {
  auto from = make_test_run();
  select_strings(*from, 2);
  auto to = std::make_unique<tz::Run>();
  copy_stores(from->str, to->str);
  Stores& a = from->str;
  Stores& b = to->str;
  const struct {
    const char* what;
    Slot& in_from;
    Slot& in_copy;
  } slots[] = {
      {"newline", a.newline, b.newline},
      {"url_sep", a.url_sep, b.url_sep},
      {"label_name", a.label_name, b.label_name},
      {"label_name_off", a.label_name_off, b.label_name_off},
      {"label_date", a.label_date, b.label_date},
      {"label_date_off", a.label_date_off, b.label_date_off},
      {"label_mail", a.label_mail, b.label_mail},
      {"cut_note", a.cut_note, b.cut_note},
      {"no_title_text", a.no_title_text, b.no_title_text},
      {"broken_text", a.broken_text, b.broken_text},
      {"log_store", a.log_store, b.log_store},
      {"top_page", a.top_page, b.top_page},
      {"thread_list", a.thread_list, b.thread_list},
      {"machi", a.machi, b.machi},
      {"rule_line", a.rule_line, b.rule_line},
      {"body_indent", a.body_indent, b.body_indent},
      {"body_break", a.body_break, b.body_break},
  };
  std::vector<std::string> before;
  for (const auto& s : slots) before.emplace_back(s.in_from.view());
  for (const auto& s : slots) set_slot(s.in_from, "x");
  for (size_t i = 0; i < std::size(slots); ++i) {
    EXPECT_EQ(slots[i].in_copy.view(), before[i]) << slots[i].what;
    EXPECT_EQ(slots[i].in_copy.size, slots[i].in_from.size) << slots[i].what;
  }
  set_slot(b.label_name, "y");
  EXPECT_EQ(a.label_name.view(), "x");
  EXPECT_STREQ(msg(*to, Msg::zero_byte), msg(*from, Msg::zero_byte));
  EXPECT_STREQ(b.weekday[1], a.weekday[1]);
}

TEST(Stores, SetSlotCutsToTheSlot) {
  auto run = make_test_run();
  set_slot(run->str.newline, "abcdef");
  EXPECT_EQ(run->str.newline.view(), "abc");
}

TEST(Stores, ConstantStoreTakesExactlyItsSize) {
  auto run = std::make_unique<tz::Run>();
  run->waits = false;
  const char* p = store_const(*run, std::string(kConstStoreSize, 'x'));
  EXPECT_EQ(std::string(p).size(), kConstStoreSize);
  EXPECT_EXIT(
      {
        console_to_stderr();
        store_const(*run, "y");
      },
      testing::ExitedWithCode(6), "\\(401\\)");
}

TEST(Stores, ConstantStoreOverflowBeforeTheMessagesExist) {
  auto run = std::make_unique<tz::Run>();
  run->waits = false;
  EXPECT_EXIT(
      {
        console_to_stderr();
        store_const(*run, std::string(kConstStoreSize + 1, 'x'));
      },
      testing::ExitedWithCode(6), "強制終了します。\\(401\\)");
}

TEST(Stores, VariableStoreOverflows) {
  auto run = make_test_run();
  size_t left = kVariStoreSize - run->str.vari_fill;
  const struct {
    const char* what;
    size_t text;
    size_t size;
  } cases[] = {
      {"text as long as its slot", 16, 16},
      {"slot beyond the store", 0, left + 1},
  };
  for (const auto& c : cases) {
    EXPECT_EXIT(
        {
          console_to_stderr();
          store_vari(*run, std::string(c.text, 'x'), c.size);
        },
        testing::ExitedWithCode(6), "バッファがオーバーフローを起こしました。.*\\(404\\)")
        << c.what;
  }
  Slot last = store_vari(*run, std::string(15, 'x'), left);
  EXPECT_EQ(last.size, left);
  EXPECT_EQ(run->str.vari_fill, kVariStoreSize);
  EXPECT_EXIT(store_vari(*run, "", 1), testing::ExitedWithCode(6), "");
}

TEST(SelectStrings, StageZero) {
  for (bool lf : {false, true}) {
    auto run = make_test_run();
    if (lf) run->cmdm.m |= 1u << 10;
    select_strings(*run, 0);
    EXPECT_EQ(run->str.newline.view(), lf ? "\n" : "\r\n");
    EXPECT_EQ(run->str.no_title_text.view(), S("(無題)"));
  }
}

struct Labels {
  const char* what;
  uint8_t k_abroad;
  uint8_t code_out;
  std::string name, name_off, date, date_off, mail, no_title, broken, sunday;
};

TEST(SelectStrings, LabelsByLanguageAndCode) {
  const std::string big5_name = "\xA6\x57\xA6\x72\xA1\x47";
  const std::string big5_date = " \xAE\xC9\xB6\xA1\xA1\x47";
  const Labels cases[] = {
      {"Japanese in Shift_JIS", 0, kSjis, S("名前："), S("："), S("投稿日："), S("："),
       "E-mail:", S("(無題)"), S("[ここ壊れてます]"), S("日")},
      {"Japanese in UTF-8", 0, kUtf8, "名前：", "：", "投稿日：", "：", "E-mail:", "(無題)",
       "[ここ壊れてます]", "日"},
      {"Japanese in EUC-JP", 0, kEuc, "\xCC\xBE\xC1\xB0\xA1\xA7", "\xA1\xA7",
       "\xC5\xEA\xB9\xC6\xC6\xFC\xA1\xA7", "\xA1\xA7", "E-mail:", "(\xCC\xB5\xC2\xEA)",
       "[\xA4\xB3\xA4\xB3\xB2\xF5\xA4\xEC\xA4\xC6\xA4\xDE\xA4\xB9]", "\xC6\xFC"},
      {"Taiwan in Big5", 1, kBig5, big5_name, "\xA1\x47", big5_date, " ", "", "no title",
       "[Broken log]", S("日")},
      {"Taiwan labels stay Big5", 1, kUtf8, big5_name, "\xA1\x47", big5_date, " ", "", "no title",
       "[Broken log]", "日"},
      {"English in UTF-8", 2, kUtf8, "Name: ", ": ", " date: ", ": ", "", "no title",
       "[Broken log]", "日"},
      {"English in Shift_JIS", 2, kSjis, "Name: ", ": ", " date: ", ": ", "", "no title",
       "[Broken log]", S("日")},
  };
  for (const Labels& c : cases) {
    auto run = make_test_run();
    run->sflg.k_abroad = c.k_abroad;
    run->code_out = c.code_out;
    select_strings(*run, 2);
    const Stores& s = run->str;
    EXPECT_EQ(s.label_name.view(), c.name) << c.what;
    EXPECT_EQ(s.label_name_off.view(), c.name_off) << c.what;
    EXPECT_EQ(s.label_date.view(), c.date) << c.what;
    EXPECT_EQ(s.label_date_off.view(), c.date_off) << c.what;
    EXPECT_EQ(s.label_mail.view(), c.mail) << c.what;
    EXPECT_EQ(s.no_title_text.view(), c.no_title) << c.what;
    EXPECT_EQ(s.broken_text.view(), c.broken) << c.what;
    EXPECT_STREQ(s.weekday[0], c.sunday.c_str()) << c.what;
  }
}

TEST(SelectStrings, CutNote) {
  const struct {
    bool short_links;
    uint8_t code_out;
    std::string note;
  } cases[] = {
      {false, kSjis, S("(%d行省略されました・・)")},
      {true, kSjis, S(" (%d行省略)")},
      {false, kUtf8, "(%d行省略されました・・)"},
      {true, kEuc, " (%d\xB9\xD4\xBE\xCA\xCE\xAC)"},
  };
  for (const auto& c : cases) {
    auto run = make_test_run();
    if (c.short_links) run->cmdm.m |= 1u << 23;
    run->code_out = c.code_out;
    select_strings(*run, 2);
    EXPECT_EQ(run->str.cut_note.view(), c.note) << c.short_links << " " << int{c.code_out};
  }
}

TEST(SelectStrings, SameKeyLeavesTheSlotsButConvertsTheBoardName) {
  auto run = make_test_run();
  run->code_out = kUtf8;
  select_strings(*run, 2);
  set_slot(run->str.label_name, "x");
  run->sflg.bbs_name = S("２ちゃんねる");
  select_strings(*run, 2);
  EXPECT_EQ(run->str.label_name.view(), "x");
  EXPECT_EQ(run->sflg.bbs_name, "２ちゃんねる");
  run->sflg.k_pink = 1;  // another board kind: another key
  select_strings(*run, 2);
  EXPECT_EQ(run->str.label_name.view(), "名前：");
}

TEST(SelectStrings, PageWordsAreConvertedWhenTheKeyChanges) {
  auto run = make_test_run();
  run->code_list = kSjis;
  page_words(*run, 1);
  ASSERT_EQ(run->str.thread_list.view(), S("スレッド一覧"));
  run->code_out = kUtf8;
  select_strings(*run, 2);
  EXPECT_EQ(run->str.thread_list.view(), "スレッド一覧");
  EXPECT_EQ(run->str.machi.view(), "まちＢＢＳ");
  page_words(*run, 1);  // same key as before: left as select_strings made it
  EXPECT_EQ(run->str.thread_list.view(), "スレッド一覧");
}

TEST(PageWords, WordsByLanguageAndPageCode) {
  const struct {
    const char* what;
    int which;
    uint8_t k_abroad;
    uint8_t code_list;
    uint8_t code_tree;
    std::string thread_list, log_store, top_page, machi;
  } cases[] = {
      {"thread list in UTF-8", 1, 0, kUtf8, kSjis, "スレッド一覧", "過去ログ倉庫", "トップページ",
       "まちＢＢＳ"},
      {"tree pages in EUC-JP", 2, 0, kUtf8, kEuc,
       "\xA5\xB9\xA5\xEC\xA5\xC3\xA5\xC9\xB0\xEC\xCD\xF7",
       "\xB2\xE1\xB5\xEE\xA5\xED\xA5\xB0\xC1\xD2\xB8\xCB",
       "\xA5\xC8\xA5\xC3\xA5\xD7\xA5\xDA\xA1\xBC\xA5\xB8",
       "\xA4\xDE\xA4\xC1\xA3\xC2\xA3\xC2\xA3\xD3"},
      {"Taiwan in Shift_JIS", 1, 1, kSjis, kUtf8, S("スレッド一覧"), S("過去ログ倉庫"),
       S("トップページ"), S("まちＢＢＳ")},
      {"no page code", 2, 0, kUtf8, 0, S("スレッド一覧"), S("過去ログ倉庫"), S("トップページ"),
       S("まちＢＢＳ")},
      {"English leaves machi alone", 1, 2, kUtf8, kUtf8, "Thread list", "Log storage", "Top page",
       ""},
  };
  for (const auto& c : cases) {
    auto run = make_test_run();
    run->sflg.k_abroad = c.k_abroad;
    run->code_list = c.code_list;
    run->code_tree = c.code_tree;
    page_words(*run, c.which);
    EXPECT_EQ(run->str.thread_list.view(), c.thread_list) << c.what;
    EXPECT_EQ(run->str.log_store.view(), c.log_store) << c.what;
    EXPECT_EQ(run->str.top_page.view(), c.top_page) << c.what;
    EXPECT_EQ(run->str.machi.view(), c.machi) << c.what;
  }
}

TEST(PageWords, KeyOfWhichLanguageAndBothCodes) {
  auto run = make_test_run();
  run->code_list = kUtf8;
  run->code_tree = kSjis;
  page_words(*run, 1);
  set_slot(run->str.top_page, "x");
  page_words(*run, 1);
  EXPECT_EQ(run->str.top_page.view(), "x");
  page_words(*run, 2);
  EXPECT_EQ(run->str.top_page.view(), S("トップページ"));
  run->code_list = kEuc;  // the other page's code is part of the key too
  set_slot(run->str.top_page, "x");
  page_words(*run, 2);
  EXPECT_EQ(run->str.top_page.view(), S("トップページ"));
}

}  // namespace
}  // namespace tz
