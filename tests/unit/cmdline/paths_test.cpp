#include "cmdline/paths.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cmdline_fixture.h"
#include "codes/convert.h"

namespace tz {
namespace {

using testing_cmdline::parse;
using testing_cmdline::Parsed;
using testing_cmdline::ScopedEnv;
using testing_cmdline::TempDir;

// Runs the body with `dir` as the current folder.
class ScopedCwd {
 public:
  explicit ScopedCwd(const std::string& dir) : old_(os::current_dir()) {
    EXPECT_EQ(::chdir(dir.c_str()), 0);
  }
  ~ScopedCwd() { EXPECT_EQ(::chdir(old_.c_str()), 0); }

 private:
  std::string old_;
};

TEST(Paths, SourceIsMadeAbsoluteAndFreeOfDotFolders) {
  TempDir dir;
  std::string work = dir.mkdir("work/sub");
  dir.touch("logs/a.dat");
  dir.touch("logs/b.txt");
  ScopedCwd cwd(work);
  struct Case {
    std::string arg;
    std::string src_path;
    std::string src_dir;
    std::string src_file;  // the first entry found
    int result;
  } cases[] = {
      {"../../logs/*.dat", dir.at("logs/*.dat"), dir.at("logs/"), "a.dat", 0},
      {"./../.././logs/a.dat", dir.at("logs/a.dat"), dir.at("logs/"), "a.dat", 1},
      {dir.at("work/../logs/./b.txt"), dir.at("logs/b.txt"), dir.at("logs/"), "b.txt", 1},
      {"\"../../logs/a.dat\"", dir.at("logs/a.dat"), dir.at("logs/"), "a.dat", 1},
      // Found without regard to case, the log is opened under the name it has.
      {dir.at("logs/A.DAT"), dir.at("logs/a.dat"), dir.at("logs/"), "a.dat", 1},
  };
  for (const Case& c : cases) {
    Parsed p = parse({c.arg});
    SCOPED_TRACE(c.arg);
    EXPECT_EQ(p.result, c.result) << p.out;
    EXPECT_EQ(p.run->paths.src_path, c.src_path);
    EXPECT_EQ(p.run->paths.src_dir, c.src_dir);
    EXPECT_EQ(p.run->paths.src_file, c.src_file);
    // Without a destination the outputs go beside the sources.
    EXPECT_EQ(p.run->paths.dst_path, c.src_dir);
    EXPECT_EQ(p.run->paths.out_root, c.src_dir);
    EXPECT_EQ(p.run->paths.src_arg_dir, c.src_dir);
  }
}

TEST(Paths, ShortSourcesStayRelative) {
  TempDir dir;
  dir.touch("a");
  dir.touch("b.dat");
  ScopedCwd cwd(dir.path());
  struct Case {
    const char* arg;
    const char* src_file;
    int result;
  } cases[] = {{"a", "a", 1}, {"*", "", 0}};
  for (const Case& c : cases) {
    Parsed p = parse({c.arg});
    EXPECT_EQ(p.result, c.result) << c.arg;
    EXPECT_EQ(p.run->paths.src_path, c.arg);
    EXPECT_EQ(p.run->paths.src_dir, "");
    EXPECT_EQ(p.run->paths.src_pat, c.arg);
    if (*c.src_file) {
      EXPECT_EQ(p.run->paths.src_file, c.src_file);
    }
  }
}

TEST(Paths, RefusalsNameThePath) {
  TempDir dir;
  std::string file = dir.touch("logs/a.dat");
  dir.mkdir("empty");
  ScopedCwd cwd(dir.path());
  struct Case {
    std::vector<std::string> args;
    int result;
    std::string out;
  } cases[] = {
      {{"a.dat", "nosuchdir"}, 2, "nosuchdir/:ディレクトリが見つかりません。\n"},
      {{file, "empty"}, 1, ""},  // an empty folder is found
      {{"logs/*.txt"}, 2, dir.at("logs/*.txt") + ":入力ファイルを開けません。\n"},
      {{"/s", "logs/"}, 2, ":ディレクトリが見つかりません。\n"},  // no name behind the folder
      {{"/s", "nosuch/*.dat"}, 2, dir.at("nosuch/") + ":ディレクトリが見つかりません。\n"},
      {{"/s", "logs/*.txt"}, 0, ""},  // the walk decides what it finds
      {{"/d=2"}, 2, "ファイル名を指定してください.\n"},
      {{"/i", "NUL", "NUL"}, 1, ""},
  };
  for (const Case& c : cases) {
    Parsed p = parse(c.args);
    SCOPED_TRACE(c.args[0]);
    EXPECT_EQ(p.result, c.result);
    EXPECT_EQ(p.out, sjis_from_utf8(c.out));
  }
}

TEST(Paths, DestinationFollowsC) {
  TempDir dir;
  std::string file = dir.touch("logs/a.dat");
  std::string out = dir.mkdir("out");
  ScopedCwd cwd(dir.path());
  Parsed given = parse({file, "out"});
  EXPECT_EQ(given.run->paths.dst_path, "out/");
  Parsed c = parse({"/c", file, "out"});
  EXPECT_EQ(c.run->paths.dst_path, os::current_dir() + "/");
  EXPECT_EQ(c.run->paths.out_root, os::current_dir() + "/");
  Parsed null_dst = parse({"/c", "/mv=%temp%moved", file, "NUL"});
  EXPECT_EQ(null_dst.run->paths.dst_path, "NUL");
  EXPECT_EQ(null_dst.run->cmdm.mv_dst,
            null_dst.run->paths.out_root.substr(0, null_dst.run->paths.out_root.size() - 1));
  EXPECT_EQ(null_dst.run->paths.dst_mirror, null_dst.run->paths.out_root);
  EXPECT_EQ(null_dst.run->paths.out_root.substr(null_dst.run->paths.out_root.size() - 7),
            "/moved/");
}

TEST(Paths, FolderVariablesAtTheHeadOnly) {
  TempDir home;
  ScopedEnv h("HOME", home.path().c_str());
  ScopedEnv x("XDG_CONFIG_HOME", nullptr);
  ScopedEnv t("TEMP", "/var/t");
  struct Case {
    std::string in;
    std::string out;
  } cases[] = {
      {"%temp%x.dat", "/var/t/x.dat"},
      {"%desktop%/a/%temp%", home.path() + "/Desktop/a//var/t/"},
      {"%personal%/logs/", home.path() + "/Documents/logs/"},
      {"/d/%temp%", "/d/%temp%"},
      {"%TEMP%x", "%TEMP%x"},
      {"%temp%%temp%", "/var/t/%temp%"},
  };
  for (const Case& c : cases) {
    std::string path = c.in;
    expand_folder_vars(path);
    EXPECT_EQ(path, c.out) << c.in;
  }
  ScopedEnv t2("TEMP", nullptr);
  ScopedEnv t3("TMPDIR", "/var/tmpdir/");
  std::string path = "%temp%x";
  expand_folder_vars(path);
  EXPECT_EQ(path, "/var/tmpdir/x");
}

TEST(Paths, CheckPathFindsFoldersAndFirstMatches) {
  TempDir dir;
  dir.mkdir("empty");
  dir.touch("logs/notes.txt");
  dir.touch("logs/1234.dat");
  dir.touch("dots/a.b.dat");
  ASSERT_EQ(::mkfifo((dir.mkdir("pipes") + "/p.dat").c_str(), 0600), 0);
  auto owner = std::make_unique<tz::Run>();
  tz::Run& run = *owner;
  init_stores(run);
  run.con_code = kSjis;
  struct Case {
    std::string path;
    int mode;
    bool missing;
    const char* name;
  } cases[] = {
      {dir.at("empty/"), 1, false, "."},
      {dir.at("logs/*.dat"), 2, false, "1234.dat"},
      {dir.at("logs/NOTES.TXT"), 2, false, "notes.txt"},
      {dir.at("logs/????.dat"), 2, false, "1234.dat"},
      {dir.at("logs/*.idx"), 0, true, ""},
      // The folder's own entry comes first to patterns that take it, even when empty.
      {dir.at("empty/*"), 2, false, "."},
      {dir.at("logs/*.*"), 2, false, "."},
      {dir.at("empty/*.dat"), 0, true, ""},
      // The lookup finds what the folder's file list takes: "*.dat" reaches past the
      // first dot, unlike the walk's own name test.
      {dir.at("dots/*.dat"), 2, false, "a.b.dat"},
      {dir.at("dots/A.B.DAT"), 2, false, "a.b.dat"},
      // A pipe is no log: opening it would wait for a writer for ever.
      {dir.at("pipes/p.dat"), 0, true, ""},
      {dir.at("pipes/*.dat"), 0, true, ""},
      {dir.at("nosuch/"), 0, true, ""},
      {dir.at("logs/notes.txt/"), 0, true, ""},  // a file is no folder
  };
  for (const Case& c : cases) {
    std::string name;
    ::testing::internal::CaptureStdout();
    bool missing = check_path(run, c.path, &name, c.mode);
    os::flush_stdout();
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "") << c.path;
    EXPECT_EQ(missing, c.missing) << c.path;
    EXPECT_EQ(name, c.name) << c.path;
  }
}

}  // namespace
}  // namespace tz
