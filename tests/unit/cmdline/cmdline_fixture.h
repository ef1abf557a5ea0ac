// Shared by the command line tests: a temporary folder and a parse with the console
// captured.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "cmdline/parser.h"
#include "platform/os.h"
#include "run/run.h"
#include "run/stores.h"

namespace tz::testing_cmdline {

// A folder under the system's temporary folder, removed with everything in it.
class TempDir {
 public:
  TempDir() {
    std::string tmpl = (std::filesystem::temp_directory_path() / "tzcmd-XXXXXX").string();
    if (::mkdtemp(tmpl.data())) path_ = tmpl;
  }
  ~TempDir() {
    std::error_code ec;
    if (!path_.empty()) std::filesystem::remove_all(path_, ec);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return path_; }
  // Full path of `rel` inside the folder.
  std::string at(const std::string& rel) const { return path_ + "/" + rel; }
  std::string touch(const std::string& rel) const {
    std::filesystem::create_directories(std::filesystem::path(at(rel)).parent_path());
    std::ofstream(at(rel)) << "x";
    return at(rel);
  }
  std::string mkdir(const std::string& rel) const {
    std::filesystem::create_directories(at(rel));
    return at(rel);
  }

 private:
  std::string path_;
};

struct Parsed {
  std::unique_ptr<Run> run;
  int result = -1;
  std::string out;  // what reached the console
};

// Parses `args` (without the program name) in a fresh run whose console is `con_code`.
inline Parsed parse(std::vector<std::string> args, int con_code = 1) {
  Parsed p;
  p.run = std::make_unique<Run>();
  init_stores(*p.run);
  p.run->waits = false;
  p.run->con_code = con_code;
  std::string prog = "tanzaku";
  std::vector<char*> argv{prog.data()};
  for (std::string& a : args) argv.push_back(a.data());
  ::testing::internal::CaptureStdout();
  p.result = parse_command_line(*p.run, static_cast<int>(argv.size()), argv.data());
  os::flush_stdout();
  p.out = ::testing::internal::GetCapturedStdout();
  return p;
}

// Sets an environment variable for the length of a scope.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* old = ::getenv(name)) old_ = old, had_ = true;
    if (value)
      ::setenv(name, value, 1);
    else
      ::unsetenv(name);
  }
  ~ScopedEnv() {
    if (had_)
      ::setenv(name_.c_str(), old_.c_str(), 1);
    else
      ::unsetenv(name_.c_str());
  }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string name_;
  std::string old_;
  bool had_ = false;
};

}  // namespace tz::testing_cmdline
