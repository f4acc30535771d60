// gzip by zlib and zstd by libzstd: both as streams, both with several members in a row.
#include <zlib.h>
#include <zstd.h>

#include <memory>
#include <vector>

#include "workbench/data/errors.h"
#include "workbench/data/text_source.h"

namespace velmora {

namespace {

constexpr std::size_t kPackedBytes = std::size_t{1} << 18;

// Reads packed bytes as they are needed.
class PackedInput {
 public:
  PackedInput(TextSource source, std::string path)
      : source_(std::move(source)), path_(std::move(path)), bytes_(kPackedBytes) {}

  // False at the end of the file.
  bool Refill() {
    size_ = ended_ ? 0 : source_.read(bytes_.data(), bytes_.size());
    ended_ = size_ < bytes_.size();
    return size_ > 0;
  }
  char* Bytes() { return bytes_.data(); }
  std::size_t Size() const { return size_; }
  std::int64_t FileBytes() const { return source_.fileBytes(); }
  [[noreturn]] void Fail(const char* problem) const {
    throw DataError("Cannot unpack " + path_ + ": " + problem + ".");
  }

 private:
  TextSource source_;
  std::string path_;
  std::vector<char> bytes_;
  std::size_t size_ = 0;
  bool ended_ = false;
};

class Gunzip {
 public:
  Gunzip(TextSource source, const std::string& path) : input_(std::move(source), path) {
    constexpr int kGzipOnly = 16;
    if (inflateInit2(&stream_, kGzipOnly + MAX_WBITS) != Z_OK) throw std::bad_alloc();
  }
  ~Gunzip() { inflateEnd(&stream_); }
  Gunzip(const Gunzip&) = delete;
  Gunzip& operator=(const Gunzip&) = delete;

  std::size_t Read(char* buffer, std::size_t size) {
    std::size_t done = 0;
    while (done < size) {
      if (stream_.avail_in == 0) {
        if (!input_.Refill()) {
          if (!atMemberEnd_) input_.Fail("it is cut short");
          break;
        }
        stream_.next_in = reinterpret_cast<Bytef*>(input_.Bytes());
        stream_.avail_in = static_cast<uInt>(input_.Size());
      }
      if (atMemberEnd_) inflateReset(&stream_);
      constexpr std::size_t kMost = std::size_t{1} << 30;
      const std::size_t room = std::min(size - done, kMost);
      stream_.next_out = reinterpret_cast<Bytef*>(buffer + done);
      stream_.avail_out = static_cast<uInt>(room);
      const int result = inflate(&stream_, Z_NO_FLUSH);
      if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) input_.Fail("it is damaged");
      atMemberEnd_ = result == Z_STREAM_END;
      done += room - stream_.avail_out;
    }
    return done;
  }
  std::int64_t FileBytes() const { return input_.FileBytes(); }

 private:
  PackedInput input_;
  z_stream stream_{};
  bool atMemberEnd_ = false;
};

class Unzstd {
 public:
  Unzstd(TextSource source, const std::string& path) : input_(std::move(source), path) {
    if (!stream_) throw std::bad_alloc();
  }

  std::size_t Read(char* buffer, std::size_t size) {
    ZSTD_outBuffer out{buffer, size, 0};
    while (out.pos < out.size) {
      if (in_.pos == in_.size) {
        if (!input_.Refill()) {
          if (!atFrameEnd_) input_.Fail("it is cut short");
          break;
        }
        in_ = {input_.Bytes(), input_.Size(), 0};
      }
      const std::size_t left = ZSTD_decompressStream(stream_.get(), &out, &in_);
      if (ZSTD_isError(left) != 0) input_.Fail("it is damaged");
      atFrameEnd_ = left == 0;
    }
    return out.pos;
  }
  std::int64_t FileBytes() const { return input_.FileBytes(); }

 private:
  struct Free {
    void operator()(ZSTD_DStream* stream) const { ZSTD_freeDStream(stream); }
  };
  PackedInput input_;
  std::unique_ptr<ZSTD_DStream, Free> stream_{ZSTD_createDStream()};
  ZSTD_inBuffer in_{nullptr, 0, 0};
  bool atFrameEnd_ = false;
};

template <class Unpacker>
TextSource UnpackedBy(TextSource source, const std::string& path) {
  const auto unpacker = std::make_shared<Unpacker>(std::move(source), path);
  return {[unpacker](char* buffer, std::size_t size) { return unpacker->Read(buffer, size); },
          [unpacker] { return unpacker->FileBytes(); }};
}

}  // namespace

TextSource Unpacked(TextSource source, std::string_view start, const std::string& path) {
  if (start.starts_with("\x1F\x8B")) return UnpackedBy<Gunzip>(std::move(source), path);
  if (start.starts_with("\x28\xB5\x2F\xFD")) return UnpackedBy<Unzstd>(std::move(source), path);
  return source;
}

}  // namespace velmora
