#include "input/decompress.h"

#ifdef WIREPRINT_HAVE_LIBARCHIVE

#include <archive.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <thread>

namespace wp {

namespace {

constexpr size_t kInChunk = 1 << 18;
constexpr size_t kBlock = 1 << 20;
constexpr size_t kBlocksAhead = 4;

// libarchive's "raw" format with the compression filters: one stream, no
// archive around it.
class ArchiveStream {
 public:
  explicit ArchiveStream(CompressedInput in) : in_(std::move(in)), a_(archive_read_new()) {
    archive_read_support_filter_gzip(a_);
    archive_read_support_filter_bzip2(a_);
    archive_read_support_filter_xz(a_);
    archive_read_support_filter_zstd(a_);
    archive_read_support_filter_lz4(a_);
    archive_read_support_format_raw(a_);
    if (archive_read_open(a_, this, nullptr, &ArchiveStream::feed, nullptr) != ARCHIVE_OK ||
        archive_read_next_header(a_, &entry_) != ARCHIVE_OK)
      fail();
  }
  ~ArchiveStream() { archive_read_free(a_); }

  // Block by block as the filter hands them out: a read of a whole buffer
  // would drop what it had decoded when the damage comes in its middle.
  ssize_t read(uint8_t* dst, size_t n) {
    while (left_ == 0) {
      if (failed_) return -1;
      if (ended_) return 0;
      const void* p;
      size_t size;
      la_int64_t offset;
      int r = archive_read_data_block(a_, &p, &size, &offset);
      if (r == ARCHIVE_EOF) {
        ended_ = true;
      } else if (r < ARCHIVE_WARN) {
        fail();
      } else {
        block_ = static_cast<const uint8_t*>(p);
        left_ = size;
      }
    }
    size_t k = std::min(n, left_);
    memcpy(dst, block_, k);
    block_ += k;
    left_ -= k;
    return static_cast<ssize_t>(k);
  }
  const std::string& error() const { return error_; }

 private:
  static la_ssize_t feed(archive*, void* self, const void** buf) {
    return static_cast<ArchiveStream*>(self)->feed(buf);
  }
  la_ssize_t feed(const void** buf) {
    if (!prefixDone_) {
      prefixDone_ = true;
      if (!in_.prefix.empty()) {
        *buf = in_.prefix.data();
        return static_cast<la_ssize_t>(in_.prefix.size());
      }
    }
    if (in_.mem) {
      *buf = in_.mem;
      la_ssize_t n = static_cast<la_ssize_t>(in_.memSize);
      in_.memSize = 0;
      return n;
    }
    if (in_.fd < 0) return 0;
    raw_.resize(kInChunk);
    for (;;) {
      ssize_t n = ::read(in_.fd, raw_.data(), raw_.size());
      if (n >= 0) {
        *buf = raw_.data();
        return n;
      }
      if (errno != EINTR) {
        archive_set_error(a_, errno, "%s", strerror(errno));
        return -1;
      }
    }
  }
  void fail() {
    failed_ = true;
    const char* e = archive_error_string(a_);
    error_ = e && *e ? e : "damaged compressed data";
  }

  CompressedInput in_;
  archive* a_;
  archive_entry* entry_ = nullptr;
  std::vector<uint8_t> raw_;
  const uint8_t* block_ = nullptr;
  size_t left_ = 0;
  bool prefixDone_ = false, failed_ = false, ended_ = false;
  std::string error_;
};

class InlineSource : public Source {
 public:
  explicit InlineSource(CompressedInput in) : s_(std::move(in)) {}
  ssize_t read(uint8_t* dst, size_t n) override { return s_.read(dst, n); }
  const std::string& error() const override { return s_.error(); }

 private:
  ArchiveStream s_;
};

// Blocks decompressed on a worker thread, handed over in order.
class AheadSource : public Source {
 public:
  explicit AheadSource(CompressedInput in) : s_(std::move(in)) {
    worker_ = std::thread([this] { produce(); });
  }
  ~AheadSource() override {
    {
      std::lock_guard<std::mutex> lk(m_);
      stop_ = true;
    }
    cv_.notify_all();
    worker_.join();
  }
  ssize_t read(uint8_t* dst, size_t n) override {
    while (pos_ == cur_.size()) {
      std::unique_lock<std::mutex> lk(m_);
      if (!cur_.empty()) spare_.push_back(std::move(cur_));
      cur_.clear();
      pos_ = 0;
      cv_.notify_all();
      cv_.wait(lk, [&] { return !full_.empty() || ended_; });
      if (full_.empty()) return failed_ ? -1 : 0;
      cur_ = std::move(full_.front());
      full_.pop_front();
    }
    size_t k = std::min(n, cur_.size() - pos_);
    memcpy(dst, cur_.data() + pos_, k);
    pos_ += k;
    return static_cast<ssize_t>(k);
  }
  const std::string& error() const override { return s_.error(); }

 private:
  void produce() {
    for (;;) {
      std::vector<uint8_t> block;
      {
        std::unique_lock<std::mutex> lk(m_);
        cv_.wait(lk, [&] { return stop_ || full_.size() < kBlocksAhead; });
        if (stop_) return;
        if (!spare_.empty()) {
          block = std::move(spare_.back());
          spare_.pop_back();
        }
      }
      block.resize(kBlock);
      size_t have = 0;
      ssize_t n = 1;
      while (have < kBlock && (n = s_.read(block.data() + have, kBlock - have)) > 0) have += n;
      block.resize(have);
      std::lock_guard<std::mutex> lk(m_);
      if (have) full_.push_back(std::move(block));
      if (n <= 0) {
        ended_ = true;
        failed_ = n < 0;
        cv_.notify_all();
        return;
      }
      cv_.notify_all();
    }
  }

  ArchiveStream s_;
  std::mutex m_;
  std::condition_variable cv_;
  std::deque<std::vector<uint8_t>> full_;
  std::vector<std::vector<uint8_t>> spare_;
  bool stop_ = false, ended_ = false, failed_ = false;
  std::vector<uint8_t> cur_;
  size_t pos_ = 0;
  std::thread worker_;
};

}  // namespace

std::unique_ptr<Source> openDecompressor(Compression, CompressedInput in, std::string*) {
  if (in.ahead) return std::make_unique<AheadSource>(std::move(in));
  return std::make_unique<InlineSource>(std::move(in));
}

}  // namespace wp

#else

namespace wp {

std::unique_ptr<Source> openDecompressor(Compression kind, CompressedInput, std::string* why) {
  *why = std::string("the trace is compressed with ") + compressionName(kind) +
         ", and this wireprint was built without libarchive to decompress it";
  return nullptr;
}

}  // namespace wp

#endif
