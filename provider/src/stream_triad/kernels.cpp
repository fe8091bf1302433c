#include "provider/src/stream_triad/kernels.h"

// A copy stays a loop: see kernels.h.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC optimize("no-tree-loop-distribute-patterns")
#endif

namespace zelk::perf::stream {
namespace {

using source = const double* __restrict__;
using target = double* __restrict__;

void copy_slice(target c, source a, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i)
    c[i] = a[i];
}

void scale_slice(target b, source c, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i)
    b[i] = scalar * c[i];
}

void add_slices(target c, source a, source b, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i)
    c[i] = a[i] + b[i];
}

void triad_slices(target a, source b, source c, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i)
    a[i] = b[i] + scalar * c[i];
}

}  // namespace

void run_kernel(kernel which, const arrays& all, std::size_t begin,
                std::size_t end) {
  double* const a = all.a + begin;
  double* const b = all.b + begin;
  double* const c = all.c + begin;
  const std::size_t count = end - begin;
  switch (which) {
    case copy:
      return copy_slice(c, a, count);
    case scale:
      return scale_slice(b, c, count);
    case add:
      return add_slices(c, a, b, count);
    case triad:
      return triad_slices(a, b, c, count);
    case kernel_count:
      return;
  }
}

}  // namespace zelk::perf::stream
