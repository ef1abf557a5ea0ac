// The date field of a post: reading its date, the deleted post's marks, the BE
// notation and the recasting of the date for the text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tz {

struct Run;

// What read_date reports; all zero for an empty text.
struct DateInfo {
  uint8_t mark = 0;         // the field is a deleted post's mark
  uint8_t year_digits = 0;  // 4 or 2; 0 no date found
  uint8_t year_last = 0;    // written month, day, year
  uint8_t ok = 0;           // neither empty nor a mark
  uint8_t time_digits = 0;  // 4, 6, 8; 0 no time
  uint8_t has_id = 0;       // "ID:" in the text (identifying mode)
  uint8_t form = 0;         // machi form code (identifying mode)
  int start = 0;            // offset of the date
  int end = 0;              // offset behind the time; 0 no time
  uint8_t adjust = 0;       // 1 repaired, 2 year unknown
  uint8_t prefix = 0;       // something stands before the date
  uint8_t blanks = 0;       // blanks at the head of the text
  uint8_t weekday = 0;      // 0 no bracket, 1 known weekday, 2 other text
  uint8_t centi = 0;        // the time has hundredths
};

// Reads the date field `text` (in `code`). `digits` (room of 17 bytes or more) gets
// YYYYMMDDhhmmssCC, its first byte NUL when no date was read. `identify` 1 for the
// identifying mode. No side effect on `text`.
void read_date(Run& run, DateInfo* info, char* digits, const char* text, int code, int identify);
// The same for a text of known length that holds no NUL byte.
void read_date(Run& run, DateInfo* info, char* digits, std::string_view text, int code,
               int identify);

// Finds a BE notation in `text`; result 0 none, else its form 1 to 5. `span` gets the
// offsets of its first and last byte.
int find_be(const Run& run, const char* text, std::string* id, std::string* level,
            std::string* extra, int span[2]);

// False when `text` can hold no BE notation: every form has a "<" or "BE:".
bool may_hold_be(std::string_view text);

// Rewrites the BE notation of a date field in place.
void rewrite_be(Run& run, std::string& date);

// Recasts run.post.date by /m digit 2 bits 1,2.
void recast_date(Run& run);

// Gregorian weekday, 0 = Sunday.
int weekday_of(int year, int month, int day);

}  // namespace tz
