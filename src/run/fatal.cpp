#include "run/fatal.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/os.h"
#include "run/console.h"
#include "run/run.h"

namespace tz {

void fatal(Run& run, const char* message, const char* code) {
  say(run, message);
  say(run, msg(run, Msg::abort), code);
  wait_seconds(run, 5);
  std::fflush(nullptr);
  std::exit(6);
}

void fatal(Run& run, const char* message, int code) {
  fatal(run, message, std::to_string(code).c_str());
}

void wait_seconds(Run& run, int n) {
  if (run.waits) os::sleep_seconds(n);
}

}  // namespace tz
