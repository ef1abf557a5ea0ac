#include "place/writer.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "../cmdline/cmdline_fixture.h"
#include "../test_run.h"
#include "place/output.h"
#include "platform/os.h"

namespace tz {
namespace {

using testing_cmdline::TempDir;

TextBlock bytes(const std::string& s) {
  TextBlock block;
  block.append(s.data(), s.size());
  return block;
}

// Blocks of several files handed over in turns: each file gets its blocks in order,
// closed files take their times, and the sizes of all reach the totals.
TEST(WriteBehind, WritesInterleavedFilesWhole) {
  TempDir dir;
  struct File {
    std::string name;
    std::vector<std::string> blocks;
    bool stamp;
    int64_t time;
  };
  const std::vector<File> files = {
      {"a.txt", {"one\r\n", "two\r\n", "three\r\n"}, true, 1000000000},
      {"b.txt", {std::string(300000, 'b'), "", "end"}, false, 0},
      {"c.txt", {""}, true, 1200000000},
  };
  WriteBehind writer;
  std::vector<int> fds;
  for (const File& f : files) fds.push_back(os::open_write(dir.at(f.name)));
  for (size_t turn = 0; turn < 3; ++turn) {
    for (size_t i = 0; i < files.size(); ++i) {
      const File& f = files[i];
      if (turn >= f.blocks.size()) continue;
      TextBlock block = bytes(f.blocks[turn]);
      const bool last = turn + 1 == f.blocks.size();
      writer.put(fds[i], dir.at(f.name), block, last, f.stamp, f.time);
      EXPECT_TRUE(block.empty());
    }
  }
  writer.drain();
  int64_t hi = 0;
  int64_t lo = 0;
  writer.add_written(hi, lo);
  int64_t total = 0;
  for (const File& f : files) {
    std::string want;
    for (const std::string& b : f.blocks) want += b;
    total += static_cast<int64_t>(want.size());
    EXPECT_EQ(read_file(dir.at(f.name)), want) << f.name;
    os::FileInfo info;
    ASSERT_TRUE(os::stat_path(dir.at(f.name), &info));
    if (f.stamp) {
      EXPECT_EQ(info.mtime, f.time) << f.name;
    }
  }
  EXPECT_EQ(hi, 0);
  EXPECT_EQ(lo, total);
  EXPECT_TRUE(writer.take_failures().empty());
}

// A file that is waited for holds all that was handed over for it.
TEST(WriteBehind, WaitForAPathEndsWhenItIsWritten) {
  TempDir dir;
  WriteBehind writer;
  const std::string path = dir.at("big.txt");
  const std::string text(4 << 20, 'x');
  int fd = os::open_write(path);
  TextBlock block = bytes(text);
  writer.put(fd, path, block, true, false, 0);
  writer.wait_for(path);
  EXPECT_EQ(read_file(path).size(), text.size());
}

// A file that can't be written is told once, with its error number, and counts as long
// as the file system says it is.
TEST(WriteBehind, TellsAFileThatCouldNotBeWritten) {
  TempDir dir;
  const std::string path = dir.touch("ro.txt");  // holds "x"
  WriteBehind writer;
  int fd = ::open(path.c_str(), O_RDONLY);
  ASSERT_GE(fd, 0);
  TextBlock block = bytes("text");
  writer.put(fd, path, block, true, false, 0);
  writer.drain();
  std::vector<WriteFailure> failures = writer.take_failures();
  ASSERT_EQ(failures.size(), 1u);
  EXPECT_EQ(failures[0].path, path);
  EXPECT_EQ(failures[0].err, EBADF);
  EXPECT_TRUE(writer.take_failures().empty());
  int64_t hi = 0;
  int64_t lo = 0;
  writer.add_written(hi, lo);
  EXPECT_EQ(lo, 1);
}

// The output folder made for the files before is made again when it has gone since.
TEST(OpenOutput, MakesAgainAFolderThatWentAway) {
  TempDir dir;
  auto run = make_test_run();
  tz::Run& r = *run;
  r.cmdm.a = true;
  r.paths.src_path = dir.touch("src/1.dat");
  r.paths.out_root = dir.mkdir("out") + "/";
  r.paths.dst_path = dir.at("out/board/");
  r.paths.out_name = "1.txt";
  for (int round = 0; round < 2; ++round) {
    int64_t ftime = 0;
    ASSERT_EQ(open_output(r, 1, &ftime), 0) << round;
    ASSERT_TRUE(append_output(r, "text"));
    close_output(r, false, 0);
    EXPECT_EQ(read_file(dir.at("out/board/1.txt")), "text") << round;
    std::filesystem::remove_all(dir.at("out/board"));
  }
}

}  // namespace
}  // namespace tz
