#include "log/walk.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "../test_run.h"
#include "run/run.h"

namespace tz {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using Names = std::vector<std::string>;

class WalkTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string tmpl = (fs::temp_directory_path() / "tzwalk-XXXXXX").string();
    ASSERT_NE(mkdtemp(tmpl.data()), nullptr);
    root_ = tmpl + "/";
    fresh_run();
  }
  void fresh_run() { run_ = make_test_run(); }
  void TearDown() override { fs::remove_all(root_); }

  // "a/b/" makes folders, "a/x.dat" a file (with its folders).
  void make(const std::string& rel, const std::string& text = "x") {
    fs::create_directories(fs::path(root_ + rel).parent_path());
    if (rel.back() != '/') std::ofstream(root_ + rel, std::ios::binary) << text;
  }
  void make_all(const Names& rels) {
    for (const std::string& r : rels) make(r);
  }

  void start_walk(const std::string& pat, bool wild = true) {
    run_->cmdm.s = true;
    run_->cmdm.src_wild = wild;
    run_->paths.src_dir = root_;
    run_->paths.src_pat = pat;
  }
  std::string rel(const std::string& path) const {
    return path.compare(0, root_.size(), root_) == 0 ? path.substr(root_.size()) : "?" + path;
  }
  // Folders that next_folder reports, relative to the start, in the walk's order.
  Names walk_folders() {
    Names out;
    while (next_folder(*run_) == 1) {
      EXPECT_EQ(run_->paths.src_path, run_->paths.src_dir + run_->paths.src_pat);
      out.push_back(rel(run_->paths.src_dir));
    }
    return out;
  }
  // The file list of src_path as next_file hands it out.
  Names files() {
    list_folder(*run_, 0);
    Names out;
    for (int n = 1; next_file(*run_, n) == 0; ++n) out.push_back(run_->paths.src_file);
    EXPECT_FALSE(run_->walk.has_list);
    return out;
  }
  // Entries of a folder in the order the file system gives them.
  Names fs_order(const std::string& dir) {
    Names out;
    os::DirReader r;
    os::DirEntry e;
    EXPECT_TRUE(r.open(root_ + dir));
    while (r.next(&e))
      if (e.name != "." && e.name != "..") out.push_back(e.name);
    return out;
  }
  bool comes_before(const std::string& dir, const std::string& a, const std::string& b) {
    Names order = fs_order(dir);
    return std::find(order.begin(), order.end(), a) < std::find(order.begin(), order.end(), b);
  }

  std::string root_;
  std::unique_ptr<tz::Run> run_;
};

Names sorted(Names v) {
  std::sort(v.begin(), v.end());
  return v;
}

TEST_F(WalkTest, FileListIsSortedByBytesUnlessAskedForDiskOrder) {
  make_all({"10.dat", "9.dat", "A.dat", "a.dat", "z.dat", "\xff.dat", "b.txt", ".h.dat", "d.dat/"});
  start_walk("*.dat");
  run_->paths.src_path = root_ + "*.dat";
  EXPECT_EQ(files(), (Names{"10.dat", "9.dat", "A.dat", "a.dat", "z.dat", "\xff.dat"}));

  run_->cmdm.i_sort = 'x';
  run_->paths.src_path = root_ + "*.dat";  // next_file moved it to the last file
  Names disk;
  for (const std::string& n : fs_order(""))
    if (n.ends_with(".dat") && n[0] != '.' && n != "d.dat") disk.push_back(n);
  EXPECT_EQ(files(), disk);
}

TEST_F(WalkTest, LargeFolderListGrowsAndSorts) {
  Names names;
  uint32_t x = 12345;
  for (int i = 0; i < 2345; ++i) {
    x = x * 1103515245u + 12345u;
    names.push_back(std::to_string(x % 100000000) + "_" + std::to_string(i) + ".dat");
    make(names.back());
  }
  start_walk("*.dat");
  run_->paths.src_path = root_ + "*.dat";
  EXPECT_EQ(files(), sorted(names));
}

TEST_F(WalkTest, FindNextTakesPatternsLikeTheCommandLine) {
  make_all({"a.dat", "b.DAT", "a.b.dat", "c.dat.bak", "noext", "\xe3\x81\x82.dat", ".h.dat", "sub/",
            "sub2.dat/"});
  fs::create_directory_symlink(root_ + "sub", root_ + "link.dat");
  struct Case {
    const char* pattern;
    int folders;
    Names want;
  } cases[] = {
      {"*.dat", 0, {"a.b.dat", "a.dat", "b.DAT", "\xe3\x81\x82.dat"}},
      {"*.*", 0, {"a.b.dat", "a.dat", "b.DAT", "c.dat.bak", "noext", "\xe3\x81\x82.dat"}},
      {"?.dat", 0, {"a.dat", "b.DAT", "\xe3\x81\x82.dat"}},
      {"A.DAT", 0, {"a.dat"}},
      {"c.dat.*", 0, {"c.dat.bak"}},
      {"noext.*", 0, {"noext"}},
      {"*", 1, {"sub", "sub2.dat"}},
      {"*.dat", 2, {"a.b.dat", "a.dat", "b.DAT", "sub2.dat", "\xe3\x81\x82.dat"}},
      {"", 2, {}},
  };
  for (const Case& c : cases) {
    FindScan scan;
    os::DirEntry e;
    Names got;
    while (find_next(scan, root_ + c.pattern, c.folders, 0, false, &e)) got.push_back(e.name);
    EXPECT_EQ(sorted(got), c.want) << c.pattern << " " << c.folders;
    EXPECT_TRUE(e.name.empty());
    // A call after the end starts the scan anew; finish closes it.
    if (!c.want.empty()) {
      EXPECT_TRUE(find_next(scan, root_ + c.pattern, c.folders, 0, false, &e));
      EXPECT_FALSE(find_next(scan, root_ + c.pattern, c.folders, 0, true, &e));
      EXPECT_FALSE(scan.dir.is_open());
    }
  }
}

TEST_F(WalkTest, ZKeepsOnlyThreadKeyNames) {
  struct Case {
    const char* name;
    bool kept;
  } cases[] = {
      {"924000000.dat", true},   {"1234567890.dat", true}, {"999999999.txt", true},
      {"9240000000.dat", true},  {"123456789.dat", false}, {"12345678.dat", false},
      {"2234567890.dat", false}, {"999999999", false},     {"99999999x9.dat", false},
  };
  Names want;
  for (const Case& c : cases) {
    make(c.name);
    if (c.kept) want.push_back(c.name);
  }
  start_walk("*");
  run_->paths.src_path = root_ + "*";
  run_->cmdm.z = true;
  EXPECT_EQ(files(), sorted(want));
}

TEST_F(WalkTest, NextFileOfOneNamedFileSplitsItsPath) {
  struct Case {
    const char* path;
    const char* dir;
    const char* file;
    const char* base;
  } cases[] = {
      {"/logs/a.b.dat", "/logs/", "a.b.dat", "a.b"},
      {"a.dat", "", "a.dat", "a"},
      {"/logs/noext", "/logs/", "noext", "noext"},
      {"/logs/", "", "/logs/", "/logs/"},
  };
  for (const Case& c : cases) {
    run_->paths.src_path = c.path;
    list_folder(*run_, 1);  // one named file has no list
    EXPECT_EQ(next_file(*run_, 1), 0) << c.path;
    EXPECT_EQ(run_->paths.src_dir, c.dir) << c.path;
    EXPECT_EQ(run_->paths.src_file, c.file) << c.path;
    EXPECT_EQ(run_->paths.src_base, c.base) << c.path;
  }
}

TEST_F(WalkTest, NonWildNameMatchesInAnyCaseAndOpensByItsOwnName) {
  make_all({"d/a.dat", "d/b.dat"});
  start_walk("A.DAT", false);
  ASSERT_EQ(next_folder(*run_), 1);
  EXPECT_EQ(rel(run_->paths.src_dir), "d/");
  list_folder(*run_, 0);
  ASSERT_EQ(next_file(*run_, 1), 0);
  EXPECT_EQ(run_->paths.src_path, root_ + "d/a.dat");
  EXPECT_EQ(run_->paths.src_base, "a");
  EXPECT_EQ(next_file(*run_, 2), 1);
}

TEST_F(WalkTest, WalkPassesOverFoldersWithoutMatchesAndFollowsTheOutputRoot) {
  make_all({"a/b/x.dat", "c/only.txt", "c/d/y.dat", "out/z.dat", "\x82\xa0/\xff\xfe.dat"});
  struct Case {
    const char* out_root;
    Names want;
  } cases[] = {
      {"out/", {"a/b/", "c/d/", "\x82\xa0/"}},
      {"OUT/", {"a/b/", "c/d/", "\x82\xa0/"}},
      {"", {"a/b/", "c/d/", "out/", "\x82\xa0/"}},
  };
  for (const Case& c : cases) {
    fresh_run();
    start_walk("*.dat");
    std::string out = *c.out_root ? root_ + c.out_root : "";
    run_->paths.out_root = run_->paths.dst_mirror = out;
    Names got;
    while (next_folder(*run_) == 1) {
      got.push_back(rel(run_->paths.src_dir));
      // The output tree mirrors the source tree below the start.
      EXPECT_EQ(run_->paths.dst_mirror, out.empty() ? "" : out + got.back());
      if (got.back() == "\x82\xa0/") {
        EXPECT_EQ(files(), Names{"\xff\xfe.dat"});
      }
    }
    EXPECT_EQ(sorted(got), c.want) << c.out_root;
    EXPECT_EQ(run_->paths.dst_mirror, out);
    EXPECT_EQ(next_folder(*run_), 0);
  }
}

TEST_F(WalkTest, SubfolderEarlierOnDiskIsWalkedFirst) {
  make_all({"sub/s.dat", "f.dat"});
  start_walk("*.dat");
  Names want = comes_before("", "sub", "f.dat") ? Names{"sub/", ""} : Names{"", "sub/"};
  EXPECT_EQ(walk_folders(), want);
}

TEST_F(WalkTest, ReadsSelectionFiles) {
  struct Case {
    std::string text;
    int result;
    Names list;  // entry 0 first
  } cases[] = {
      {"-old\r\n", 0, {"-", "old"}},
      {"-old\n", 0, {"-", "ol"}},
      {"-old", 0, {"-"}},
      {"-a\r\n-old", 0, {"-", "a"}},
      {"-old\r\r\n", 0, {"-", "old"}},
      {"x\r\n-b\r\n+c\r\n", 0, {"+", "c"}},
      {"+\r\n-\r\n+\n+ok\r\n", 0, {"+", "ok"}},
      {"- \"Old Logs\"\r\n-\"a\"b\"\r\n-x \"y\" z\"\r\n", 0, {"-", "Old Logs", "ab", "xy z"}},
      {"-" + std::string(300, 'a') + "\r\n", 0, {"-", std::string(255, 'a')}},
      {"-\x82\xa0\r\n", 0, {"-", "\xe3\x81\x82"}},  // Shift_JIS into the paths' UTF-8
      {"-ok\r\n-\0no\r\n"s, 0, {"-", "ok"}},        // a NUL ends the text
      {"old\r\n new\r\n", 3, {""}},
  };
  run_->cmdm.exe_dir = root_;
  run_->cmdm.s_file = "sel.txt";
  for (const Case& c : cases) {
    make("sel.txt", c.text);
    run_->walk.exdirlst.clear();
    EXPECT_EQ(read_selection_file(*run_), c.result) << c.text;
    EXPECT_EQ(run_->walk.exdirlst, c.list) << c.text;
  }

  make("sel.txt", "");
  EXPECT_EQ(read_selection_file(*run_), 2);
  make("other.txt", "+x\r\n");
  run_->cmdm.s_file = root_ + "other.txt";  // not under exe_dir: found by its own name
  EXPECT_EQ(read_selection_file(*run_), 0);
  run_->cmdm.s_file = root_ + "none.txt";
  EXPECT_EQ(read_selection_file(*run_), 1);
  EXPECT_EQ(run_->last_err, ENOENT);
}

TEST_F(WalkTest, SelectionFileLimitsTheWalk) {
  // '#' never occurs in the temporary folder's name, which is part of every path.
  make_all({"#old/a.dat", "#Older/c.dat", "#olive/d.dat", "#new/e.dat", "keep/#old/f.dat"});
  struct Case {
    const char* text;
    Names want;
  } cases[] = {
      {"-#old\r\n", {"#new/", "#olive/"}},
      {"-#old\n", {"#new/"}},  // read as "#ol"
      {"+#OLD\r\n", {"#Older/", "#old/", "keep/#old/"}},
      {"+#new\r\n", {"#new/"}},
  };
  for (const Case& c : cases) {
    fresh_run();
    make("sel.txt", c.text);
    run_->cmdm.s_file = root_ + "sel.txt";
    ASSERT_EQ(read_selection_file(*run_), 0);
    start_walk("*.dat");
    EXPECT_EQ(sorted(walk_folders()), c.want) << c.text;
  }
}

TEST_F(WalkTest, FoldersBeyondTheStackAreNotEntered) {
  std::string path;
  for (int depth = 1; depth <= 127; ++depth) {
    path += "d/";
    if (depth >= 123) make(path + "x.dat");
  }
  start_walk("*.dat");
  std::vector<size_t> depths;
  for (const std::string& f : walk_folders()) depths.push_back(f.size() / 2);
  std::sort(depths.begin(), depths.end());
  EXPECT_EQ(depths, (std::vector<size_t>{123, 124}));

  // walk_next says 4 at the folder it can't enter, and goes on when resumed.
  std::string dir;
  std::string name;
  depths.clear();
  int r = walk_next(*run_, root_, "*.dat", 0, &dir, &name);
  for (; r < 3; r = walk_next(*run_, "", "*.dat", 0, &dir, &name))
    depths.push_back(rel(dir).size() / 2);
  EXPECT_EQ(r, 4);
  for (r = walk_next(*run_, "", "*.dat", 0, &dir, &name); r < 3;
       r = walk_next(*run_, "", "*.dat", 0, &dir, &name))
    depths.push_back(rel(dir).size() / 2);
  EXPECT_EQ(r, 3);
  std::sort(depths.begin(), depths.end());
  EXPECT_EQ(depths, (std::vector<size_t>{123, 124}));
}

TEST_F(WalkTest, LinksToFoldersAreNeitherEnteredNorListed) {
  make_all({"a/x.dat", "t.txt"});
  fs::create_directory_symlink("..", root_ + "a/loop.dat");
  fs::create_symlink("../t.txt", root_ + "a/f.dat");
  start_walk("*.dat");
  ASSERT_EQ(walk_folders(), Names{"a/"});
  run_->paths.src_dir = root_ + "a/";
  run_->paths.src_path = root_ + "a/*.dat";
  EXPECT_EQ(files(), (Names{"f.dat", "x.dat"}));
}

TEST_F(WalkTest, WalkNextResultsAndResuming) {
  make_all({"x/y/f.txt", "g.txt", "x/skip.dat", ".hid/h.txt"});
  std::string dir;
  std::string name;
  EXPECT_EQ(walk_next(*run_, "", "*.txt", 0, &dir, &name), 4);  // nothing to resume

  struct Hit {
    std::string dir, name;
    int result;
    bool operator<(const Hit& o) const { return dir + name < o.dir + o.name; }
    bool operator==(const Hit& o) const = default;
  };
  auto collect = [&](int flags) {
    std::vector<Hit> hits;
    int r = walk_next(*run_, root_, "*.txt", flags, &dir, &name);
    for (; r < 3; r = walk_next(*run_, "", "*.txt", flags, &dir, &name))
      hits.push_back({rel(dir), name, r});
    EXPECT_EQ(r, 3);
    EXPECT_TRUE(dir.empty() && name.empty());
    EXPECT_EQ(walk_next(*run_, "", "*.txt", flags, &dir, &name), 4);
    std::sort(hits.begin(), hits.end());
    return hits;
  };
  bool g_first = comes_before("", "g.txt", "x");
  EXPECT_EQ(collect(0), (std::vector<Hit>{{"", "g.txt", g_first ? 0 : 2}, {"x/y/", "f.txt", 1}}));

  // With folders as results, hidden folders are entered too; a match right after a
  // folder was reported is in the folder where that call started.
  g_first = g_first && comes_before("", "g.txt", ".hid");
  EXPECT_EQ(collect(kWalkFolders), (std::vector<Hit>{{"", ".hid", 1},
                                                     {".hid/", "h.txt", 0},
                                                     {"", "g.txt", g_first ? 0 : 2},
                                                     {"", "x", 1},
                                                     {"x/", "y", 1},
                                                     {"x/y/", "f.txt", 0}}));
}

}  // namespace
}  // namespace tz
