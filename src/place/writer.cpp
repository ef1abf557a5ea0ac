#include "place/writer.h"

#include <cerrno>
#include <utility>

#include "platform/os.h"
#include "run/records.h"

namespace tz {

namespace {

constexpr size_t kQueued = 8;  // blocks that may wait for the writer
// Waking the writer costs a system call and a switch: it is woken for a few blocks at a
// time, or when someone waits for it.
constexpr size_t kWakeAt = 4;

}  // namespace

WriteBehind::~WriteBehind() {
  {
    std::lock_guard<std::mutex> lock(mu_);
    stop_ = true;
  }
  wake_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void WriteBehind::put(int fd, const std::string& path, TextBlock& block, bool last, bool stamp,
                      int64_t time) {
  std::unique_lock<std::mutex> lock(mu_);
  start_once(thread_, alone_, [this] { work(); });
  if (alone_) {
    // No thread: the block is written here and now.
    lock.unlock();
    Job job{fd, path, std::move(block), last, stamp, time};
    write_job(job);
    block = std::move(job.block);
    block.clear();
    return;
  }
  if (queue_.size() >= kQueued) {
    wake_.notify_one();
    done_.wait(lock, [this] { return queue_.size() < kQueued; });
  }
  const size_t room = block.capacity();
  queue_.push_back(Job{fd, path, std::move(block), last, stamp, time});
  block.clear();
  if (!spare_.empty()) {
    block = std::move(spare_.back());
    spare_.pop_back();
  }
  const bool wake = queue_.size() >= kWakeAt;
  lock.unlock();
  if (wake) wake_.notify_one();
  block.reserve(room);
}

void WriteBehind::wait_for(const std::string& path) {
  std::unique_lock<std::mutex> lock(mu_);
  auto written = [&] {
    if (busy_ && busy_path_ == path) return false;
    for (const Job& job : queue_)
      if (job.path == path) return false;
    return true;
  };
  if (written()) return;
  wake_.notify_one();
  done_.wait(lock, written);
}

void WriteBehind::drain() {
  std::unique_lock<std::mutex> lock(mu_);
  wake_.notify_one();
  done_.wait(lock, [this] { return queue_.empty() && !busy_; });
}

std::vector<WriteFailure> WriteBehind::take_failures() {
  std::lock_guard<std::mutex> lock(mu_);
  std::vector<WriteFailure> out;
  out.swap(failures_);
  return out;
}

void WriteBehind::add_written(int64_t& hi, int64_t& lo) {
  std::lock_guard<std::mutex> lock(mu_);
  hi += written_hi_;
  add_total(hi, lo, written_lo_);
  written_hi_ = written_lo_ = 0;
}

void WriteBehind::work() {
  std::unique_lock<std::mutex> lock(mu_);
  for (;;) {
    wake_.wait(lock, [this] { return stop_ || !queue_.empty(); });
    if (queue_.empty()) return;
    Job job = std::move(queue_.front());
    queue_.pop_front();
    busy_ = true;
    busy_path_ = job.path;
    lock.unlock();
    write_job(job);
    job.block.clear();
    lock.lock();
    if (spare_.size() < kQueued) spare_.push_back(std::move(job.block));
    busy_ = false;
    busy_path_.clear();
    done_.notify_all();
  }
}

// Runs on the worker: the state of open files is its own; what main reads (failures,
// totals) is changed under the lock.
void WriteBehind::write_job(Job& job) {
  Open* file = nullptr;
  for (Open& o : open_)
    if (o.fd == job.fd) file = &o;
  if (!file) {
    open_.push_back(Open{job.fd, 0, false, 0});
    file = &open_.back();
  }
  if (!job.block.empty() && !file->failed) {
    if (os::write_all(job.fd, job.block.data(), job.block.size())) {
      file->bytes += static_cast<int64_t>(job.block.size());
    } else {
      file->failed = true;
      file->err = errno;
    }
  }
  if (!job.last) return;
  if (!os::close_file(job.fd) && !file->failed) {
    file->failed = true;
    file->err = errno;
  }
  if (job.stamp) os::set_file_times(job.path, job.time, job.time);
  // A file not written whole is as long as the file system says.
  int64_t size = file->bytes;
  bool sized = !file->failed;
  if (!sized) {
    os::FileInfo info;
    sized = os::stat_path(job.path, &info);
    size = info.size;
  }
  WriteFailure failure{job.path, file->err};
  const bool failed = file->failed;
  *file = open_.back();
  open_.pop_back();
  std::lock_guard<std::mutex> lock(mu_);
  if (sized) add_total(written_hi_, written_lo_, size);
  if (failed) failures_.push_back(std::move(failure));
}

}  // namespace tz
