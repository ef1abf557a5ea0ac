#include "run/console.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "../test_run.h"
#include "codes/convert.h"
#include "run/fatal.h"
#include "run/run.h"

namespace tz {
namespace {

std::string S(const char* utf8) {
  return sjis_from_utf8(utf8);
}

// A folder of its own under the test's temporary folder, removed at the end.
class TempFolder {
 public:
  TempFolder() {
    std::string pattern = testing::TempDir() + "tanzaku_console_XXXXXX";
    path_ = mkdtemp(pattern.data()) ? pattern + "/" : "";
  }
  ~TempFolder() {
    std::error_code ec;
    if (!path_.empty()) std::filesystem::remove_all(path_, ec);
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

std::unique_ptr<Run> make_run(const std::string& exe_dir) {
  auto run = make_test_run();
  run->cmdm.exe_dir = exe_dir;
  return run;
}

// Opens the log with /l, then sets the channels as a case wants them.
void open_log_as(Run& run, uint8_t conmode, uint8_t l_code) {
  run.cmdm.l = true;
  open_log(run);
  ASSERT_NE(run.log_fp, nullptr);
  run.cmdm.conmode = conmode;
  run.cmdm.l_code = l_code;
}

std::string close_log(Run& run) {
  std::fclose(run.log_fp);
  run.log_fp = nullptr;
  return read_file(run.cmdm.exe_dir + "tanzaku_log.txt");
}

TEST(FormatS, PlacesTheThreeStrings) {
  const struct {
    const char* format;
    const char* a;
    const char* b;
    const char* c;
    std::string out;
  } cases[] = {
      {"%s\n:%s", "p", "q", "r", "p\n:q"},       {"%s%s%s%s", "a", "b", "c", "abc"},
      {"100%% %d %s", "x", "", "", "100% %d x"}, {"end %", "", "", "", "end %"},
      {"%s", nullptr, nullptr, nullptr, ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(format_s(c.format, c.a, c.b, c.c), c.out) << c.format;
  }
}

TEST(OpenLog, ConmodeByOptionsAndLog) {
  const struct {
    const char* what;
    bool l;
    bool v;
    uint8_t ck;
    bool folder_exists;
    uint8_t conmode;
    bool l_after;
    bool log_open;
  } cases[] = {
      {"neither /l nor /v", false, false, 3, true, 1, false, false},
      {"/l alone", true, false, 0, true, 2, true, true},
      {"/l and /ck", true, false, 3, true, 0, true, true},
      {"/l and /v", true, true, 0, true, 2, true, true},
      {"/v alone", false, true, 0, true, 0, false, true},
      {"/l, no log", true, false, 0, false, 1, false, false},
      {"/l and /v, no log", true, true, 0, false, 0, false, false},
      {"/v, no log", false, true, 3, false, 0, false, false},
  };
  for (const auto& c : cases) {
    TempFolder dir;
    auto run = make_run(c.folder_exists ? dir.path() : dir.path() + "missing/");
    run->cmdm.l = c.l;
    run->cmdm.v = c.v;
    run->cmdm.ck = c.ck;
    open_log(*run);
    EXPECT_EQ(run->cmdm.conmode, c.conmode) << c.what;
    EXPECT_EQ(run->cmdm.l, c.l_after) << c.what;
    EXPECT_EQ(run->log_fp != nullptr, c.log_open) << c.what;
    if (run->log_fp) std::fclose(run->log_fp);
    EXPECT_EQ(std::filesystem::exists(dir.path() + "tanzaku_log.txt"), c.log_open) << c.what;
  }
}

TEST(Say, ChannelsByConmode) {
  const std::string console = "logs/a.dat\n:0バイトのファイルです。\r\n";
  const std::string log = S("logs/a.dat :0バイトのファイルです。\r\n");
  const struct {
    const char* what;
    uint8_t conmode;
    bool st;
    std::string console, log;
  } cases[] = {
      {"console and log", 0, false, console, log},
      {"console only", 1, false, console, ""},
      {"log only", 2, false, "", log},
      {"/st silences both", 0, true, "", ""},
  };
  for (const auto& c : cases) {
    TempFolder dir;
    auto run = make_run(dir.path());
    open_log_as(*run, c.conmode, 0);
    run->cmdm.st = c.st;
    testing::internal::CaptureStdout();
    say(*run, msg(*run, Msg::zero_byte), "logs/a.dat");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), c.console) << c.what;
    EXPECT_EQ(close_log(*run), c.log) << c.what;
  }
}

TEST(Say, NoLogFileMeansConsoleOnly) {
  TempFolder dir;
  auto run = make_run(dir.path());
  run->cmdm.conmode = 2;  // log only, but no log could be opened
  testing::internal::CaptureStdout();
  say(*run, "%s\r\n", "x");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(ConPrint, ConvertsToTheConsoleCode) {
  const std::string sjis = S("注意:あ.datは既に存在します。");
  const std::string utf8 = "注意:あ.datは既に存在します。";
  const std::string euc =
      "\xC3\xED\xB0\xD5:\xA4\xA2.dat\xA4\xCF\xB4\xFB\xA4\xCB\xC2\xB8\xBA\xDF"
      "\xA4\xB7\xA4\xDE\xA4\xB9\xA1\xA3";
  const struct {
    const char* what;
    int con_code;
    std::string text, out;
  } cases[] = {
      {"Shift_JIS console", kSjis, sjis, sjis},
      {"Shift_JIS console takes UTF-8 as it is", kSjis, utf8, utf8},
      {"UTF-8 console", kUtf8, sjis, utf8},
      {"UTF-8 console, UTF-8 text", kUtf8, utf8, utf8},
      {"UTF-8 console, EUC-JP text", kUtf8, euc, utf8},
      {"EUC-JP console", kEuc, sjis, euc},
      {"EUC-JP console, UTF-8 text", kEuc, utf8, euc},
      {"EUC-JP console, EUC-JP text", kEuc, euc, euc},
  };
  auto run = make_run("");
  for (const auto& c : cases) {
    run->con_code = c.con_code;
    testing::internal::CaptureStdout();
    con_print(*run, "%s", c.text.c_str());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), c.out) << c.what;
  }
  run->con_code = kSjis;
  testing::internal::CaptureStdout();
  con_print(*run, S("%d個のスレッドを変換しました。\r\n").c_str(), 12);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), S("12個のスレッドを変換しました。\r\n"));
}

TEST(Say, LogCodeFromBElseA) {
  const std::string title_utf8 = "あ";
  const std::string title_euc = "\xA4\xA2";
  const struct {
    const char* what;
    uint8_t l_code;
    std::string format, a, b, c, log;
  } cases[] = {
      {"message to UTF-8", kUtf8, S("%s\n:ファイルの作成に失敗しました。\r\n"), "x.txt", "", "",
       "x.txt :ファイルの作成に失敗しました。\r\n"},
      {"message to EUC-JP", kEuc, S("%s\n:"), S("あ"), "", "", "\xA4\xA2 :"},
      {"Shift_JIS log writes as it comes", kSjis, "%s|%s", S("あ"), title_utf8, "",
       S("あ") + "|" + title_utf8},
      {"code of b decides", kEuc, "%s => %s\r", "a.dat", title_utf8, "", "a.dat => \xA4\xA2\r"},
      {"code of a when b says Shift_JIS", kUtf8, "%s|%s", title_euc, "b", "", "あ|b"},
      // c is taken for the code of a: its Shift_JIS bytes are no UTF-8 and are swept.
      {"c follows a", kUtf8, "%s|%s|%s", title_utf8, "", S("あ"), "あ||  "},
  };
  for (const auto& c : cases) {
    TempFolder dir;
    auto run = make_run(dir.path());
    open_log_as(*run, 2, c.l_code);
    say(*run, c.format.c_str(), c.a.c_str(), c.b.c_str(), c.c.c_str());
    EXPECT_EQ(close_log(*run), c.log) << c.what;
  }
}

TEST(Say, CopiesForTheLogAreCutAt1024Bytes) {
  const std::string long_path(2000, 'x');
  for (uint8_t l_code : {uint8_t{0}, uint8_t{kUtf8}}) {
    TempFolder dir;
    auto run = make_run(dir.path());
    open_log_as(*run, 2, l_code);
    say(*run, "%s!", long_path.c_str());
    size_t kept = l_code ? 1023 : 2000;
    EXPECT_EQ(close_log(*run), std::string(kept, 'x') + "!") << int{l_code};
  }
}

TEST(Fatal, StopsWithItsNumberInTheLog) {
  TempFolder dir;
  auto run = make_run(dir.path());
  open_log_as(*run, 2, 0);
  EXPECT_EXIT(fatal(*run, msg(*run, Msg::buffer_overflow), 998), testing::ExitedWithCode(6), "");
  EXPECT_EQ(read_file(dir.path() + "tanzaku_log.txt"),
            "buffer_overflow\r\n" + S("強制終了します。(998)\r\n"));
  std::fclose(run->log_fp);
}

TEST(Fatal, SilentUnderSlashStButStillStops) {
  TempFolder dir;
  auto run = make_run(dir.path());
  open_log_as(*run, 0, 0);
  run->cmdm.st = true;
  EXPECT_EXIT(fatal(*run, "x\r\n", "135"), testing::ExitedWithCode(6), "");
  EXPECT_EQ(read_file(dir.path() + "tanzaku_log.txt"), "");
  std::fclose(run->log_fp);
}

TEST(LeaveRun, FolderOfTheRunInInidir) {
  const struct {
    const char* what;
    uint8_t v_mode;
    std::string path;
    int flag;
    int status;
    bool src_null;
    std::string written;
  } cases[] = {
      {"folder 3 is log", 1, "/h/u/log/srv/board/1.dat", 0, 0, false, "/h/u/log/\r\n"},
      {"folder 3 is .navi2ch", 1, "/h/.navi2ch/srv/board/1.dat", 0, 0, false, "/h/.navi2ch/\r\n"},
      {"folder 4 is Logs", 1, "/h/Logs/x/srv/board/1.dat", 0, 0, false, "/h/Logs/\r\n"},
      {"folder 4 wins over folder 3", 1, "/h/dat/Cache/srv/board/1.dat", 0, 0, false,
       "/h/dat/\r\n"},
      {"server with two dots", 1, "/h/u/news.2ch.net/board/1.dat", 1, 0, false, "/h/u/\r\n"},
      {"two dots but board unknown", 1, "/h/u/news.2ch.net/board/1.dat", 0, 0, false,
       "/h/u/news.2ch.net/\r\n"},
      {"one dot", 1, "/h/u/example.net/board/1.dat", 1, 0, false, "/h/u/example.net/\r\n"},
      {"two dots, no folder 3", 1, "/news.2ch.net/board/1.dat", 1, 0, false, "/news.2ch.net/\r\n"},
      {"too short for folder 2", 1, "/board/1.dat", 0, 0, false, "\r\n"},
      {"empty path", 1, "", 0, 0, false, "\r\n"},
      {"output root", 2, "/h/u/log/srv/board/1.dat", 0, 0, false, "/out/\r\n"},
      {"nothing converted", 1, "/h/u/log/srv/board/1.dat", 0, 2, false, ""},
      {"nothing converted from NUL", 1, "/h/u/log/srv/board/1.dat", 0, 2, true, "/h/u/log/\r\n"},
      {"refused command line", 2, "", 0, 1, false, ""},
  };
  for (const auto& c : cases) {
    TempFolder dir;
    auto run = make_run(dir.path());
    run->cmdm.v_mode = c.v_mode;
    run->cmdm.src_null = c.src_null;
    run->paths.out_root = "/out/";
    leave_run(*run, c.path, c.flag, c.status);
    EXPECT_EQ(read_file(dir.path() + "inidir.txt"), c.written) << c.what;
  }
}

TEST(LeaveRun, InidirUntouchedWithoutSlashV) {
  TempFolder dir;
  auto run = make_run(dir.path());
  std::ofstream(dir.path() + "inidir.txt") << "kept\r\n";
  leave_run(*run, "/h/u/log/srv/board/1.dat", 0, 0);
  EXPECT_EQ(read_file(dir.path() + "inidir.txt"), "kept\r\n");
}

}  // namespace
}  // namespace tz
