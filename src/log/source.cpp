#include "log/source.h"

#include <cerrno>

#include "run/run.h"

namespace tz {

namespace {

constexpr int64_t kEarliestWriteTime = 843264000;  // write times up to this are not trusted

// The record of the current source path, reset when the path has changed since.
SourceFile& current(Run& run) {
  SourceFile& src = run.source;
  if (src.path != run.paths.src_path) {
    reset_source(run);
    src.path = run.paths.src_path;
  }
  return src;
}

}  // namespace

const os::FileInfo* source_status(Run& run) {
  SourceFile& src = current(run);
  if (!src.looked) {
    src.looked = true;
    src.found = os::stat_path(src.path, &src.info);
    src.err = src.found ? 0 : errno;
  }
  if (!src.found) errno = src.err;
  return src.found ? &src.info : nullptr;
}

bool open_source(Run& run) {
  SourceFile& src = current(run);
  if (src.fd >= 0) return true;
  src.have = 0;
  src.failed = false;
  src.fd = os::open_read(src.path);
  return src.fd >= 0;
}

void close_source(Run& run) {
  SourceFile& src = run.source;
  if (src.fd >= 0) os::close_file(src.fd);
  src.fd = -1;
  src.have = 0;
  src.failed = false;
}

void reset_source(Run& run) {
  close_source(run);
  SourceFile& src = run.source;
  src.path.clear();
  src.looked = false;
  src.found = false;
  src.info = os::FileInfo{};
  src.err = 0;
}

int64_t source_time(const os::FileInfo& info) {
  return info.mtime <= kEarliestWriteTime ? info.birthtime : info.mtime;
}

}  // namespace tz
