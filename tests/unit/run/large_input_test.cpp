// Whole runs over logs too large to keep among the end-to-end cases: they are written
// into a temporary folder and converted through the entry's own calls.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "cmdline/parser.h"
#include "codes/convert.h"
#include "run/driver.h"
#include "run/run.h"

namespace tz {
namespace {

namespace fs = std::filesystem;

class LargeInputTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string tmpl = (fs::temp_directory_path() / "tzlarge-XXXXXX").string();
    ASSERT_NE(mkdtemp(tmpl.data()), nullptr);
    dir_ = tmpl + "/";
    // The log of the run goes beside the logs; /l keeps the console silent.
    setenv("TANZAKU_HOME", dir_.c_str(), 1);
  }
  void TearDown() override {
    unsetenv("TANZAKU_HOME");
    fs::remove_all(dir_);
  }

  void put(const std::string& name, const std::string& bytes) {
    std::ofstream(dir_ + name, std::ios::binary).write(bytes.data(), bytes.size());
  }
  std::string get(const std::string& name) {
    std::ifstream in(dir_ + name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  // Converts the log `name` in a run of its own; result: the exit status.
  int convert(const std::string& name) {
    auto run = std::make_unique<tz::Run>();
    init_run(*run);
    run->waits = false;
    std::string path = dir_ + name;
    std::vector<char*> argv = {const_cast<char*>("tanzaku"), const_cast<char*>("/l"), path.data()};
    int single = parse_command_line(*run, static_cast<int>(argv.size()), argv.data());
    if (single == 2) return 1;
    return run_batch(*run, single);
  }

  std::string dir_;
};

std::string sj(const char* utf8) {
  return sjis_from_utf8(utf8);
}

std::string post_line(const std::string& name, const std::string& mail, const std::string& body,
                      const std::string& title = "") {
  std::string line = name;
  for (const std::string* piece : {&mail, &body, &title}) {
    line += piece == &body ? "<>2006/01/01 00:00:00<>" : "<>";
    line += *piece;
  }
  line += '\n';
  return line;
}

// A line of 50 MB without a line end is no log: the head holds no line end at all.
TEST_F(LargeInputTest, SingleLineOfFiftyMegabytes) {
  std::string line = post_line(sj("名無し"), "", "");
  line.pop_back();
  line += std::string(50u << 20, 'a');
  put("1136041200.dat", line);
  EXPECT_EQ(convert("1136041200.dat"), 2);
  EXPECT_FALSE(fs::exists(dir_ + "1136041200.txt"));
  EXPECT_NE(get("tanzaku_log.txt").find(sj("不明の形式です。")), std::string::npos);
}

// A field counts to 150,000 bytes; one that runs longer turns its post into a broken
// one, and the posts around it are converted as usual.
TEST_F(LargeInputTest, FieldsAtTheLimitAndBeyond) {
  const std::string broken = sj("[ここ壊れてます]");
  const std::string ok_body = sj("本文");
  struct Case {
    const char* what;
    std::string name;
    std::string mail;
    std::string body;
    bool broken;
  } cases[] = {
      {"body of 150,000 bytes", "n", "", std::string(149998, 'a') + " b", false},
      {"body with a blank past 150,000 bytes", "n", "", std::string(150001, 'a') + " b", true},
      {"body of 1 MB with blanks", "n", "", std::string(1u << 20, ' ').replace(0, 1, "a"), true},
      {"body of 1 MB of breaks", "n", "",
       [] {
         std::string s;
         while (s.size() < (1u << 20)) s += "x<br>";
         return s;
       }(),
       true},
      {"name past 150,000 bytes", std::string(150001, 'n') + " x", "", ok_body, true},
      {"mail of 1 MB", "n", std::string(1u << 20, 'm'), ok_body, true},
  };
  for (const Case& c : cases) {
    const std::string first = post_line("a", "", "1", sj("題"));
    const std::string last = post_line("c", "", "3");
    put("1136041200.dat", first + post_line(c.name, c.mail, c.body) + last);
    ASSERT_EQ(convert("1136041200.dat"), 0) << c.what;
    std::string text = get("1136041200.txt");
    const std::string head = sj("題\r\n\r\n1 名前：a ：2006/01/01 00:00:00\r\n      1\r\n\r\n2 ");
    ASSERT_EQ(text.compare(0, head.size(), head), 0) << c.what;
    std::string second;
    if (c.broken) {
      second = sj("名前：");
      second += broken;
      second += ' ';
      second += sj("：");
      second += broken;
      second += "\r\n      ";
      second += broken;
    } else {
      second = sj("名前：n ：2006/01/01 00:00:00\r\n      ");
      second += c.body;
    }
    EXPECT_EQ(text.compare(head.size(), second.size(), second), 0) << c.what;
    const std::string tail = sj("\r\n\r\n3 名前：c ：2006/01/01 00:00:00\r\n      3\r\n\r\n");
    ASSERT_GE(text.size(), tail.size()) << c.what;
    EXPECT_EQ(text.substr(text.size() - tail.size()), tail) << c.what;
    EXPECT_EQ(text.size(), head.size() + second.size() + tail.size()) << c.what;
  }
}

}  // namespace
}  // namespace tz
