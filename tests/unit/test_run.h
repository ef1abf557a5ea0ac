// The run that most unit tests start from.
#pragma once

#include <memory>

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

}  // namespace tz
