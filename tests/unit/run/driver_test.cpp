#include "run/driver.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "../cmdline/cmdline_fixture.h"
#include "../test_run.h"
#include "cmdline/parser.h"
#include "codes/convert.h"
#include "platform/os.h"
#include "run/console.h"
#include "run/run.h"

namespace tz {
namespace {

namespace fs = std::filesystem;
using testing_cmdline::ScopedEnv;
using testing_cmdline::TempDir;

struct Ran {
  int status = -1;
  std::string out;  // the console, UTF-8 under LC_ALL=C
};

// The whole program as main runs it, with the console captured and no pauses.
Ran run_tanzaku(std::vector<std::string> args) {
  Ran r;
  auto run = std::make_unique<Run>();
  init_run(*run);
  run->waits = false;
  std::string prog = "tanzaku";
  std::vector<char*> argv{prog.data()};
  for (std::string& a : args) argv.push_back(a.data());
  ::testing::internal::CaptureStdout();
  int parsed = parse_command_line(*run, static_cast<int>(argv.size()), argv.data());
  if (parsed == 2) {
    leave_run(*run, "", 0, 2);
    r.status = 1;
  } else {
    r.status = run_batch(*run, parsed);
  }
  os::flush_stdout();
  r.out = ::testing::internal::GetCapturedStdout();
  return r;
}

// A log of two posts in Shift_JIS, its title on the first line.
std::string log_text(const std::string& title) {
  return sjis_from_utf8("名無しさん<><>2006/01/01(日) 12:00:00 ID:a<>本文<>" + title +
                        "\n名無しさん<>sage<>2006/01/02(月) 12:00:00 ID:b<>返事<>\n");
}

void put(const std::string& path, const std::string& bytes) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << bytes;
}

std::string summary(int threads) {
  return "0個のインデックスファイルを作成しました。\r\n" + std::to_string(threads) +
         "個のスレッドを変換しました。\r\n";
}

class DriverTest : public ::testing::Test {
 protected:
  void SetUp() override { dir_.mkdir("out"); }
  std::string at(const std::string& rel) const { return dir_.at(rel); }

  TempDir dir_;
  ScopedEnv home_{"TANZAKU_HOME", dir_.at("home").c_str()};
};

TEST_F(DriverTest, WalkPassesOverWhatItCannotRead) {
  put(at("logs/a/x.dat"), log_text("読める"));
  put(at("logs/locked/y.dat"), log_text("読めないフォルダ"));
  put(at("logs/z.dat"), log_text("読めないファイル"));
  ::chmod(at("logs/locked").c_str(), 0);
  ::chmod(at("logs/z.dat").c_str(), 0);
  DIR* probe = ::opendir(at("logs/locked").c_str());
  if (probe) {
    ::closedir(probe);
    ::chmod(at("logs/locked").c_str(), 0755);
    GTEST_SKIP() << "permissions don't bind this user";
  }
  Ran r = run_tanzaku({"/s", at("logs/*.dat"), at("out")});
  ::chmod(at("logs/locked").c_str(), 0755);
  // The folder that can't be read counts as empty; the file that can't be opened is
  // a message, and the run goes on.
  EXPECT_EQ(r.out, "\r\n" + at("logs/a/") + "\r\nx.dat => x.txt title:読める\n\r\n" +
                       at("logs/z.dat") + "  :ファイルを開けません.\r\n" + summary(1));
  EXPECT_EQ(r.status, 0);
  EXPECT_TRUE(fs::exists(at("out/a/x.txt")));
  EXPECT_FALSE(fs::exists(at("out/locked")));
}

TEST_F(DriverTest, NamesThatAreNoUtf8AreWalkedAndKept) {
  // Names in Shift_JIS bytes, as an old archive brings them; the console can't tell
  // their characters and shows what it can.
  const std::string folder = "d\x82\xa0";
  const std::string file = "b\xff";
  put(at("logs/" + file + ".dat"), log_text("壊れた名前"));
  put(at("logs/" + folder + "/c.dat"), log_text("壊れたフォルダ"));
  Ran r = run_tanzaku({"/s", at("logs/*.dat"), at("out")});
  EXPECT_EQ(r.out, "\r\n" + at("logs/") + "\r\nb?.dat => b?.txt title:壊れた名前\n\r\n" +
                       at("logs/d?"
                          "?/") +
                       "\r\nc.dat => c.txt title:壊れたフォルダ\n\r\n" + summary(2));
  EXPECT_EQ(r.status, 0);
  EXPECT_TRUE(fs::exists(at("out/" + file + ".txt")));
  EXPECT_TRUE(fs::exists(at("out/" + folder + "/c.txt")));
}

TEST_F(DriverTest, ConsoleAndLogByLAndV) {
  put(at("logs/x.dat"), log_text("題"));
  put(at("home/.keep"), "");
  const std::string line = "x.dat => x.txt title:題";
  const std::string plain = "\r\n" + line + "\n" + summary(1);
  struct Case {
    const char* name;
    std::vector<std::string> options;
    bool home;        // the program's folder exists, so the log can be made
    std::string con;  // UTF-8
    std::string log;  // UTF-8 here, Shift_JIS on disk; "-" no log file
  } cases[] = {
      {"/l alone silences the console", {"/l"}, true, "", "\r\n" + line + "\r\n" + summary(1)},
      {"/l with /ck writes both",
       {"/l", "/ck=UTF8"},
       true,
       plain,
       "\r\n" + line + "\r\n" + summary(1)},
      {"/l and /v: the console gets its own words alone",
       {"/l", "/v", "/s"},
       true,
       "フォルダを検索中です。しばらくお待ちください。\r\n変換中です．．．．．．\r\n",
       "\r\n変換を開始します\r\n" + at("logs/") + "\r\n" + line + "\r\n\r\n" + summary(1)},
      {"/l without a log falls back to the console", {"/l"}, false, plain, "-"},
      {"/l and /v without a log: /l is off, so no word of its own",
       {"/l", "/v"},
       false,
       "\r\n変換を開始します\r\n" + line + "\n" + summary(1) + "変換が完了しました\r\n",
       "-"},
      {"/v without a log keeps the console",
       {"/v"},
       false,
       "\r\n変換を開始します\r\n" + line + "\n" + summary(1) + "変換が完了しました\r\n",
       "-"},
  };
  int run_no = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    fs::remove(at("home/tanzaku_log.txt"));
    // A fresh destination each time, so that no output exists before.
    std::string out = dir_.mkdir("out" + std::to_string(++run_no));
    ScopedEnv home("TANZAKU_HOME", c.home ? at("home").c_str() : at("nosuch").c_str());
    std::vector<std::string> args = c.options;
    args.push_back(at("logs/*.dat"));
    args.push_back(out);
    Ran r = run_tanzaku(args);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, c.con);
    if (c.log == "-") {
      EXPECT_FALSE(fs::exists(at("home/tanzaku_log.txt")));
    } else {
      EXPECT_EQ(read_file(at("home/tanzaku_log.txt")), sjis_from_utf8(c.log));
    }
  }
}

TEST_F(DriverTest, InidirIsEmptiedByARunThatConvertsNothing) {
  put(at("logs/x.dat"), log_text("題"));
  ScopedEnv home("TANZAKU_HOME", dir_.mkdir("home").c_str());
  struct Case {
    std::vector<std::string> args;
    int status;
    std::string con;
  } cases[] = {
      {{"/v=o", "/s", at("logs/*.zzz"), at("out")},
       2,
       "\r\n変換を開始します\r\nフォルダを検索中です。しばらくお待ちください。\r\n"
       "変換対象ファイルが見つかりませんでした。\r\n"},
      {{"/v=o", at("logs/nosuch.dat")}, 1, at("logs/nosuch.dat") + ":入力ファイルを開けません。\n"},
  };
  for (const Case& c : cases) {
    put(at("home/inidir.txt"), "/somewhere/\r\n");
    Ran r = run_tanzaku(c.args);
    EXPECT_EQ(r.status, c.status);
    EXPECT_EQ(r.out, c.con);
    EXPECT_TRUE(fs::exists(at("home/inidir.txt")));
    EXPECT_EQ(read_file(at("home/inidir.txt")), "");
  }
}

TEST_F(DriverTest, TotalsComeWithAThousandThreads) {
  struct Case {
    int threads;
    const char* option;  // "" none
    bool totals;
  } cases[] = {
      {999, "", false},
      {1000, "", true},
      {1000, "/o=081B1E", false},  // the receiving side unexamined: no sizes, time only
  };
  int run_no = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.threads);
    std::string logs = "logs" + std::to_string(++run_no) + "/";
    std::string out = dir_.mkdir("out" + std::to_string(run_no));
    long long read_total = 0;
    for (int i = 0; i < c.threads; ++i) {
      std::string text = log_text("スレ" + std::to_string(i));
      read_total += static_cast<long long>(text.size());
      put(at(logs + std::to_string(i) + ".dat"), text);
    }
    std::vector<std::string> args;
    if (*c.option) args.push_back(c.option);
    args.push_back(at(logs + "*.dat"));
    args.push_back(out);
    Ran r = run_tanzaku(args);
    EXPECT_EQ(r.status, 0);
    long long write_total = 0;
    for (const auto& e : fs::directory_iterator(out))
      write_total += static_cast<long long>(e.file_size());
    std::string tail = summary(c.threads);
    if (c.totals)
      tail += "総読み込みファイルサイズ：" + std::to_string(read_total) + " bytes\r\n" +
              "総書き込みファイルサイズ：" + std::to_string(write_total) + " bytes\r\n";
    size_t at_tail = r.out.find(tail);
    ASSERT_NE(at_tail, std::string::npos);
    std::string rest = r.out.substr(at_tail + tail.size());
    if (c.threads >= 1000)
      EXPECT_TRUE(rest.starts_with("経過時間：") && rest.ends_with(" 秒\r\n")) << rest;
    else
      EXPECT_EQ(rest, "");
  }
}

}  // namespace
}  // namespace tz
