#include "run/convert_behind.h"

#include <utility>

#include "log/first_pass.h"
#include "place/output.h"
#include "run/driver.h"
#include "run/records.h"
#include "run/run.h"
#include "text/convert.h"

namespace tz {

namespace {

// Threads the converter may hold at once: the one in work and two waiting, so that the
// main thread less often converts a thread itself while the converter is behind. Each
// holds its log buffer: a fourth cost memory and gained no time.
constexpr size_t kSlots = 3;

}  // namespace

ConvertBehind::ConvertBehind() : slots_(kSlots), writer_(std::make_shared<WriteBehind>()) {
  for (Slot& slot : slots_) {
    slot.run = std::make_unique<Run>();
    init_run(*slot.run);
    slot.run->writer = writer_;
  }
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
  done_.wait(lock, [this] { return held_ < slots_.size(); });
  Slot& slot = slots_[(next_ + held_) % slots_.size()];
  // What the converter reads of the run; the main thread rewrites its own copy for the
  // next thread meanwhile.
  Run& w = *slot.run;
  w.cmdm = run.cmdm;
  w.sflg = run.sflg;
  w.brd[0] = run.brd[0];
  w.paths = run.paths;
  copy_stores(run.str, w.str);
  w.code_out = run.code_out;
  w.code_conv = run.code_conv;
  w.con_code = run.con_code;
  // The buffers change hands: the main thread reads the next log into the one the
  // slot's thread before was converted in.
  std::swap(w.log, run.log);
  std::swap(w.out, run.out);
  run.out.fd = -1;
  slot.stamp = stamp;
  slot.time = time;
  slot.path = w.out.path;
  ++held_;
  if (alone_) {
    // Nothing else is held: the slot just filled is the first.
    convert_first(lock);
    return;
  }
  lock.unlock();
  wake_.notify_one();
}

bool ConvertBehind::full() {
  std::lock_guard<std::mutex> lock(mu_);
  return held_ >= slots_.size();
}

bool ConvertBehind::has_path(const std::string& path) const {
  for (size_t i = 0; i < held_; ++i)
    if (slots_[(next_ + i) % slots_.size()].path == path) return true;
  return false;
}

void ConvertBehind::wait_for(const std::string& path) {
  {
    std::unique_lock<std::mutex> lock(mu_);
    done_.wait(lock, [&] { return !has_path(path); });
  }
  writer_->wait_for(path);
}

void ConvertBehind::drain() {
  {
    std::unique_lock<std::mutex> lock(mu_);
    done_.wait(lock, [this] { return held_ == 0; });
  }
  writer_->drain();
}

std::vector<WriteFailure> ConvertBehind::take_failures() {
  return writer_->take_failures();
}

void ConvertBehind::add_written(int64_t& hi, int64_t& lo) {
  writer_->add_written(hi, lo);
}

void ConvertBehind::work() {
  std::unique_lock<std::mutex> lock(mu_);
  for (;;) {
    wake_.wait(lock, [this] { return stop_ || held_ > 0; });
    if (held_ == 0) return;
    convert_first(lock);
    done_.notify_all();
  }
}

void ConvertBehind::convert_first(std::unique_lock<std::mutex>& lock) {
  Slot& slot = slots_[next_];
  lock.unlock();
  convert(slot);
  lock.lock();
  slot.path.clear();
  --held_;
  next_ = (next_ + 1) % slots_.size();
}

// Runs on the converter's thread, in the slot's own run: nothing it touches is the main
// thread's. The writer writes behind it in turn, and keeps the failures for the main
// thread to tell.
void ConvertBehind::convert(Slot& slot) {
  Run& w = *slot.run;
  // The slots convert one at a time, so they share one work block for the UTF-8 text.
  std::swap(w.conv_block, conv_block_);
  bring_posts_into_utf8(w);
  std::swap(w.conv_block, conv_block_);
  convert_thread(w, 0, 0, Times{});
  close_output(w, slot.stamp, slot.time);
}

}  // namespace tz
