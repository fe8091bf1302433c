// C = A * B for square matrices of doubles, on the calling thread alone.
//
// A product that is wrong is found: the result is held against A * (B * x) for
// a vector x of random numbers, which a wrong element passes only when it is
// wrong by less than rounding is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "provider/src/common/cpus.h"
#include "provider/src/dgemm_hpl_mini/kernels.h"

namespace zelk::perf::dgemm {

// Sizes are multiples of this, so that no kernel meets a tile that is cut off.
constexpr std::size_t size_step = 24;

// How the product is cut so that each part stays in a cache.
struct blocking {
  std::size_t depth;  // of the parts of A and B that are packed at a time
  std::size_t rows;   // of the part of A
};

blocking choose_blocking(const tile_kernel& kernel, const cache_sizes& caches);

struct free_memory {
  void operator()(double* memory) const;
};
using doubles = std::unique_ptr<double[], free_memory>;

// Aligned to 64 bytes. Throws std::bad_alloc.
doubles allocate(std::size_t count);

class product {
 public:
  // Matrices by columns, filled with random numbers from -0.5 to 0.5. Requires:
  // size is a multiple of size_step.
  product(std::size_t size, const tile_kernel& kernel, const blocking& blocks,
          std::uint64_t seed);

  void multiply();

  // Whether `result` is the product.
  bool is_right() const;

  double operations() const;  // additions and multiplications of one multiply()
  double* result() { return c_.get(); }
  const double* left() const { return a_.get(); }
  const double* right() const { return b_.get(); }

 private:
  void pack_a(std::size_t row, std::size_t rows, std::size_t step,
              std::size_t depth);
  void pack_b(std::size_t step, std::size_t depth);
  void multiply_block(std::size_t row, std::size_t rows, std::size_t depth);

  std::size_t size_;
  const tile_kernel& kernel_;
  blocking blocks_;
  doubles a_, b_, c_, packed_a_, packed_b_;
  std::vector<double> x_, expected_;  // expected_ = A * (B * x_)
};

// Bytes that a product of this size takes.
std::uint64_t product_bytes(std::size_t size);

}  // namespace zelk::perf::dgemm
