// A run and a temporary folder for the tests of reading logs.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

#include "../test_run.h"
#include "codes/convert.h"
#include "run/run.h"
#include "run/stores.h"

namespace tz::testing {

class LogTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string tmpl = (std::filesystem::temp_directory_path() / "tzlog-XXXXXX").string();
    ASSERT_NE(mkdtemp(tmpl.data()), nullptr);
    dir_ = tmpl + "/";
    fresh_run();
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }

  void fresh_run() {
    run_ = make_test_run();
    run_->cmdm.conmode = 2;  // no console output; no log is open
  }

  // Writes `bytes` as the log `name` and makes it the file in hand.
  void put_log(const std::string& name, std::string_view bytes) {
    std::ofstream(dir_ + name, std::ios::binary).write(bytes.data(), bytes.size());
    point_at(name);
  }
  void point_at(const std::string& name) {
    Paths& p = run_->paths;
    p.src_dir = dir_;
    p.src_file = name;
    p.src_path = dir_ + name;
    size_t dot = name.rfind('.');
    p.src_base = dot == std::string::npos ? name : name.substr(0, dot);
  }
  // The size of the head that identification reads, in KB (/o digits 5 and 6).
  void set_head_kb(int kb) { run_->cmdm.o = (run_->cmdm.o & ~0xFF0000u) | (uint32_t(kb) << 16); }

  std::string dir_;
  std::unique_ptr<tz::Run> run_;
};

// Shift_JIS bytes of a text written in UTF-8.
inline std::string sj(std::string_view utf8) {
  return sjis_from_utf8(utf8);
}

}  // namespace tz::testing
