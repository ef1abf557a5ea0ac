// Fuzz target over guess_code, clean_text and convert_code: every pair of codes at
// several rooms. Beyond the sanitizers it checks what the callers rely on: a result
// that ends within its room, a reported length that is the text's, a sweep that
// leaves no control byte and changes nothing when run again.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "codes/convert.h"
#include "codes/guess.h"
#include "run/run.h"
#include "run/stores.h"

namespace {

tz::Run& the_run() {
  static std::unique_ptr<tz::Run> run = [] {
    auto r = std::make_unique<tz::Run>();
    tz::init_stores(*r);
    tz::fill_empty_slots(*r);
    tz::output_setup(*r);
    r->waits = false;
    return r;
  }();
  return *run;
}

void check(bool ok) {
  if (!ok) __builtin_trap();
}

bool is_swept_control(unsigned char c) {
  return c < 0x20 && c != 9 && c != 10 && c != 11 && c != 12 && c != 13 && c != 26;
}

constexpr size_t kRooms[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 33, 100, 512, 1024, 2047, 2048};

void sweep(const std::string& text) {
  for (int code = 0; code <= 4; ++code) {
    for (int whole = 0; whole <= 1; ++whole) {
      // The room is exactly the buffer: the sweep may not step outside it.
      std::vector<char> buf(text.begin(), text.end());
      if (buf.empty()) buf.push_back('\0');
      int r = tz::clean_text(buf.data(), code, buf.size(), whole);
      check(r == ((code == 0 || code > 3) ? 1 : 0));
      if (r != 0 || !whole) continue;
      for (char c : buf) check(!is_swept_control(static_cast<unsigned char>(c)));
      std::vector<char> again = buf;
      tz::clean_text(again.data(), code, again.size(), 1);
      check(again == buf);
    }
  }
}

void convert(tz::Run& run, const std::string& text, int from, int to, size_t room) {
  // The buffer is the room and not a byte more, with the text cut to fit and the
  // rest filled with bytes that must never be taken for text.
  std::vector<char> buf(room, '\xA4');
  size_t n = std::min(text.size(), room - 1);
  std::memcpy(buf.data(), text.data(), n);
  buf[n] = '\0';
  size_t len = tz::convert_code(run, buf.data(), from, to, room);
  const void* nul = std::memchr(buf.data(), 0, room);
  check(nul != nullptr);
  check(len == static_cast<size_t>(static_cast<const char*>(nul) - buf.data()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  tz::Run& run = the_run();
  unsigned pick = data[0];
  // Text up to the first NUL: every routine here takes NUL-ended strings.
  const char* p = reinterpret_cast<const char*>(data + 1);
  std::string text(p, strnlen(p, size - 1));

  // Long texts skip passes by bounds; the verdict must be that of all three passes,
  // also where the limit cuts the text inside a character.
  const long len = static_cast<long>(text.size());
  for (long limit :
       {-1L, 0L, 1L, 2L, 3L, 7L, len / 2 + (pick & 3), len - 1, len, len + 2, 1L << 20}) {
    int code = tz::guess_code(text.c_str(), limit);
    check(code >= 0 && code <= 3);
    check(code == tz::guess_by_passes(text.c_str(), limit));
  }

  // The sweep also sees what lies behind a NUL.
  sweep(std::string(reinterpret_cast<const char*>(data + 1), size - 1));

  // Two small rooms chosen by the first byte, the text's own and a generous one. A
  // conversion into EUC-JP of a text of 2,048 bytes or more works in a block as large
  // as the room and stops the run (998) when it ends there; it gets the generous room
  // only, in which it never does.
  size_t rooms[4] = {kRooms[pick & 15], kRooms[pick >> 4], text.size() + 1, 2 * text.size() + 2};
  for (int from = 0; from <= 4; ++from) {
    for (int to = 0; to <= 4; ++to) {
      for (size_t room : rooms) {
        if (to == tz::kEuc && room > 2048 && room < 2 * text.size() + 2) continue;
        convert(run, text, from, to, room);
      }
    }
  }

  std::string copy = text;
  tz::convert_code(run, copy, 0, tz::kUtf8, 64);
  check(copy.size() < 64);

  check(tz::from_base64(tz::to_base64(text)) == text);
  tz::from_base64(text);
  return 0;
}
