// The records of one run: settings (cmdm), the thread in hand (sflg), the run's
// counters (batch), the path strings, the board slots and the work areas.
// Field names follow the program's own vocabulary so that behaviour maps to code.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "platform/os.h"

namespace tz {

// Limits of the data model.
constexpr size_t kPathRoom = 256;      // a path, a file name, a piece of board information
constexpr size_t kTitleRoom = 8193;    // a title string
constexpr size_t kTitleCut = 8000;     // a title in work
constexpr size_t kFieldRoom = 150000;  // a post's field
constexpr int kOpenEnd = 999999;       // upper bound of /r that means "no upper bound"

// Kanji code numbers.
enum : uint8_t { kCodeAuto = 0, kSjis = 1, kEuc = 2, kUtf8 = 3, kBig5 = 4 };

// Settings of the command line.
struct Cmdm {
  bool a = false;
  std::string a_str;  // letters out of "BsbnfFd", in the order given
  bool a_c = false;
  bool a_r = false;
  bool c = false;
  uint8_t ck = 0;  // console code as given: 0 not given, 1 Shift_JIS, 2 EUC-JP, 3 UTF-8
  bool ct = false;
  int d = 0;
  char f = 0;
  bool i = false;
  bool i_img = false;
  char i_sort = 0;
  char i_order = 0;
  uint8_t i_num = 1;
  uint8_t i_rescnt = 1;
  uint8_t i_others = 0;
  uint8_t i_first = 0;
  uint8_t i_perout = 0;
  uint8_t i_one = 0;
  uint8_t i_html = 0;
  uint8_t i_tmp = 0;
  uint8_t i_tpl = 1;
  uint8_t i_code = 0;
  uint8_t i_date = 1;
  uint8_t i_simple = 0;
  std::string i_fn;
  std::string i_tr;
  std::string i_tl;
  bool l = false;
  uint8_t l_code = 0;
  bool mv = false;
  std::string mv_path;
  bool mv_r = false;
  uint32_t m = 0x3001;
  uint32_t m2 = 0;
  bool be_off = false;
  std::string n;
  uint32_t o = 0x1E1B00;
  bool q = false;
  std::string q_str;
  int r_min = 0;
  int r_max = 0;
  bool s = false;
  std::string s_file;
  bool sp = true;
  bool st = false;
  bool t = false;
  std::string t_fmt;
  char ts_kind = 0;
  std::string ts_from;
  std::string ts_to;
  uint8_t ts_range = 0;
  uint8_t u = 0;
  bool v = false;
  uint8_t v_mode = 0;
  bool z = false;

  // Derived by the parser.
  bool src_null = false;
  bool dst_null = false;
  bool src_wild = false;
  std::string exe_dir;  // with closing separator
  std::string mv_dst;
  uint8_t conmode = 1;  // 0 console and log, 1 console only, 2 log only
  bool q_and = false;
};

// Named switches of /m, /m2 and /o, by the bit layout of the settings words.
inline bool m_name_label(const Cmdm& c) {
  return c.m & (1u << 0);
}
inline bool m_date_label(const Cmdm& c) {
  return c.m & (1u << 1);
}
inline bool m_mail_direct(const Cmdm& c) {
  return c.m & (1u << 2);
}
inline bool m_no_title(const Cmdm& c) {
  return c.m & (1u << 3);
}
inline int m_weekday_mode(const Cmdm& c) {
  return (c.m >> 4) & 3;
}  // bit 1 of the digit high
inline bool m_foot_size(const Cmdm& c) {
  return c.m & (1u << 6);
}
inline bool m_keep_body_blank(const Cmdm& c) {
  return c.m & (1u << 7);
}
inline bool m_title_lead_blank(const Cmdm& c) {
  return c.m & (1u << 8);
}
inline bool m_name_blanks(const Cmdm& c) {
  return c.m & (1u << 9);
}
inline bool m_lf(const Cmdm& c) {
  return c.m & (1u << 10);
}
inline bool m_head_board(const Cmdm& c) {
  return c.m & (1u << 12);
}
inline bool m_head_url(const Cmdm& c) {
  return c.m & (1u << 13);
}
inline bool m_short_links(const Cmdm& c) {
  return c.m & (1u << 23);
}
inline int m_line_limit(const Cmdm& c) {
  return (c.m >> 24) & 0x1F;
}
inline bool m_excerpt(const Cmdm& c) {
  return c.m & (1u << 30);
}
inline int m_forced_out(const Cmdm& c) {
  return (c.m2 >> 1) & 3;
}  // 0 not forced, else code
inline bool o_no_side_files(const Cmdm& c) {
  return c.o & 0x01;
}
inline bool o_no_browser_files(const Cmdm& c) {
  return c.o & 0x02;
}
inline bool o_no_board_lists(const Cmdm& c) {
  return c.o & 0x04;
}
inline bool o_no_log_check(const Cmdm& c) {
  return c.o & 0x08;
}
inline bool o_no_receiver(const Cmdm& c) {
  return c.o & 0x10;
}
inline int o_forced_in(const Cmdm& c) {
  return (c.o >> 6) & 3;
}  // 0 detect, else code
inline int o_priority(const Cmdm& c) {
  return (c.o >> 8) & 0xFF;
}
inline int o_head_kb(const Cmdm& c) {
  return (c.o >> 16) & 0xFF;
}

// The thread in hand. Cleared per file by the driver, unless a field says otherwise.
struct Sflg {
  uint8_t kind = 0;     // 0 unknown, 1 comma log, 2 <> log, 7 html log, 0xFD empty, 0xFF unopenable
  uint8_t subkind = 0;  // number of the date field: 3, or 4 in numbered logs; 0 unknown
  uint8_t comma_sub = 0;
  uint8_t live_head = 0;
  uint8_t code_in = 0;
  uint8_t k_abroad = 0;  // 0 none, 1 Taiwan 2ch, 2 World 2ch
  int64_t ftime = 0;
  uint8_t idx_found = 0;
  uint8_t ow = 0;  // 0 undecided, 1 new, 2 overwrites, 3 refused but listed, 4 refused
  int64_t fsize = 0;
  int64_t fsize_kb = 0;
  int32_t key = 0;
  int rescount = 0;
  std::string dfile_dir;
  int pieces = 0;
  int piece = 0;
  std::string tname;
  std::string tname_sjis;
  std::string tname_dat;
  std::string tname_idx;

  // Board kind flags; "clearing the kind flags" means the eleven from k_2ch to k_none.
  uint8_t k_2ch = 0;
  uint8_t k_pink = 0;
  uint8_t k_be = 0;
  uint8_t k_machi = 0;
  uint8_t k_milkcafe = 0;
  uint8_t k_shitaraba = 0;
  uint8_t k_lv3 = 0;
  uint8_t k_free = 0;
  uint8_t k_jbbs2 = 0;
  uint8_t k_other = 0;
  uint8_t k_none = 0;

  // State of the board resolver.
  std::string thread_url;
  std::string server;
  std::string bbs_name;
  std::string abone_dir;
  uint8_t abone = 0;
  uint8_t brd_ok = 0;
  uint8_t brd_pos = 0;
  uint8_t brd_src = 0;
  uint8_t brd_hit = 0;
  std::string brd_file;
  uint8_t idx_form_o = 0;
  uint8_t idx_form_l = 0;
  int inf_result = 0;
  uint8_t dat_tree = 0;
  uint8_t menu_tree = 0;
};

inline void clear_kind_flags(Sflg& s) {
  s.k_2ch = s.k_pink = s.k_be = s.k_machi = s.k_milkcafe = s.k_shitaraba = 0;
  s.k_lv3 = s.k_free = s.k_jbbs2 = s.k_other = s.k_none = 0;
}

// One slot of the board information table.
struct BoardSlot {
  std::string name;
  std::string url;
  std::string dir;
  uint8_t name_code = 0;
  std::string src;
  std::string src_prev;
};

// Counters and flags of one run (owned by the driver).
struct Batch {
  uint8_t first_run = 1;
  int file_no = 0;
  int total_done = 0;
  int folder_done = 0;
  int best_done = 0;
  uint8_t first_in_folder = 1;
  int folder_no = 0;
  int moved = 0;
  uint8_t mv_stopped = 0;
  int index_pages = 0;
  uint8_t list_only = 0;
  int list_only_count = 0;
  int warned = 0;
  uint8_t status = 0;
};

// The path strings of the current file. Folders keep their closing separator.
struct Paths {
  std::string src_path;
  std::string src_arg_dir;
  std::string src_dir;
  std::string src_pat;
  std::string src_file;
  std::string src_base;
  std::string dst_path;
  std::string out_root;
  std::string dst_mirror;
  std::string out_sub;
  std::string out_path;
  std::string out_name;
  std::string out_base;
  int out_no = 0;
  std::string out_ext = ".txt";
  std::string made_dir;  // the output folder made (or found) last: the next file mostly goes there
};

// Dates of a thread: 16 digits YYYYMMDDhhmmssCC in strings of 20 bytes.
struct Times {
  char first[20] = {};
  char last[20] = {};
  char age[20] = {};  // last post without sage in its mail field
};

// The totals of the run: low word below 1,000,000,000, high word in units of it.
struct Totals {
  int64_t rd_hi = 0;
  int64_t rd_lo = 0;
  int64_t wr_hi = 0;
  int64_t wr_lo = 0;
};

// Adds `n` bytes to a total of two words, with one carry step per addition.
inline void add_total(int64_t& hi, int64_t& lo, int64_t n) {
  lo += n;
  if (lo >= 1000000000) {
    lo -= 1000000000;
    hi += 1;
  }
}

// The fields of the log line in hand (made by next_line).
struct LineFields {
  char* fields[9] = {};
  uint8_t seps = 0;
  char* next = nullptr;
  uint8_t end_flag = 0;
  const char* lang_tag = "";  // World 2ch: " By English" and the like
};

// The post in hand after body conversion.
struct Post {
  std::string name;
  std::string mail;
  std::string date;
  std::string body;
  uint8_t date_ok = 0;
  size_t cut = std::string::npos;  // where the line limit cuts the body; npos = none
  int cut_lines = 0;
};

// A heap block of bytes that grows without clearing what it gets: the log is read over
// it at once, so filling it with zeros first would be work thrown away.
class ByteBlock {
 public:
  static constexpr size_t kReserve = 8 << 20;

  ByteBlock() = default;
  ByteBlock(ByteBlock&& other) noexcept
      : data_(std::exchange(other.data_, nullptr)),
        size_(std::exchange(other.size_, 0)),
        room_(std::exchange(other.room_, 0)) {}
  ByteBlock& operator=(ByteBlock&& other) noexcept {
    if (this != &other) {
      release();
      data_ = std::exchange(other.data_, nullptr);
      size_ = std::exchange(other.size_, 0);
      room_ = std::exchange(other.room_, 0);
    }
    return *this;
  }
  ~ByteBlock() { release(); }

  char* data() { return data_; }
  const char* data() const { return data_; }
  size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  // Makes room for `n` bytes; the contents are not kept. False: out of memory.
  bool grow(size_t n) { return grow_keeping(n, 0); }
  // Makes room for `n` bytes, keeping the first `keep`. A block set aside gets its whole
  // room back.
  bool grow_keeping(size_t n, size_t keep) {
    if (n <= room_) {
      size_ = room_;
      return true;
    }
    // Room for a few MB is taken at once: a page costs only once it is written, and each
    // block got anew costs its pages again (a walk meets ever longer logs).
    const size_t room = n < kReserve ? kReserve : n;
    char* p = os::alloc_large(room);
    if (!p) return false;
    if (keep && size_) std::memcpy(p, data_, keep < size_ ? keep : size_);
    release();
    data_ = p;
    size_ = room;
    room_ = room;
    return true;
  }
  // Holds `n` bytes of `text` and a NUL behind them.
  void assign(const char* text, size_t n) {
    release();
    grow(n + 1);
    std::memcpy(data_, text, n);
    data_[n] = '\0';
  }
  void release() {
    os::free_large(data_, room_);
    data_ = nullptr;
    size_ = 0;
    room_ = 0;
  }
  // Empty, as after release, but the memory stays for the next growth: its pages needn't
  // be had from the system again.
  void set_aside() { size_ = 0; }

 private:
  char* data_ = nullptr;
  size_t size_ = 0;
  size_t room_ = 0;  // what data_ holds; size_ is 0 while the block is set aside
};

// The whole log of the thread in hand, kept and regrown from file to file (set aside
// between folders).
struct LogBuffer {
  ByteBlock sfile;       // the text, ended by a NUL; size() is log_cap
  size_t len = 0;        // bytes of text in sfile
  size_t log_first = 0;  // offset of the first post line
  size_t log_last = 0;   // offset of the last byte that counts (inclusive)
  // With utf8_due, the text from utf8_from on is still Shift_JIS and is to become UTF-8
  // before it is converted (on the converter's side, off the main thread). Its lines,
  // counts and dates are the same in both codes.
  size_t utf8_from = 0;
  bool utf8_due = false;
};

}  // namespace tz
