#include "provider/src/dgemm_hpl_mini/product.h"

#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace zelk::perf::dgemm {
namespace {

// The textbook's loop, which no cache likes and nobody gets wrong.
double worst_difference(product& matrices, std::size_t size) {
  double worst = 0;
  for (std::size_t column = 0; column < size; ++column) {
    for (std::size_t row = 0; row < size; ++row) {
      double sum = 0;
      for (std::size_t p = 0; p < size; ++p)
        sum += matrices.left()[p * size + row] *
               matrices.right()[column * size + p];
      const double found = matrices.result()[column * size + row];
      worst = std::max(worst, std::abs(found - sum));
    }
  }
  return worst;
}

TEST(product, is_right_with_every_kernel_of_this_processor) {
  for (const char* name : {"avx512", "avx2", "plain"}) {
    const tile_kernel* kernel = find_kernel(name);
    if (kernel == nullptr) continue;
    // Blocks that divide the size, that do not, and that exceed it.
    for (const blocking& blocks :
         {blocking{48, 48}, blocking{100, 72}, blocking{384, 960}}) {
      SCOPED_TRACE(std::string(name) + " " + std::to_string(blocks.depth));
      constexpr std::size_t size = 144;
      product matrices(size, *kernel, blocks, 1);
      matrices.multiply();
      matrices.multiply();  // starts anew, it does not add
      EXPECT_LT(worst_difference(matrices, size), 1e-12);
      EXPECT_TRUE(matrices.is_right());
    }
  }
}

TEST(product, finds_one_wrong_element) {
  constexpr std::size_t size = 96;
  const tile_kernel* kernel = find_kernel(nullptr);
  ASSERT_NE(kernel, nullptr);
  product matrices(size, *kernel, {64, 48}, 7);
  matrices.multiply();
  ASSERT_TRUE(matrices.is_right());
  for (const std::size_t place : {std::size_t{0}, size * size - 1}) {
    double& element = matrices.result()[place];
    const double right = element;
    element = right + 1e-6;
    EXPECT_FALSE(matrices.is_right());
    element = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(matrices.is_right());
    element = right;
    EXPECT_TRUE(matrices.is_right());
  }
}

TEST(choose_blocking, gives_whole_tiles_whatever_the_caches) {
  for (const char* name : {"avx512", "avx2", "plain"}) {
    const tile_kernel* kernel = find_kernel(name);
    if (kernel == nullptr) continue;
    for (const std::uint64_t bytes : {0u, 1u, 4096u, 32768u, 1u << 30}) {
      const blocking blocks = choose_blocking(*kernel, {bytes, bytes, bytes});
      EXPECT_EQ(blocks.rows % kernel->rows, 0u);
      EXPECT_GT(blocks.rows, 0u);
      EXPECT_GE(blocks.depth, 64u);
    }
  }
}

TEST(find_kernel, knows_no_other_names) {
  EXPECT_EQ(find_kernel("mmx"), nullptr);
  EXPECT_STREQ(find_kernel("plain")->name, "plain");
}

TEST(find_kernel, has_tiles_that_divide_the_step_of_sizes) {
  for (const char* name : {"avx512", "avx2", "plain"}) {
    const tile_kernel* kernel = find_kernel(name);
    if (kernel == nullptr) continue;
    EXPECT_EQ(size_step % kernel->rows, 0u);
    EXPECT_EQ(size_step % kernel->columns, 0u);
  }
}

}  // namespace
}  // namespace zelk::perf::dgemm
