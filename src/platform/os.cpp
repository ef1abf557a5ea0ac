#include "platform/os.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>

namespace tz::os {

namespace {

void fill_info(const struct stat& st, FileInfo* info) {
  info->exists = true;
  info->is_dir = S_ISDIR(st.st_mode);
  info->size = st.st_size;
  info->mtime = st.st_mtime;
  info->atime = st.st_atime;
  info->birthtime = st.st_mtime;
}

// One statx call gives the times with the birth time where the file system keeps one;
// plain stat stands in where statx is missing.
bool stat_at(int dirfd, const char* path, int flags, FileInfo* info) {
  *info = FileInfo{};
#ifdef STATX_BTIME
  struct statx sx;
  if (statx(dirfd, path, flags, STATX_BASIC_STATS | STATX_BTIME, &sx) == 0) {
    info->exists = true;
    info->is_dir = S_ISDIR(sx.stx_mode);
    info->size = static_cast<int64_t>(sx.stx_size);
    info->mtime = sx.stx_mtime.tv_sec;
    info->atime = sx.stx_atime.tv_sec;
    info->birthtime = (sx.stx_mask & STATX_BTIME) ? sx.stx_btime.tv_sec : sx.stx_mtime.tv_sec;
    return true;
  }
  if (errno != ENOSYS) return false;
#endif
  struct stat st;
  int rc = flags & AT_EMPTY_PATH ? fstat(dirfd, &st) : fstatat(dirfd, path, &st, flags);
  if (rc != 0) return false;
  fill_info(st, info);
  return true;
}

}  // namespace

bool stat_path(const std::string& path, FileInfo* info) {
  return stat_at(AT_FDCWD, path.c_str(), 0, info);
}

bool stat_file(std::FILE* fp, FileInfo* info) {
  return stat_at(fileno(fp), "", AT_EMPTY_PATH, info);
}

int open_read(const std::string& path) {
  int fd;
  do {
    fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

size_t read_bytes(int fd, char* buf, size_t n, bool* failed) {
  *failed = false;
  size_t got = 0;
  while (got < n) {
    ssize_t r = ::read(fd, buf + got, n - got);
    if (r < 0) {
      if (errno == EINTR) continue;
      *failed = true;
      break;
    }
    if (r == 0) break;
    got += static_cast<size_t>(r);
  }
  return got;
}

int open_write(const std::string& path) {
  int fd;
  do {
    fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

bool write_all(int fd, const char* data, size_t n) {
  while (n > 0) {
    ssize_t w = ::write(fd, data, n);
    if (w < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (w == 0) {
      errno = EIO;
      return false;
    }
    data += w;
    n -= static_cast<size_t>(w);
  }
  return true;
}

bool close_file(int fd) {
  return ::close(fd) == 0;
}

bool set_file_times(const std::string& path, int64_t atime, int64_t mtime) {
  struct timespec ts[2];
  ts[0].tv_sec = static_cast<time_t>(atime);
  ts[0].tv_nsec = 0;
  ts[1].tv_sec = static_cast<time_t>(mtime);
  ts[1].tv_nsec = 0;
  return utimensat(AT_FDCWD, path.c_str(), ts, 0) == 0;
}

int make_dir(const std::string& path) {
  if (::mkdir(path.c_str(), 0777) == 0) return 0;
  if (errno == EEXIST) return 1;
  return -1;
}

bool remove_file(const std::string& path) {
  return ::unlink(path.c_str()) == 0;
}

bool rename_file(const std::string& from, const std::string& to) {
  return ::rename(from.c_str(), to.c_str()) == 0;
}

namespace {

// Folder order: ASCII letters compared as capitals, then the bytes themselves.
bool entry_before(const DirEntry& a, const DirEntry& b) {
  size_t n = a.name.size() < b.name.size() ? a.name.size() : b.name.size();
  for (size_t i = 0; i < n; ++i) {
    unsigned char x =
        static_cast<unsigned char>(std::toupper(static_cast<unsigned char>(a.name[i])));
    unsigned char y =
        static_cast<unsigned char>(std::toupper(static_cast<unsigned char>(b.name[i])));
    if (x != y) return x < y;
  }
  if (a.name.size() != b.name.size()) return a.name.size() < b.name.size();
  return a.name < b.name;
}

void fill_entry(const std::string& dir, const struct dirent* de, DirEntry* entry) {
  entry->name = de->d_name;
  entry->hidden = de->d_name[0] == '.';
  unsigned char type = de->d_type;
  struct stat st;
  std::string full = dir + entry->name;
  if (type == DT_UNKNOWN && ::lstat(full.c_str(), &st) == 0) {
    if (S_ISDIR(st.st_mode))
      type = DT_DIR;
    else if (S_ISLNK(st.st_mode))
      type = DT_LNK;
    else if (S_ISREG(st.st_mode))
      type = DT_REG;
  }
  entry->is_dir = type == DT_DIR;
  entry->is_link = type == DT_LNK;
  entry->is_file = type == DT_REG;
  if (entry->is_link && ::stat(full.c_str(), &st) == 0) entry->is_file = S_ISREG(st.st_mode);
}

}  // namespace

bool DirReader::open(const std::string& dir) {
  close();
  DIR* d = ::opendir(dir.empty() ? "." : dir.c_str());
  if (!d) return false;
  std::string prefix = dir;
  if (!prefix.empty() && prefix.back() != kSep) prefix += kSep;
  while (struct dirent* de = ::readdir(d)) {
    entries_.emplace_back();
    fill_entry(prefix, de, &entries_.back());
  }
  ::closedir(d);
  std::sort(entries_.begin(), entries_.end(), entry_before);
  open_ = true;
  return true;
}

bool DirReader::next(DirEntry* entry) {
  if (!open_ || next_ >= entries_.size()) return false;
  *entry = entries_[next_++];
  return true;
}

void DirReader::close() {
  entries_.clear();
  next_ = 0;
  open_ = false;
}

std::string program_dir() {
  std::string home = env("TANZAKU_HOME");
  if (!home.empty()) {
    if (home.back() != kSep) home += kSep;
    return home;
  }
  char buf[PATH_MAX];
  ssize_t n = ::readlink("/proc/self/exe", buf, sizeof buf - 1);
  if (n <= 0) return "";
  std::string exe(buf, static_cast<size_t>(n));
  size_t slash = exe.rfind(kSep);
  return slash == std::string::npos ? "" : exe.substr(0, slash + 1);
}

std::string current_dir() {
  char buf[PATH_MAX];
  if (!::getcwd(buf, sizeof buf)) return "";
  return buf;
}

std::string env(const char* name) {
  const char* v = std::getenv(name);
  return v ? v : "";
}

std::string user_dir(const char* which) {
  std::string home = env("HOME");
  if (home.empty()) return "";
  std::string config = env("XDG_CONFIG_HOME");
  if (config.empty()) config = home + "/.config";
  std::string key = std::string("XDG_") + which + "_DIR=";
  if (std::FILE* fp = std::fopen((config + "/user-dirs.dirs").c_str(), "rb")) {
    char line[1024];
    while (std::fgets(line, sizeof line, fp)) {
      if (std::strncmp(line, key.c_str(), key.size()) != 0) continue;
      std::string value = line + key.size();
      while (!value.empty() && (value.back() == '\n' || value.back() == '\r')) value.pop_back();
      if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
        value = value.substr(1, value.size() - 2);
      if (value.rfind("$HOME", 0) == 0) value = home + value.substr(5);
      std::fclose(fp);
      while (value.size() > 1 && value.back() == kSep) value.pop_back();
      return value;
    }
    std::fclose(fp);
  }
  if (std::strcmp(which, "DESKTOP") == 0) return home + "/Desktop";
  if (std::strcmp(which, "DOCUMENTS") == 0) return home + "/Documents";
  return "";
}

int locale_code() {
  std::string loc;
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    loc = env(name);
    if (!loc.empty()) break;
  }
  for (char& c : loc) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  if (loc.find("EUC") != std::string::npos) return 2;
  for (const char* sj : {"SJIS", "CP932", "SHIFT_JIS", "SHIFTJIS", "SHIFT-JIS"})
    if (loc.find(sj) != std::string::npos) return 1;
  return 3;
}

int64_t now_seconds() {
  return static_cast<int64_t>(::time(nullptr));
}

LocalTime local_time(int64_t t) {
  time_t tt = static_cast<time_t>(t);
  struct tm tmv;
  std::memset(&tmv, 0, sizeof tmv);
  if (!::localtime_r(&tt, &tmv)) return LocalTime{1970, 1, 1, 0, 0, 0, 4};
  return LocalTime{tmv.tm_year + 1900, tmv.tm_mon + 1, tmv.tm_mday, tmv.tm_hour,
                   tmv.tm_min,         tmv.tm_sec,     tmv.tm_wday};
}

int64_t make_local_time(const LocalTime& lt) {
  struct tm tmv;
  std::memset(&tmv, 0, sizeof tmv);
  tmv.tm_year = lt.year - 1900;
  tmv.tm_mon = lt.month - 1;
  tmv.tm_mday = lt.day;
  tmv.tm_hour = lt.hour;
  tmv.tm_min = lt.minute;
  tmv.tm_sec = lt.second;
  tmv.tm_isdst = -1;
  time_t t = ::mktime(&tmv);
  return static_cast<int64_t>(t);
}

void sleep_seconds(int n) {
  if (n <= 0) return;
  struct timespec ts;
  ts.tv_sec = n;
  ts.tv_nsec = 0;
  while (::nanosleep(&ts, &ts) != 0 && errno == EINTR) {
  }
}

bool lock_range(std::FILE* fp, int64_t length) {
  struct flock fl;
  std::memset(&fl, 0, sizeof fl);
  fl.l_type = F_WRLCK;
  fl.l_whence = SEEK_SET;
  fl.l_start = 0;
  fl.l_len = static_cast<off_t>(length);
  return ::fcntl(fileno(fp), F_SETLK, &fl) == 0;
}

void unlock_range(std::FILE* fp, int64_t length) {
  struct flock fl;
  std::memset(&fl, 0, sizeof fl);
  fl.l_type = F_UNLCK;
  fl.l_whence = SEEK_SET;
  fl.l_start = 0;
  fl.l_len = static_cast<off_t>(length);
  ::fcntl(fileno(fp), F_SETLK, &fl);
}

void write_stdout(const char* data, size_t len) {
  if (len) std::fwrite(data, 1, len, stdout);
}

void flush_stdout() {
  std::fflush(stdout);
}

char* alloc_large(size_t n) {
#if defined(__SANITIZE_ADDRESS__)
  // The address checker watches only the memory it hands out itself.
  return new (std::nothrow) char[n];
#else
  // Huge pages need an aligned start: the mapping is taken a huge page larger and
  // trimmed to one.
  const size_t len = (n + kHugePage - 1) / kHugePage * kHugePage;
  void* got =
      mmap(nullptr, len + kHugePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (got == MAP_FAILED) return nullptr;
  auto* raw = static_cast<char*>(got);
  const auto at = reinterpret_cast<uintptr_t>(raw);
  char* start = raw + ((kHugePage - at % kHugePage) % kHugePage);
  if (start > raw) munmap(raw, static_cast<size_t>(start - raw));
  char* end = raw + len + kHugePage;
  if (end > start + len) munmap(start + len, static_cast<size_t>(end - (start + len)));
#if defined(MADV_HUGEPAGE)
  madvise(start, len, MADV_HUGEPAGE);  // a hint: without huge pages it is memory all the same
#endif
  return start;
#endif
}

void free_large(char* p, size_t n) {
  if (p == nullptr) return;
#if defined(__SANITIZE_ADDRESS__)
  (void)n;
  delete[] p;
#else
  munmap(p, (n + kHugePage - 1) / kHugePage * kHugePage);
#endif
}

}  // namespace tz::os
