#include "src/collect/src/db/zstd_stream.h"

#include <unistd.h>
#include <zstd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "src/collect/src/db/archive_format.h"
#include "src/collect/src/reading/failure.h"
#include "src/common/util/errno_text.h"

namespace zelk::db {

namespace {

// Nodes answer alike, so most of a file repeats what stood some megabytes
// before. 2^27 bytes is the largest window that the zstd program reads without
// being told to.
constexpr int window_log = 27;
constexpr int compression_level = 3;

void write_all(int fd, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t count = ::write(fd, data, size);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      const int code = errno;
      throw reading::failure("Unable to write the file " +
                             util::errno_text(code));
    }
    data += count;
    size -= static_cast<std::size_t>(count);
  }
}

std::size_t read_some(int fd, char* to, std::size_t size) {
  for (;;) {
    const ssize_t count = ::read(fd, to, size);
    if (count >= 0) return static_cast<std::size_t>(count);
    const int code = errno;
    if (code != EINTR)
      throw archive_error("it cannot be read " + util::errno_text(code));
  }
}

}  // namespace

struct zstd_writer::state {
  int fd = -1;
  ZSTD_CCtx* context = ZSTD_createCCtx();
  std::vector<char> out = std::vector<char>(ZSTD_CStreamOutSize());

  void set(ZSTD_cParameter parameter, int value) {
    check(ZSTD_CCtx_setParameter(context, parameter, value));
  }
  static std::size_t check(std::size_t code) {
    if (ZSTD_isError(code) != 0)
      throw reading::failure(std::string("Unable to compress: ") +
                             ZSTD_getErrorName(code));
    return code;
  }
  void push(std::string_view bytes, ZSTD_EndDirective end) {
    ZSTD_inBuffer in = {bytes.data(), bytes.size(), 0};
    for (bool done = false; !done;) {
      ZSTD_outBuffer to = {out.data(), out.size(), 0};
      const std::size_t left =
          check(ZSTD_compressStream2(context, &to, &in, end));
      write_all(fd, out.data(), to.pos);
      done = end == ZSTD_e_end ? left == 0 : in.pos == in.size;
    }
  }
};

zstd_writer::zstd_writer(int fd) : state_(std::make_unique<state>()) {
  state_->fd = fd;
  state_->set(ZSTD_c_compressionLevel, compression_level);
  state_->set(ZSTD_c_checksumFlag, 1);
  state_->set(ZSTD_c_enableLongDistanceMatching, 1);
  state_->set(ZSTD_c_windowLog, window_log);
}

zstd_writer::~zstd_writer() {
  ZSTD_freeCCtx(state_->context);
}

void zstd_writer::write(std::string_view bytes) {
  if (!bytes.empty()) state_->push(bytes, ZSTD_e_continue);
}

void zstd_writer::finish() {
  state_->push({}, ZSTD_e_end);
}

struct zstd_reader::state {
  int fd = -1;
  ZSTD_DCtx* context = ZSTD_createDCtx();
  std::vector<char> bytes = std::vector<char>(ZSTD_DStreamInSize());
  ZSTD_inBuffer in = {bytes.data(), 0, 0};
  bool ended = false;  // the frame, not the file

  bool fill() {
    in.size = read_some(fd, bytes.data(), bytes.size());
    in.pos = 0;
    return in.size > 0;
  }
  void check_end() {
    if (in.pos < in.size || fill())
      throw archive_error("something follows the end of the archive");
  }
};

zstd_reader::zstd_reader(int fd) : state_(std::make_unique<state>()) {
  state_->fd = fd;
  ZSTD_DCtx_setParameter(state_->context, ZSTD_d_windowLogMax, window_log);
}

zstd_reader::~zstd_reader() {
  ZSTD_freeDCtx(state_->context);
}

std::size_t zstd_reader::read(char* to, std::size_t count) {
  state& s = *state_;
  void* const target = to;
  ZSTD_outBuffer out = {target, count, 0};
  while (out.pos == 0 && !s.ended) {
    // What was taken in before may still yield bytes without more of the file.
    const bool dry = s.in.pos == s.in.size && !s.fill();
    const std::size_t left = ZSTD_decompressStream(s.context, &out, &s.in);
    if (ZSTD_isError(left) != 0)
      throw archive_error(std::string("it is not a zstd file, or damaged (") +
                          ZSTD_getErrorName(left) + ")");
    s.ended = left == 0;
    if (dry && out.pos == 0 && !s.ended) throw archive_error("it is cut off");
  }
  if (s.ended && out.pos == 0) s.check_end();
  return out.pos;
}

}  // namespace zelk::db
