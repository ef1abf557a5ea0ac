// Output files are written behind the conversion: the converter hands over blocks of
// text and goes on with the next thread while a second thread writes them, closes the
// files and gives them their times. Reading, converting and writing then share the two
// cores, and the memory it takes stays within a few blocks.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "place/text_block.h"

namespace tz {

// The output file in hand: its text gathers in a block that is written when it is full
// and when the file is closed.
struct OutputFile {
  int fd = -1;
  std::string path;
  TextBlock block;
  int64_t bytes = 0;    // handed over since it was opened
  bool failed = false;  // writing some of it failed (when written here, not behind)
};

// Starts `body` on `thread` the first time it is called. When no thread can be had,
// `alone` is set for good and the caller does the work itself.
template <typename Body>
void start_once(std::thread& thread, bool& alone, Body body) {
  if (thread.joinable() || alone) return;
  try {
    thread = std::thread(body);
  } catch (const std::system_error&) {
    alone = true;
  }
}

// An output file that could not be written whole: its path and the error number.
struct WriteFailure {
  std::string path;
  int err = 0;
};

class WriteBehind {
 public:
  WriteBehind() = default;
  WriteBehind(const WriteBehind&) = delete;
  WriteBehind& operator=(const WriteBehind&) = delete;
  ~WriteBehind();

  // Hands over `block` for `fd` (and leaves an empty block with room in its place). With
  // `last` the file is closed behind it, and given `time` with `stamp`. Waits while as
  // many blocks as the queue holds are waiting.
  void put(int fd, const std::string& path, TextBlock& block, bool last, bool stamp, int64_t time);
  // Waits until nothing handed over for `path` is left to do.
  void wait_for(const std::string& path);
  // Waits until everything handed over is done.
  void drain();
  // The failures met since the last call.
  std::vector<WriteFailure> take_failures();
  // The sizes of the outputs closed so far, in the totals' two words.
  void add_written(int64_t& hi, int64_t& lo);

 private:
  struct Job {
    int fd;
    std::string path;
    TextBlock block;
    bool last;
    bool stamp;
    int64_t time;
  };
  // What has been written to a file that is still open.
  struct Open {
    int fd;
    int64_t bytes;
    bool failed;
    int err;
  };
  void work();
  void write_job(Job& job);

  std::mutex mu_;
  std::condition_variable wake_;  // a job came, or the end
  std::condition_variable done_;  // a job was done
  std::deque<Job> queue_;
  bool busy_ = false;  // the worker holds a job
  std::string busy_path_;
  bool stop_ = false;
  bool alone_ = false;  // the thread could not be started
  std::vector<TextBlock> spare_;
  std::vector<WriteFailure> failures_;
  int64_t written_hi_ = 0;
  int64_t written_lo_ = 0;
  std::vector<Open> open_;  // the worker's own
  std::thread thread_;
};

}  // namespace tz
