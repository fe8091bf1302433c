// Three loops around the tile, each for one cache. A part of B as deep as
// `depth` is packed into panels as wide as a tile; one panel stays in the first
// cache while all tiles of a column of C pass by. A part of A of `rows` by
// `depth` is packed as well and stays in the second cache while all panels of B
// pass by. Packing costs one pass over the data for each use of hundreds.
#include "provider/src/dgemm_hpl_mini/product.h"

#include <sys/mman.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

namespace zelk::perf::dgemm {
namespace {

// What a kernel may read beyond the end of a packed part.
constexpr std::size_t slack = 8;

std::size_t round_down(std::size_t value, std::size_t step) {
  return std::max(value / step, std::size_t{1}) * step;
}

// The high bits of a linear congruential generator; quality is of no matter.
void fill_random(double* to, std::size_t count, std::uint64_t& state) {
  for (std::size_t i = 0; i < count; ++i) {
    state = state * 6364136223846793005u + 1442695040888963407u;
    to[i] = static_cast<double>(state >> 11) * 0x1p-53 - 0.5;
  }
}

// y = M * x, by columns.
std::vector<double> times_vector(const double* matrix, std::size_t size,
                                 const std::vector<double>& x) {
  std::vector<double> y(size, 0.0);
  for (std::size_t column = 0; column < size; ++column) {
    const double* const from = matrix + column * size;
    for (std::size_t row = 0; row < size; ++row)
      y[row] += from[row] * x[column];
  }
  return y;
}

}  // namespace

void free_memory::operator()(double* memory) const {
  std::free(memory);
}

doubles allocate(std::size_t count) {
  // Large pages where they can be had: what is measured is arithmetic, and
  // walking page tables is none.
  constexpr std::size_t line = 64, large_page = 2 << 20;
  const std::size_t step =
      count * sizeof(double) < large_page ? line : large_page;
  const std::size_t bytes = (count * sizeof(double) + step - 1) / step * step;
  void* const memory = std::aligned_alloc(step, bytes);
  if (memory == nullptr) throw std::bad_alloc();
  if (step == large_page) ::madvise(memory, bytes, MADV_HUGEPAGE);
  return doubles(static_cast<double*>(memory));
}

blocking choose_blocking(const tile_kernel& kernel, const cache_sizes& caches) {
  const std::uint64_t first = caches.first_data > 0 ? caches.first_data : 32768;
  const std::uint64_t second = caches.second > 0 ? caches.second : 262144;
  // A panel of B may fill half of the first cache, the part of A half of the
  // second: the rest is for what passes by.
  const std::size_t depth = std::clamp<std::size_t>(
      first / 2 / sizeof(double) / kernel.columns, 64, 256);
  const std::size_t rows =
      round_down(second / 2 / sizeof(double) / depth, kernel.rows);
  return {depth, std::min<std::size_t>(rows, 960)};
}

std::uint64_t product_bytes(std::size_t size) {
  constexpr std::uint64_t matrices = 3, packed_parts = 1;
  return (matrices + packed_parts) * size * size * sizeof(double);
}

product::product(std::size_t size, const tile_kernel& kernel,
                 const blocking& blocks, std::uint64_t seed)
    : size_(size),
      kernel_(kernel),
      blocks_(blocks),
      a_(allocate(size * size)),
      b_(allocate(size * size)),
      c_(allocate(size * size)),
      packed_a_(allocate(blocks.rows * blocks.depth + slack)),
      packed_b_(allocate(size * blocks.depth + slack)),
      x_(size) {
  std::uint64_t state = seed;
  fill_random(a_.get(), size * size, state);
  fill_random(b_.get(), size * size, state);
  fill_random(x_.data(), size, state);
  expected_ = times_vector(a_.get(), size, times_vector(b_.get(), size, x_));
}

double product::operations() const {
  const auto size = static_cast<double>(size_);
  return 2 * size * size * size;
}

void product::pack_a(std::size_t row, std::size_t rows, std::size_t step,
                     std::size_t depth) {
  double* to = packed_a_.get();
  for (std::size_t panel = 0; panel < rows; panel += kernel_.rows) {
    for (std::size_t p = 0; p < depth; ++p) {
      const double* const from = a_.get() + (step + p) * size_ + row + panel;
      std::memcpy(to, from, kernel_.rows * sizeof(double));
      to += kernel_.rows;
    }
  }
}

void product::pack_b(std::size_t step, std::size_t depth) {
  const std::size_t columns = kernel_.columns;
  for (std::size_t panel = 0; panel < size_; panel += columns) {
    double* const to = packed_b_.get() + panel * depth;
    for (std::size_t column = 0; column < columns; ++column) {
      const double* const from = b_.get() + (panel + column) * size_ + step;
      for (std::size_t p = 0; p < depth; ++p)
        to[p * columns + column] = from[p];
    }
  }
}

void product::multiply_block(std::size_t row, std::size_t rows,
                             std::size_t depth) {
  for (std::size_t column = 0; column < size_; column += kernel_.columns) {
    const double* const b = packed_b_.get() + column * depth;
    for (std::size_t tile = 0; tile < rows; tile += kernel_.rows) {
      kernel_.multiply(depth, packed_a_.get() + tile * depth, b,
                       c_.get() + column * size_ + row + tile, size_);
    }
  }
}

void product::multiply() {
  std::fill_n(c_.get(), size_ * size_, 0.0);
  for (std::size_t step = 0; step < size_; step += blocks_.depth) {
    const std::size_t depth = std::min(blocks_.depth, size_ - step);
    pack_b(step, depth);
    for (std::size_t row = 0; row < size_; row += blocks_.rows) {
      const std::size_t rows = std::min(blocks_.rows, size_ - row);
      pack_a(row, rows, step, depth);
      multiply_block(row, rows, depth);
    }
  }
}

bool product::is_right() const {
  const std::vector<double> found = times_vector(c_.get(), size_, x_);
  // Sums of `size` terms below 1/4 each, twice over; errors of rounding grow
  // far slower than this.
  const double allowed = static_cast<double>(size_) *
                         static_cast<double>(size_) *
                         std::numeric_limits<double>::epsilon();
  for (std::size_t row = 0; row < size_; ++row) {
    if (!(std::abs(found[row] - expected_[row]) <= allowed)) return false;
  }
  return true;
}

}  // namespace zelk::perf::dgemm
