// The four loops of the STREAM benchmark over a slice of its arrays.
//
// Compiled without the compiler's habit of turning a copy into a call of
// memcpy: the four must store alike, or copy would be faster than scale by what
// the C library's store instructions save.
#pragma once

#include <cstddef>

namespace zelk::perf::stream {

enum kernel { copy, scale, add, triad, kernel_count };

constexpr const char* kernel_names[kernel_count] = {"copy", "scale", "add",
                                                    "triad"};

// Bytes that a kernel moves for each element, by the benchmark's own count: a
// store is one move, though a cache may read the line first.
constexpr double bytes_per_element[kernel_count] = {16, 16, 24, 24};

constexpr double scalar = 3.0;

struct arrays {
  double* a = nullptr;
  double* b = nullptr;
  double* c = nullptr;
};

void run_kernel(kernel which, const arrays& all, std::size_t begin,
                std::size_t end);

}  // namespace zelk::perf::stream
