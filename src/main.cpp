// tanzaku: converts thread logs of the 2ch family of boards into plain text.
#include <memory>

#include "cmdline/parser.h"
#include "run/console.h"
#include "run/driver.h"
#include "run/run.h"
#include "run/stores.h"

int main(int argc, char** argv) {
  auto run = std::make_unique<tz::Run>();
  tz::init_run(*run);
  int result = tz::parse_command_line(*run, argc, argv);
  if (result == 2) {
    tz::leave_run(*run, "", 0, 2);
    return 1;
  }
  return tz::run_batch(*run, result);
}
