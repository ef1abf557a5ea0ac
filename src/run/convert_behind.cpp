#include "run/convert_behind.h"

#include <utility>

#include "log/first_pass.h"
#include "place/output.h"
#include "run/driver.h"
#include "run/records.h"
#include "run/run.h"
#include "text/convert.h"

namespace tz {

ConvertBehind::ConvertBehind() : run_(std::make_unique<Run>()) {
  init_run(*run_);
  run_->writer = std::make_unique<WriteBehind>();
}

ConvertBehind::~ConvertBehind() {
  {
    std::lock_guard<std::mutex> lock(mu_);
    stop_ = true;
  }
  wake_.notify_all();
  if (thread_.joinable()) thread_.join();
}

bool ConvertBehind::takes(const Run& run) {
  const Cmdm& c = run.cmdm;
  return !c.st && !c.d && !c.dst_null && !c.i_first && !m_excerpt(c) && !run.batch.list_only &&
         run.out.fd >= 0;
}

void ConvertBehind::hand_over(Run& run, bool stamp, int64_t time) {
  std::unique_lock<std::mutex> lock(mu_);
  start_once(thread_, alone_, [this] { work(); });
  done_.wait(lock, [this] { return !busy_; });
  // What the converter reads of the run; the main thread rewrites its own copy for the
  // next thread meanwhile.
  Run& w = *run_;
  w.cmdm = run.cmdm;
  w.sflg = run.sflg;
  w.brd[0] = run.brd[0];
  w.paths = run.paths;
  copy_stores(run.str, w.str);
  w.code_out = run.code_out;
  w.code_conv = run.code_conv;
  w.con_code = run.con_code;
  // The buffers change hands: the main thread reads the next log into the one the
  // converter is done with.
  std::swap(w.log, run.log);
  std::swap(w.out, run.out);
  run.out.fd = -1;
  stamp_ = stamp;
  time_ = time;
  busy_ = true;
  busy_path_ = w.out.path;
  if (alone_) {
    lock.unlock();
    convert();
    lock.lock();
    busy_ = false;
    busy_path_.clear();
    return;
  }
  lock.unlock();
  wake_.notify_one();
}

void ConvertBehind::wait_for(const std::string& path) {
  {
    std::unique_lock<std::mutex> lock(mu_);
    done_.wait(lock, [&] { return !busy_ || busy_path_ != path; });
  }
  run_->writer->wait_for(path);
}

void ConvertBehind::drain() {
  {
    std::unique_lock<std::mutex> lock(mu_);
    done_.wait(lock, [this] { return !busy_; });
  }
  run_->writer->drain();
}

std::vector<WriteFailure> ConvertBehind::take_failures() {
  return run_->writer->take_failures();
}

void ConvertBehind::add_written(int64_t& hi, int64_t& lo) {
  run_->writer->add_written(hi, lo);
}

void ConvertBehind::work() {
  std::unique_lock<std::mutex> lock(mu_);
  for (;;) {
    wake_.wait(lock, [this] { return stop_ || busy_; });
    if (!busy_) return;
    lock.unlock();
    convert();
    lock.lock();
    busy_ = false;
    busy_path_.clear();
    done_.notify_all();
  }
}

// Runs on the converter's thread, in its own run: nothing it touches is the main
// thread's. Its writer writes behind it in turn, and keeps the failures for the main
// thread to tell.
void ConvertBehind::convert() {
  Run& w = *run_;
  bring_posts_into_utf8(w);
  convert_thread(w, 0, 0, Times{});
  close_output(w, stamp_, time_);
}

}  // namespace tz
