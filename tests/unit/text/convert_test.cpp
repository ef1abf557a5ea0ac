#include "text/convert.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "place/output.h"
#include "platform/os.h"
#include "text/head_foot.h"
#include "text_fixture.h"

namespace tz {
namespace {

using testing::make_text_run;
using testing::ready_strings;
using testing::sj;

constexpr uint32_t kDefault = 0x3001;
constexpr uint32_t kNoTitle = 1u << 3;
constexpr uint32_t kFoot = 1u << 6;
const std::string kRule(65, '-');

// A folder of our own below the temporary folder, removed with its files.
struct TempDir {
  std::string path;
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tz_text_XXXXXX").string();
    path = mkdtemp(pattern.data()) ? pattern + "/" : "";
  }
  ~TempDir() {
    std::error_code ec;
    if (!path.empty()) std::filesystem::remove_all(path, ec);
  }
};

// Runs `write` with the output open on a file of our own; returns what reached it.
template <typename Write>
std::string captured(Run& run, Write write) {
  TempDir dir;
  const std::string path = dir.path + "out.txt";
  EXPECT_TRUE(open_file_for(run, path));
  write();
  close_output(run, false, 0);
  return read_file(path);
}

void load_log(Run& run, std::string_view log) {
  run.log.sfile.assign(log.data(), log.size());
  run.log.len = log.size();
  run.log.log_first = 0;
}

// Converts `log` into a temporary file; returns its bytes and the result in `*posts`.
std::string convert_to_bytes(Run& run, std::string_view log, int* posts = nullptr) {
  load_log(run, log);
  Times times;
  int n = 0;
  std::string bytes = captured(run, [&] { n = convert_thread(run, 0, 0, times); });
  if (posts) *posts = n;
  return bytes;
}

// A post block under the default settings (Shift_JIS from UTF-8).
std::string block(int no, std::string_view name, std::string_view mail, std::string_view body) {
  std::string mail_part = mail.empty() ? "" : "E-mail:" + std::string(mail) + " ";
  return sj(std::to_string(no) + " 名前：" + std::string(name) + " " + mail_part + "：D\r\n      " +
            std::string(body) + "\r\n\r\n");
}

std::string plain_line(std::string_view body) {
  return "n<><>D<>" + std::string(body) + "<>\n";
}
std::string numbered_line(int no, std::string_view body) {
  return std::to_string(no) + "<>" + plain_line(body);
}

TEST(ConvertThread, WorkedExample) {
  auto run = make_text_run();
  run->brd[0].name = sj("ニュース速報");
  run->sflg.thread_url = "http://news.example.jp/test/read.cgi/news/1136041200/";
  run->sflg.key = 1136041200;
  run->sflg.tname = sj("スレッドの題名");
  ready_strings(*run);
  const std::string log =
      sj("名無しさん<><>2006/01/01(日) 00:00:00 ID:abcdefg0<> 本文の一行目 <br> 本文の二行目 "
         "<>スレッドの題名\n"
         "名無しさん<>sage<>2006/01/01(日) 12:34:56 ID:abcdefg0<> 一行目 <br> <a "
         "href=\"../test/read.cgi/news/1136041200/1\" target=\"_blank\">&gt;&gt;1</a> は &amp; "
         "<br> 三行目 <>\n");
  int posts = 0;
  EXPECT_EQ(convert_to_bytes(*run, log, &posts),
            sj("掲示板名：ニュース速報\thttp://news.example.jp/test/read.cgi/news/1136041200/\r\n"
               "\r\n"
               "スレッドの題名\r\n\r\n"
               "1 名前：名無しさん ：2006/01/01(日) 00:00:00 ID:abcdefg0\r\n"
               "      本文の一行目\r\n      本文の二行目\r\n\r\n"
               "2 名前：名無しさん E-mail:sage ：2006/01/01(日) 12:34:56 ID:abcdefg0\r\n"
               "      一行目\r\n      >>1 は &\r\n      三行目\r\n\r\n"));
  EXPECT_EQ(posts, 2);
}

TEST(ConvertThread, PostBlock) {
  const std::string big5_name = "\xA6\x57\xA6\x72\xA1\x47";
  const std::string big5_date = "\x20\xAE\xC9\xB6\xA1\xA1\x47";
  struct Case {
    const char* what;
    uint32_t m;
    std::string line;  // one log line, without its line feed
    std::string want;  // the bytes of the file
    uint8_t k_machi = 0;
    uint8_t k_abroad = 0;
    bool sp = true;
  } cases[] = {
      {"default", kDefault, sj("名無し<>sage<>D<>本文<>"),
       sj("1 名前：名無し E-mail:sage ：D\r\n      本文\r\n\r\n")},
      {"name label off", 0x3000, sj("名無し<>sage<>D<>本文<>"),
       sj("1 ：名無し E-mail:sage ：D\r\n      本文\r\n\r\n")},
      {"date label on", kDefault | 2, sj("名無し<>sage<>D<>本文<>"),
       sj("1 名前：名無し E-mail:sage 投稿日：D\r\n      本文\r\n\r\n")},
      {"mail direct", kDefault | 4, sj("名無し<>sage<>D<>本文<>"),
       sj("1 名前：名無し [sage] ：D\r\n      本文\r\n\r\n")},
      {"mail direct, empty", kDefault | 4, sj("名無し<><>D<>本文<>"),
       sj("1 名前：名無し [] ：D\r\n      本文\r\n\r\n")},
      {"machi 1", kDefault, sj("n<><>D<>b<>"), sj("1 名前：n ： D\r\n      b\r\n\r\n"), 1},
      {"machi 2 ends the body at its last blank", kDefault, "n<><>D<>a <br> b <br><br><>",
       sj("1 名前：n ：D\r\n      a\r\n      b\r\n\r\n"), 2},
      {"machi 3 puts the host in brackets", kDefault, "n<><>2006/01/01 00:00 ID:x host<>b<>",
       sj("1 名前：n ：2006/01/01 00:00 ID:x [host]\r\n      b\r\n\r\n"), 3},
      {"world", kDefault, "n<>m<>D<>b<>t<>en", "1 Name: n m : D By English\r\n      b\r\n\r\n", 0,
       2},
      {"taiwan", kDefault | 2, "n<><>D<>b<>",
       "1 " + big5_name + "n " + big5_date + "D\r\n      b\r\n\r\n", 0, 1},
      {"/sp", kDefault, "n<><>D<>a<br>b<>", sj("1 名前：n ：D\r\na\r\nb\r\n\r\n"), 0, 0, false},
      {"LF", kDefault | (1u << 10), "n<><>D<>a<br>b<>", sj("1 名前：n ：D\n      a\n      b\n\n")},
      {"line limit", kDefault | (2u << 24), "n<><>D<>a<br>b<br>c<>",
       sj("1 名前：n ：D\r\n      a\r\n      (2行省略されました・・)\r\n\r\n")},
      {"line limit 1", kDefault | (1u << 24), "n<><>D<>a<>",
       sj("1 名前：n ：D\r\n      (1行省略されました・・)\r\n\r\n")},
      {"line limit, short form", kDefault | (2u << 24) | (1u << 23), "n<><>D<>a<br>b<br>c<>",
       sj("1 名前：n ：D\r\n      a (2行省略)\r\n\r\n")},
      {"short links", kDefault | (1u << 23), "n<><>D<>see http://www.example.com/x ok<>",
       sj("1 名前：n ：D\r\n      see www.example.com ok\r\n\r\n")},
  };
  for (const Case& c : cases) {
    auto run = make_text_run(c.m | kNoTitle);
    run->sflg.k_machi = c.k_machi;
    run->sflg.k_abroad = c.k_abroad;
    run->cmdm.sp = c.sp;
    ready_strings(*run);
    EXPECT_EQ(convert_to_bytes(*run, c.line + "\n"), c.want) << c.what;
  }
}

TEST(ConvertThread, LinesThatAreNoPosts) {
  struct Case {
    const char* what;
    uint8_t subkind;
    std::string log;
    std::string want;
    int posts;
  } cases[] = {
      {"broken, empty and separator-less lines", 3,
       sj("n<><>D<>a<>t\nbroken<>x\n\nno separator\n<><><><>\nn<>m<>D<>f<>\nn<><>D<>no lf<>"),
       block(1, "n", "", "a") +
           sj("2 名前：[ここ壊れてます] ：[ここ壊れてます]\r\n      [ここ壊れてます]\r\n\r\n") +
           block(6, "n", "m", "f"),
       6},
      {"numbered 1, 2, 5", 4,
       numbered_line(1, "a") + numbered_line(2, "b") + numbered_line(5, "c") +
           numbered_line(6, "d"),
       block(1, "n", "", "a") + block(2, "n", "", "b") + block(5, "n", "", "c") +
           block(6, "n", "", "d"),
       6},
      {"numbered 1, 2, 2", 4, numbered_line(1, "a") + numbered_line(2, "b") + numbered_line(2, "c"),
       block(1, "n", "", "a") + block(2, "n", "", "b") + block(3, "n", "", "c"), 3},
      {"numbered, 3 separators", 4, numbered_line(1, "a") + "2<>n<><>D\n",
       block(1, "n", "", "a") +
           sj("2 名前：[ここ壊れてます] ：[ここ壊れてます]\r\n      [ここ壊れてます]\r\n\r\n"),
       2},
      {"nothing at all", 3, "", "", 0},
  };
  for (const Case& c : cases) {
    auto run = make_text_run(kDefault | kNoTitle);
    run->sflg.subkind = c.subkind;
    ready_strings(*run);
    int posts = -1;
    EXPECT_EQ(convert_to_bytes(*run, c.log, &posts), c.want) << c.what;
    EXPECT_EQ(posts, c.posts) << c.what;
  }
}

TEST(ConvertThread, TitleAndFootWithoutPosts) {
  auto run = make_text_run(kDefault | kFoot);
  run->sflg.tname = "T";
  run->sflg.fsize_kb = 123;
  ready_strings(*run);
  int posts = -1;
  EXPECT_EQ(convert_to_bytes(*run, "just a head line\n", &posts),
            "T\r\n\r\n" + kRule + "\r\n[123 KB]\r\n");
  EXPECT_EQ(posts, 1);
}

TEST(ConvertThread, ExcerptOfPostOne) {
  auto run = make_text_run(kDefault | kNoTitle);
  run->cmdm.i_first = 1;
  ready_strings(*run);
  convert_to_bytes(*run, plain_line("a<br>b") + plain_line("c"));
  EXPECT_EQ(run->excerpt, sj("名前：<font color=green><b>n</b>[] ：D<br>a <br>       b<br>"));

  // The index alone reads post 1 and writes nothing.
  auto list = make_text_run(kDefault);
  list->cmdm.i_first = 1;
  ready_strings(*list);
  load_log(*list, plain_line("x") + plain_line("y"));
  Times times;
  EXPECT_EQ(convert_thread(*list, 1, 1, times), 1);
  EXPECT_EQ(list->excerpt, sj("名前：<font color=green><b>n</b>[] ：D<br>x<br>"));
}

TEST(ThreadHead, Pieces) {
  const std::string url = "http://x.example/test/read.cgi/b/1136041200/";
  struct Case {
    const char* what;
    uint32_t m;
    std::string board;
    std::string url;
    int32_t key;
    std::string want;
    uint8_t k_abroad = 0;
    uint8_t k_machi = 0;
    uint8_t code_out = kSjis;
  } cases[] = {
      {"both", kDefault, sj("板"), url, 1, sj("掲示板名：板\t") + url + "\r\n\r\n"},
      {"digit 4 = 0", 0x0001, sj("板"), url, 1, ""},
      {"address alone", 0x2001, sj("板"), url, 1, url + "\r\n\r\n"},
      {"no address", kDefault, sj("板"), "", 1, sj("掲示板名：板\r\n\r\n")},
      {"no key", kDefault, sj("板"), url, 0, sj("掲示板名：板\r\n\r\n")},
      {"abroad opens with a TAB", kDefault, "b", url, 1, "\t" + url + "\r\n\r\n", 2},
      {"machi", kDefault, sj("板"), "", 1, sj("掲示板名：まちＢＢＳ板\r\n\r\n"), 0, 1},
      {"UTF-8", kDefault, sj("ニュース速報"), "", 1, "掲示板名：ニュース速報\r\n\r\n", 0, 0, kUtf8},
  };
  for (const Case& c : cases) {
    auto run = make_text_run(c.m);
    run->brd[0].name = c.board;
    run->sflg.thread_url = c.url;
    run->sflg.key = c.key;
    run->sflg.k_abroad = c.k_abroad;
    run->sflg.k_machi = c.k_machi;
    run->code_out = c.code_out;
    EXPECT_EQ(captured(*run, [&] { write_thread_head(*run); }), c.want) << c.what;
  }
}

// A split thread of `posts` posts into pieces of `d`, written below `dir`.
struct Split {
  std::unique_ptr<Run> run = make_text_run(kDefault | kFoot);
  TempDir dir;
  int result = 0;

  Split(int posts, int d, int pieces, const std::vector<std::string>& names, int64_t src_time) {
    Run& r = *run;
    r.sflg.tname = "T";
    r.sflg.fsize_kb = 1;
    r.cmdm.d = d;
    r.sflg.pieces = pieces;
    r.sflg.piece = 1;
    ready_strings(r);
    r.paths.src_path = dir.path + "src.dat";
    std::ofstream(r.paths.src_path) << "x";
    os::set_file_times(r.paths.src_path, src_time, src_time);
    r.paths.dst_path = dir.path;
    r.dfile_div = names;
    r.paths.out_name = names[0];
    r.paths.out_path = dir.path + names[0];
    open_file_for(r, r.paths.out_path);
    std::string log;
    for (int i = 1; i <= posts; ++i) log += plain_line(std::to_string(i));
    load_log(r, log);
    Times times;
    result = convert_thread(r, 0, 0, times);
    close_output(r, false, 0);
  }
  std::string piece(const std::string& name) const { return read_file(dir.path + name); }
};

std::string piece_text(int from, int to) {
  std::string text = "T\r\n\r\n";
  for (int i = from; i <= to; ++i) text += block(i, "n", "", std::to_string(i));
  return text + kRule + "\r\n[1 KB]\r\n";
}

TEST(NextPiece, SplitsByPostCount) {
  Split s(5, 2, 3, {"t_01.txt", "t_02.txt", "t_03.txt"}, 1000000000);
  EXPECT_EQ(s.result, 5);
  EXPECT_EQ(s.piece("t_01.txt"), piece_text(1, 2));
  EXPECT_EQ(s.piece("t_02.txt"), piece_text(3, 4));
  EXPECT_EQ(s.piece("t_03.txt"), piece_text(5, 5));
  // Every closed piece counts to the written total; those closed by the split take the
  // source's time.
  EXPECT_EQ(s.run->totals.wr_lo,
            static_cast<int64_t>(piece_text(1, 2).size() + piece_text(3, 4).size() +
                                 piece_text(5, 5).size()));
  for (const char* name : {"t_01.txt", "t_02.txt"}) {
    os::FileInfo info;
    ASSERT_TRUE(os::stat_path(s.dir.path + name, &info));
    EXPECT_EQ(info.mtime, 1000000000) << name;
  }
  EXPECT_EQ(s.run->paths.out_path, s.dir.path + "t_03.txt");
}

TEST(NextPiece, OnePieceAndEarlyTimes) {
  Split one(5, 10, 1, {"t_01.txt"}, 1000000000);
  EXPECT_EQ(one.piece("t_01.txt"), piece_text(1, 5));

  // A write time up to 843,264,000 is not trusted: the birth time stands in for it.
  Split early(2, 1, 2, {"e_01.txt", "e_02.txt"}, 800000000);
  os::FileInfo src, piece;
  ASSERT_TRUE(os::stat_path(early.run->paths.src_path, &src));
  ASSERT_TRUE(os::stat_path(early.dir.path + "e_01.txt", &piece));
  EXPECT_EQ(piece.mtime, src.birthtime);
}

TEST(NextPiece, PieceThatCannotBeMade) {
  Split s(5, 2, 3, {"t_01.txt", "no/such/t_02.txt", "t_03.txt"}, 1000000000);
  EXPECT_EQ(s.result, 2);
  EXPECT_EQ(s.run->sflg.pieces, -1);
  EXPECT_TRUE(s.run->dfile_div.empty());
  EXPECT_EQ(s.piece("t_01.txt"), piece_text(1, 2));
}

TEST(ConvertThread, StandardOutputShowsTheFileWithoutItsFoot) {
  const std::string log = plain_line("a<br>b") + plain_line("c");
  auto file = make_text_run(kDefault | kFoot);
  file->sflg.tname = "T";
  file->brd[0].name = "B";
  ready_strings(*file);
  const std::string bytes = convert_to_bytes(*file, log);

  auto st = make_text_run(kDefault | kFoot);
  st->sflg.tname = "T";
  st->brd[0].name = "B";
  st->cmdm.st = true;
  ready_strings(*st);
  load_log(*st, log);
  Times times;
  ::testing::internal::CaptureStdout();
  convert_thread(*st, 0, 0, times);
  os::flush_stdout();
  const std::string shown = ::testing::internal::GetCapturedStdout();
  const std::string foot = kRule + "\r\n[0 KB]\r\n";
  ASSERT_GT(bytes.size(), foot.size());
  EXPECT_EQ(bytes.substr(bytes.size() - foot.size()), foot);
  EXPECT_EQ(shown, bytes.substr(0, bytes.size() - foot.size()));

  // With /d every piece opens with head and title again; nothing goes to a file.
  st->cmdm.d = 1;
  st->sflg.pieces = 2;
  st->sflg.piece = 1;
  load_log(*st, log);
  ::testing::internal::CaptureStdout();
  convert_thread(*st, 0, 0, times);
  os::flush_stdout();
  const std::string head = sj("掲示板名：B\r\n\r\nT\r\n\r\n");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            head + block(1, "n", "", "a\r\n      b") + head + block(2, "n", "", "c"));
  EXPECT_FALSE(output_is_open(*st));
}

}  // namespace
}  // namespace tz
