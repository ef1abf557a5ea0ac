#include "run/convert_behind.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "../cmdline/cmdline_fixture.h"
#include "../text/text_fixture.h"
#include "codes/convert.h"
#include "place/output.h"
#include "platform/os.h"
#include "text/convert.h"

namespace tz {
namespace {

using testing::make_text_run;
using testing::ready_strings;
using testing::sj;
using testing_cmdline::TempDir;

// The settings of one thread and its log, in the output code.
struct Thread {
  const char* label;
  uint32_t m;
  uint8_t abroad;
  uint8_t code_out;
  std::string title;
  std::string log;
  bool left_in_sjis = false;  // a Shift_JIS log whose UTF-8 form waits for the converter
};

std::string many_posts(std::string_view body, int n) {
  std::string log;
  for (int i = 0; i < n; ++i)
    log += "name<>sage<>2024/01/02 03:04:05 ID:abc<>" + std::string(body) + "<>\n";
  return log;
}

const std::vector<Thread>& threads() {
  static const std::vector<Thread> all = {
      {"plain", 0x3001, 0, kSjis, sj("題名"), many_posts(sj("本文<br>二行目"), 3000)},
      {"no title, size foot", 0x3001 | (1u << 3) | (1u << 6), 0, kSjis, "t",
       many_posts("a <br> b", 500)},
      {"World 2ch labels", 0x3001, 2, kSjis, "world", many_posts("hello", 2000)},
      {"UTF-8 output", 0x3001, 0, kUtf8, "utf", many_posts("本文です", 1000)},
      {"UTF-8 output of a log left in Shift_JIS", 0x3001, 0, kUtf8, "utf",
       many_posts(sj("ｶﾅと本文"), 1000), true},
      {"empty log", 0x3001, 0, kSjis, "none", ""},
  };
  return all;
}

// Makes `run` ready for `t` as the file steps leave it before the conversion; `as_read`
// leaves a Shift_JIS log as reading it does, otherwise it is already UTF-8.
void ready_for(Run& run, const Thread& t, bool as_read) {
  run.cmdm.m = t.m;
  run.sflg.k_abroad = t.abroad;
  run.sflg.tname = t.title;
  run.code_out = t.code_out;
  ready_strings(run);
  LogBuffer& log = run.log;
  const std::string text = t.left_in_sjis && !as_read ? utf8_from_sjis(t.log) : t.log;
  log.sfile.assign(text.data(), text.size());
  log.len = text.size();
  log.log_first = 0;
  log.utf8_from = 0;
  log.utf8_due = t.left_in_sjis && as_read;
  if (log.utf8_due) {
    ASSERT_TRUE(log.sfile.grow_keeping(3 * text.size() + 16, text.size() + 1));
  }
}

// Threads of different settings handed over one after another, the main run made
// ready for the next while the one before is converted: each output holds what
// converting it in place gives.
TEST(ConvertBehind, WritesEachThreadAsConvertingInPlaceDoes) {
  TempDir dir;
  std::vector<std::string> want;
  for (const Thread& t : threads()) {
    auto run = make_text_run();
    ready_for(*run, t, false);
    const std::string path = dir.at(std::string("in-place-") + t.label);
    ASSERT_TRUE(open_file_for(*run, path));
    convert_thread(*run, 0, 0, Times{});
    close_output(*run, false, 0);
    want.push_back(read_file(path));
  }

  auto run = make_text_run();
  ConvertBehind behind;
  int64_t total = 0;
  for (size_t i = 0; i < threads().size(); ++i) {
    const Thread& t = threads()[i];
    ready_for(*run, t, true);
    ASSERT_TRUE(open_file_for(*run, dir.at(t.label)));
    EXPECT_TRUE(ConvertBehind::takes(*run)) << t.label;
    behind.hand_over(*run, true, 1100000000 + static_cast<int64_t>(i));
    EXPECT_FALSE(output_is_open(*run));
    total += static_cast<int64_t>(want[i].size());
  }
  behind.drain();
  for (size_t i = 0; i < threads().size(); ++i) {
    const std::string path = dir.at(threads()[i].label);
    EXPECT_EQ(read_file(path), want[i]) << threads()[i].label;
    os::FileInfo info;
    ASSERT_TRUE(os::stat_path(path, &info));
    EXPECT_EQ(info.mtime, 1100000000 + static_cast<int64_t>(i));
  }
  int64_t hi = 0;
  int64_t lo = 0;
  behind.add_written(hi, lo);
  EXPECT_EQ(lo, total);
  EXPECT_TRUE(behind.take_failures().empty());
}

// An output waited for by name is whole when the wait ends, also while it waits
// behind another thread.
TEST(ConvertBehind, WaitForAPathEndsWhenItIsWritten) {
  TempDir dir;
  auto run = make_text_run();
  ConvertBehind behind;
  const Thread& t = threads()[0];
  std::string path;
  for (const char* name : {"first.txt", "waited.txt"}) {
    ready_for(*run, t, false);
    path = dir.at(name);
    ASSERT_TRUE(open_file_for(*run, path));
    behind.hand_over(*run, false, 0);
  }
  behind.wait_for(path);
  const std::string text = read_file(path);
  EXPECT_GT(text.size(), t.log.size());
  EXPECT_EQ(text.substr(text.size() - 4), "\r\n\r\n");
}

// A thread whose output can't be written is told by the main thread, with its error.
TEST(ConvertBehind, KeepsTheFailureOfAnOutput) {
  TempDir dir;
  auto run = make_text_run();
  ready_for(*run, threads()[0], false);
  const std::string path = dir.touch("ro.txt");
  ASSERT_TRUE(open_file_for(*run, path));
  ::close(run->out.fd);
  run->out.fd = ::open(path.c_str(), O_RDONLY);
  ASSERT_GE(run->out.fd, 0);
  ConvertBehind behind;
  behind.hand_over(*run, false, 0);
  behind.drain();
  std::vector<WriteFailure> failures = behind.take_failures();
  ASSERT_EQ(failures.size(), 1u);
  EXPECT_EQ(failures[0].path, path);
  EXPECT_EQ(failures[0].err, EBADF);
}

// What needs the thread afterwards, or has no file to write, is converted in place.
TEST(ConvertBehind, TakesOnlyWholeThreadsIntoAFile) {
  struct Case {
    const char* label;
    void (*set)(tz::Run&);
    bool takes;
  };
  const Case cases[] = {
      {"plain", [](tz::Run&) {}, true},
      {"standard output", [](tz::Run& r) { r.cmdm.st = true; }, false},
      {"pieces", [](tz::Run& r) { r.cmdm.d = 100; }, false},
      {"list only", [](tz::Run& r) { r.batch.list_only = 1; }, false},
      {"excerpt for the index", [](tz::Run& r) { r.cmdm.i_first = 1; }, false},
      {"no output open",
       [](tz::Run& r) {
         ::close(r.out.fd);
         r.out.fd = -1;
       },
       false},
  };
  for (const Case& c : cases) {
    TempDir dir;
    auto run = make_text_run();
    ASSERT_TRUE(open_file_for(*run, dir.at("out.txt")));
    c.set(*run);
    EXPECT_EQ(ConvertBehind::takes(*run), c.takes) << c.label;
    if (run->out.fd >= 0) ::close(run->out.fd);
  }
}

}  // namespace
}  // namespace tz
