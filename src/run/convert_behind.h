// Threads are converted behind the reading: while a second thread turns one log into
// its text and writes it, the main thread goes on to identify and read the next. The
// second thread works in a Run of its own, which takes over, for each thread, the
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
  // Takes over the thread in hand, once the one before is done: `run` is left with an
  // empty log buffer and no open output. The output is closed behind it, and given
  // `time` with `stamp`.
  void hand_over(Run& run, bool stamp, int64_t time);
  // Waits until no thread taken over is to be written to `path`.
  void wait_for(const std::string& path);
  // Waits until every thread taken over is written.
  void drain();
  // The outputs that could not be written whole since the last call.
  std::vector<WriteFailure> take_failures();
  // The sizes of the outputs written so far, added into the totals' two words.
  void add_written(int64_t& hi, int64_t& lo);

 private:
  void work();
  void convert();

  std::unique_ptr<Run> run_;  // the converter's own, with a writer of its own
  std::mutex mu_;
  std::condition_variable wake_;  // a thread was handed over, or the end
  std::condition_variable done_;  // the thread in work is done
  bool busy_ = false;             // a thread is handed over and not yet written
  std::string busy_path_;
  bool stamp_ = false;
  int64_t time_ = 0;
  bool stop_ = false;
  bool alone_ = false;  // no thread to be had: threads are converted where handed over
  std::thread thread_;
};

}  // namespace tz
