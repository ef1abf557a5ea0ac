#include "run/fatal.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "codes/convert.h"
#include "place/output.h"
#include "platform/os.h"
#include "run/console.h"
#include "run/run.h"

namespace tz {

void fatal(Run& run, const char* message, const char* code) {
  // What was converted before the stop is not lost.
  if (run.behind) run.behind->drain();
  if (run.writer) run.writer->drain();
  say(run, message);
  // A stop while the messages are being stored (401) finds no stored abort line.
  std::string abort_line = run.str.cmsg[static_cast<int>(Msg::abort)]
                               ? msg(run, Msg::abort)
                               : sjis_from_utf8(kMessageTexts[static_cast<int>(Msg::abort)]);
  say(run, abort_line.c_str(), code);
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
