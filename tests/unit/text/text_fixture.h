// A fresh run for the tests of the thread text, and small helpers.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "../test_run.h"
#include "codes/convert.h"
#include "run/run.h"
#include "run/stores.h"

namespace tz::testing {

// A run with its stores made, Shift_JIS output, a <> log with the date as field 3.
inline std::unique_ptr<Run> make_text_run(uint32_t m = 0x3001) {
  auto run = make_test_run();
  run->cmdm.m = m;
  run->cmdm.conmode = 2;  // keep the console quiet; no log is open
  run->code_out = kSjis;
  run->sflg.kind = 2;
  run->sflg.subkind = 3;
  return run;
}

// Makes the strings of the thread: stage 0 (line end) and stage 2 (labels).
inline void ready_strings(Run& run) {
  run.str.strings_key = -1;
  select_strings(run, 0);
  select_strings(run, 2);
}

// Shift_JIS bytes of a text written in UTF-8.
inline std::string sj(std::string_view utf8) {
  return sjis_from_utf8(utf8);
}

// `text` with every '|' replaced by `brk`.
inline std::string with_breaks(std::string_view text, std::string_view brk) {
  std::string out;
  for (char c : text) {
    if (c == '|') {
      out += brk;
    } else {
      out += c;
    }
  }
  return out;
}

}  // namespace tz::testing
