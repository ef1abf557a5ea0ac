// The run that most unit tests start from.
#pragma once

#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "run/run.h"
#include "run/stores.h"

namespace tz {

// A run as the program has it once set up: stores made, empty slots filled, output
// strings chosen, and no waits before it ends.
inline std::unique_ptr<Run> make_test_run() {
  auto run = std::make_unique<Run>();
  init_stores(*run);
  fill_empty_slots(*run);
  output_setup(*run);
  run->waits = false;
  return run;
}

// The bytes of a file; empty when it can't be read.
inline std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

}  // namespace tz
