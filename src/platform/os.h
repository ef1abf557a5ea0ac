// The only code that calls the operating system (POSIX). Paths are in the
// file-name code of the platform (UTF-8) and use '/' as separator.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace tz::os {

constexpr char kSep = '/';

struct FileInfo {
  bool exists = false;
  bool is_dir = false;
  int64_t size = 0;
  int64_t mtime = 0;  // last write time, seconds since the epoch
  int64_t atime = 0;
  int64_t birthtime = 0;  // creation time where the file system keeps one, else mtime
};

// Status of a path, following symbolic links. False (and errno) when it can't be read.
bool stat_path(const std::string& path, FileInfo* info);
// Status of an open file.
bool stat_file(std::FILE* fp, FileInfo* info);

// A file read through its descriptor, in as few calls as its size allows.
int open_read(const std::string& path);  // the descriptor, or -1 (errno set)
// Reads up to `n` bytes, going on after a short read until the end of the file. An
// error stops it with `*failed` set and errno telling why; what came before counts.
size_t read_bytes(int fd, char* buf, size_t n, bool* failed);
// A new, empty file for writing (an old one of the name is emptied); -1 (errno set).
int open_write(const std::string& path);
// Writes all `n` bytes; false (errno set) when they could not all be written.
bool write_all(int fd, const char* data, size_t n);
bool close_file(int fd);

// Memory for a large work block, `n` bytes, in huge pages where the system gives them:
// every page costs a fault when it is first written, and a huge page costs one fault for
// 512. Null when there is none. It is given back with free_large and the same `n`.
// The size of a huge page, which alloc_large rounds its mappings up to.
constexpr size_t kHugePage = 2 << 20;
char* alloc_large(size_t n);
void free_large(char* p, size_t n);

// Sets access and modification time of a file.
bool set_file_times(const std::string& path, int64_t atime, int64_t mtime);

// Creates one folder. 0 made, 1 it already exists, -1 failed (errno set).
int make_dir(const std::string& path);
bool remove_file(const std::string& path);
bool rename_file(const std::string& from, const std::string& to);

// A folder being read entry by entry. Hidden entries are names that begin with '.'.
// Only real folders and files count: a symbolic link to a folder is neither a folder nor
// a file (so a link loop can't trap a walk), a link to a file is a file, and pipes,
// sockets and devices are neither (opening a pipe would hang the run).
struct DirEntry {
  std::string name;
  bool is_dir = false;   // a real folder
  bool is_file = false;  // a regular file, or a symbolic link to one
  bool is_link = false;
  bool hidden = false;
};
// The entries of a folder are handed out in the order of their names (ASCII letters
// compared as capitals, then bytes), whatever order the file system keeps, so that a
// walk visits folders in the same order on every machine.
class DirReader {
 public:
  DirReader() = default;
  DirReader(const DirReader&) = delete;
  DirReader& operator=(const DirReader&) = delete;
  bool open(const std::string& dir);  // false: the folder can't be read
  bool next(DirEntry* entry);         // false: no more entries; "." and ".." included
  void close();
  bool is_open() const { return open_; }

 private:
  std::vector<DirEntry> entries_;
  size_t next_ = 0;
  bool open_ = false;
};

// Folder of the running executable with its closing separator, or TANZAKU_HOME.
std::string program_dir();
// Current folder of the process, without closing separator ("" if unknown).
std::string current_dir();
// Value of an environment variable; empty when unset.
std::string env(const char* name);
// XDG user folder ("DESKTOP", "DOCUMENTS"), without closing separator; "" if unknown.
std::string user_dir(const char* which);
// The console's kanji code from the locale: 1 Shift_JIS, 2 EUC-JP, 3 UTF-8.
int locale_code();

// Seconds since the epoch, and the local time of a moment (TZ honoured).
int64_t now_seconds();
struct LocalTime {
  int year, month, day, hour, minute, second, weekday;
};
LocalTime local_time(int64_t t);
// The same moment for a local date and time (-1 if it can't be had).
int64_t make_local_time(const LocalTime& lt);
void sleep_seconds(int n);

// Non-blocking advisory write lock over a byte range of an open file; true = held.
bool lock_range(std::FILE* fp, int64_t length);
void unlock_range(std::FILE* fp, int64_t length);

// Writes bytes to standard output.
void write_stdout(const char* data, size_t len);
void flush_stdout();

}  // namespace tz::os
