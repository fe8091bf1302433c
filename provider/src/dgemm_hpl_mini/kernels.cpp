// A processor of today can start two multiply-adds on whole vector registers in
// each cycle, and each of them takes four or more cycles to finish. To keep
// both units busy a kernel needs at least eight independent sums at any time,
// and since every step also has to bring in new values of A and B, it needs a
// tile so large that loads are few beside the multiply-adds: a tile of m
// vectors by n columns does m * n of them for m + n loads.
//
// The sums live in registers, which bounds the tile from above. With 32
// registers of 8 doubles, 3 vectors by 8 columns: 24 sums, 3 for A, 1 for B.
// With 16 registers of 4 doubles, 3 by 4: 12 sums, 3 for A, 1 for B.
//
// The program is compiled for the plainest processor of its kind. Each kernel
// is compiled for more, by an attribute, and is only called where the processor
// says that it can.
#include "provider/src/dgemm_hpl_mini/kernels.h"

#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace zelk::perf::dgemm {
namespace {

#if defined(__x86_64__)

// A helper must be compiled for the same processor as its kernel, and become
// part of it: a sum that is ever seen in memory is stored in every step.
#define ZELK_AVX512 __attribute__((target("avx512f"), always_inline))
#define ZELK_AVX2 __attribute__((target("avx2,fma"), always_inline))

struct column_avx512 {
  __m512d first;
  __m512d second;
  __m512d third;
};

ZELK_AVX512 inline void add_products(column_avx512& sum, __m512d a0, __m512d a1,
                                     __m512d a2, double b) {
  const __m512d factor = _mm512_set1_pd(b);
  sum.first = _mm512_fmadd_pd(a0, factor, sum.first);
  sum.second = _mm512_fmadd_pd(a1, factor, sum.second);
  sum.third = _mm512_fmadd_pd(a2, factor, sum.third);
}

ZELK_AVX512 inline void add_to(double* c, __m512d sum) {
  _mm512_storeu_pd(c, _mm512_add_pd(_mm512_loadu_pd(c), sum));
}

ZELK_AVX512 inline void add_column(double* c, const column_avx512& sum) {
  add_to(c, sum.first);
  add_to(c + 8, sum.second);
  add_to(c + 16, sum.third);
}

__attribute__((target("avx512f"))) void multiply_avx512(
    std::size_t k, const double* a, const double* b, double* c,
    std::size_t column_step) {
  constexpr std::size_t rows = 24, columns = 8;
  constexpr std::size_t ahead = 16 * rows;  // A comes from the second cache
  for (std::size_t j = 0; j < columns; ++j) {
    for (std::size_t i = 0; i < rows; i += 8)
      _mm_prefetch(c + j * column_step + i, _MM_HINT_T0);
  }
  column_avx512 s0{}, s1{}, s2{}, s3{}, s4{}, s5{}, s6{}, s7{};
  for (std::size_t p = 0; p < k; ++p) {
    const __m512d a0 = _mm512_load_pd(a);
    const __m512d a1 = _mm512_load_pd(a + 8);
    const __m512d a2 = _mm512_load_pd(a + 16);
    _mm_prefetch(a + ahead, _MM_HINT_T0);
    _mm_prefetch(a + ahead + 8, _MM_HINT_T0);
    _mm_prefetch(a + ahead + 16, _MM_HINT_T0);
    add_products(s0, a0, a1, a2, b[0]);
    add_products(s1, a0, a1, a2, b[1]);
    add_products(s2, a0, a1, a2, b[2]);
    add_products(s3, a0, a1, a2, b[3]);
    add_products(s4, a0, a1, a2, b[4]);
    add_products(s5, a0, a1, a2, b[5]);
    add_products(s6, a0, a1, a2, b[6]);
    add_products(s7, a0, a1, a2, b[7]);
    a += rows;
    b += columns;
  }
  add_column(c, s0);
  add_column(c + column_step, s1);
  add_column(c + 2 * column_step, s2);
  add_column(c + 3 * column_step, s3);
  add_column(c + 4 * column_step, s4);
  add_column(c + 5 * column_step, s5);
  add_column(c + 6 * column_step, s6);
  add_column(c + 7 * column_step, s7);
}

struct column_avx2 {
  __m256d first;
  __m256d second;
  __m256d third;
};

ZELK_AVX2 inline void add_products(column_avx2& sum, __m256d a0, __m256d a1,
                                   __m256d a2, double b) {
  const __m256d factor = _mm256_set1_pd(b);
  sum.first = _mm256_fmadd_pd(a0, factor, sum.first);
  sum.second = _mm256_fmadd_pd(a1, factor, sum.second);
  sum.third = _mm256_fmadd_pd(a2, factor, sum.third);
}

ZELK_AVX2 inline void add_to(double* c, __m256d sum) {
  _mm256_storeu_pd(c, _mm256_add_pd(_mm256_loadu_pd(c), sum));
}

ZELK_AVX2 inline void add_column(double* c, const column_avx2& sum) {
  add_to(c, sum.first);
  add_to(c + 4, sum.second);
  add_to(c + 8, sum.third);
}

__attribute__((target("avx2,fma"))) void multiply_avx2(
    std::size_t k, const double* a, const double* b, double* c,
    std::size_t column_step) {
  constexpr std::size_t rows = 12, columns = 4;
  constexpr std::size_t ahead = 32 * rows;  // A comes from the second cache
  for (std::size_t j = 0; j < columns; ++j) {
    for (std::size_t i = 0; i < rows; i += 8)
      _mm_prefetch(c + j * column_step + i, _MM_HINT_T0);
  }
  column_avx2 s0{}, s1{}, s2{}, s3{};
  for (std::size_t p = 0; p < k; ++p) {
    const __m256d a0 = _mm256_load_pd(a);
    const __m256d a1 = _mm256_load_pd(a + 4);
    const __m256d a2 = _mm256_load_pd(a + 8);
    _mm_prefetch(a + ahead, _MM_HINT_T0);
    _mm_prefetch(a + ahead + 8, _MM_HINT_T0);
    add_products(s0, a0, a1, a2, b[0]);
    add_products(s1, a0, a1, a2, b[1]);
    add_products(s2, a0, a1, a2, b[2]);
    add_products(s3, a0, a1, a2, b[3]);
    a += rows;
    b += columns;
  }
  add_column(c, s0);
  add_column(c + column_step, s1);
  add_column(c + 2 * column_step, s2);
  add_column(c + 3 * column_step, s3);
}

bool has_avx512() {
  return __builtin_cpu_supports("avx512f") != 0;
}

bool has_avx2() {
  return __builtin_cpu_supports("avx2") != 0 &&
         __builtin_cpu_supports("fma") != 0;
}

#endif

// Written so that a compiler finds the vectors of any processor: NEON has 32
// registers of 2 doubles, SSE2 has 16.
void multiply_plain(std::size_t k, const double* a, const double* b, double* c,
                    std::size_t column_step) {
  constexpr std::size_t rows = 4, columns = 4;
  double sum[columns][rows] = {};
  for (std::size_t p = 0; p < k; ++p) {
    for (std::size_t j = 0; j < columns; ++j) {
      for (std::size_t i = 0; i < rows; ++i)
        sum[j][i] += a[p * rows + i] * b[p * columns + j];
    }
  }
  for (std::size_t j = 0; j < columns; ++j) {
    for (std::size_t i = 0; i < rows; ++i)
      c[j * column_step + i] += sum[j][i];
  }
}

bool always() {
  return true;
}

struct candidate {
  tile_kernel kernel;
  bool (*runs_here)();
};

constexpr candidate candidates[] = {
#if defined(__x86_64__)
    {{"avx512", 24, 8, multiply_avx512}, has_avx512},
    {{"avx2", 12, 4, multiply_avx2}, has_avx2},
#endif
    {{"plain", 4, 4, multiply_plain}, always},
};

}  // namespace

const tile_kernel* find_kernel(const char* name) {
  for (const candidate& one : candidates) {
    if (name != nullptr && std::strcmp(name, one.kernel.name) != 0) continue;
    if (one.runs_here()) return &one.kernel;
  }
  return nullptr;
}

}  // namespace zelk::perf::dgemm
