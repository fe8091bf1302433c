// The innermost part of the matrix product: a small tile of C that stays in
// registers while it takes in k products.
#pragma once

#include <cstddef>

namespace zelk::perf::dgemm {

// c(i, j) += sum over p of a[p * rows + i] * b[p * columns + j]
//
// `a` and `b` are packed: consecutive in the order they are used. `c` lies by
// columns, `column_step` doubles from one to the next. `a` is aligned to 64
// bytes, and readable 64 bytes beyond its end.
using tile_function = void (*)(std::size_t k, const double* a, const double* b,
                               double* c, std::size_t column_step);

struct tile_kernel {
  const char* name;
  std::size_t rows, columns;  // of the tile; both divide 24
  tile_function multiply;
};

// The best one of this processor, or the one of that name (nullptr: the best).
// Nothing when the processor lacks it, or no kernel has that name.
const tile_kernel* find_kernel(const char* name);

}  // namespace zelk::perf::dgemm
