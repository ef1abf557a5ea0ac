// Threads are converted behind the reading: while a second thread turns logs into their
// texts and writes them, the main thread goes on to identify and read the next. One
// thread may wait while another is converted, so that a long log on one side doesn't
// hold up the other. Each thread handed over has a Run of its own, which takes over the
// settings and strings of the main one, its log buffer and its open output.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "place/writer.h"
#include "run/records.h"

namespace tz {

struct Run;

class ConvertBehind {
 public:
  ConvertBehind();
  ConvertBehind(const ConvertBehind&) = delete;
  ConvertBehind& operator=(const ConvertBehind&) = delete;
  ~ConvertBehind();

  // Whether the thread in hand may be converted behind: a whole thread into an open
  // output file, with nothing of it wanted afterwards (no pieces, no excerpt).
  static bool takes(const Run& run);
  // Takes over the thread in hand, once there is room for it: `run` is left with
  // another log buffer and no open output. The output is closed behind it, and given
  // `time` with `stamp`.
  void hand_over(Run& run, bool stamp, int64_t time);
  // Whether a thread handed over now would wait for room.
  bool full();
  // Waits until no thread taken over is to be written to `path`.
  void wait_for(const std::string& path);
  // Waits until every thread taken over is written.
  void drain();
  // The outputs that could not be written whole since the last call.
  std::vector<WriteFailure> take_failures();
  // The sizes of the outputs written so far, added into the totals' two words.
  void add_written(int64_t& hi, int64_t& lo);

 private:
  // A thread taken over, or a place for one.
  struct Slot {
    std::unique_ptr<Run> run;
    std::string path;  // its output, while it waits or is converted
    bool stamp = false;
    int64_t time = 0;
  };
  void work();
  void convert(Slot& slot);
  // Converts the slot handed over first and frees it; `lock` is held before and after.
  void convert_first(std::unique_lock<std::mutex>& lock);
  bool has_path(const std::string& path) const;

  std::vector<Slot> slots_;  // a ring: the converter takes them in the order handed over
  size_t next_ = 0;          // the slot the converter takes next
  size_t held_ = 0;          // slots handed over and not yet written
  std::shared_ptr<WriteBehind> writer_;  // the converter's, for the runs of all slots
  ByteBlock conv_block_;                 // the converter's work block, lent to each slot
  std::mutex mu_;
  std::condition_variable wake_;  // a thread was handed over, or the end
  std::condition_variable done_;  // a thread was converted
  bool stop_ = false;
  bool alone_ = false;  // no thread to be had: threads are converted where handed over
  std::thread thread_;
};

}  // namespace tz
