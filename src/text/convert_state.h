// Working state of the thread converter, kept between posts of one thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace tz {

// The text of a weekday bracket of a date field and what it reads as in Shift_JIS.
struct WeekdayMemo {
  uint8_t code = 0;  // the code of `text`; 0 for an empty entry
  uint8_t len = 0;
  char text[30] = {};
  uint8_t sjis_len = 0;
  char sjis[64] = {};  // NUL-ended
};

// Work strings of the converter and the body scanner. They live as long as the run, so
// that their room is reserved once and reused by every post.
struct ConvertState {
  std::string date_work;  // copy of a date field whose BE notation is rewritten
  std::string link;       // a web address being collected for shortening
  std::string note;       // the omission note of a cut body
  std::string text;       // head, foot and title blocks; the excerpt's text
  std::string fold;       // the excerpt's text being folded

  // Where the body scanner builds a field before it is appended at once; never cleared.
  std::unique_ptr<char[]> field;
  size_t field_room = 0;

  // Post blocks built and not yet written (convert_thread).
  std::unique_ptr<char[]> posts;
  size_t posts_len = 0;
  size_t posts_room = 0;

  // Weekday texts of other codes met last, with their conversions (read_date).
  std::array<WeekdayMemo, 8> weekdays;
  uint8_t weekday_next = 0;
};

}  // namespace tz
