#include "provider/src/stream_triad/measure.h"

#include <sys/mman.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <new>

#include "provider/src/common/team.h"

namespace zelk::perf::stream {
namespace {

// Memory whose pages lie near the thread that writes them first. Large pages as
// the system's policy has them: an application gets no others.
class memory {
 public:
  explicit memory(std::size_t elements) : bytes_(elements * sizeof(double)) {
    place_ = ::mmap(nullptr, bytes_, PROT_READ | PROT_WRITE,
                    MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (place_ == MAP_FAILED) throw std::bad_alloc();
  }
  memory(const memory&) = delete;
  memory& operator=(const memory&) = delete;
  ~memory() { ::munmap(place_, bytes_); }
  double* start() const { return static_cast<double*>(place_); }

 private:
  std::size_t bytes_;
  void* place_;
};

struct slice {
  std::size_t begin, end;
};

// Borders on whole cache lines, so that no two threads write to one.
slice slice_of(std::size_t elements, std::size_t threads, std::size_t index) {
  constexpr std::size_t line = 8;  // doubles in 64 bytes
  const auto border = [&](std::size_t which) {
    return which == threads ? elements
                            : elements / threads * which / line * line;
  };
  return {border(index), border(index + 1)};
}

void fill(const arrays& all, slice part) {
  std::fill(all.a + part.begin, all.a + part.end, 1.0);
  std::fill(all.b + part.begin, all.b + part.end, 2.0);
  std::fill(all.c + part.begin, all.c + part.end, 0.0);
}

struct values {
  double a = 1, b = 2, c = 0;
};

// What every element must hold after so many passes.
values expected_after(int passes) {
  values v;
  for (int pass = 0; pass < passes; ++pass) {
    v.c = v.a;
    v.b = scalar * v.c;
    v.c = v.a + v.b;
    v.a = v.b + scalar * v.c;
  }
  return v;
}

bool differs(double found, double expected) {
  // Each pass rounds anew; not even a thousand of them lose four digits. A
  // value that is no number differs too.
  return !(std::abs(found - expected) <= 1e-12 * std::abs(expected));
}

std::size_t count_wrong(const arrays& all, slice part, const values& right) {
  std::size_t wrong = 0;
  for (std::size_t i = part.begin; i < part.end; ++i) {
    wrong += differs(all.a[i], right.a) || differs(all.b[i], right.b) ||
             differs(all.c[i], right.c);
  }
  return wrong;
}

// What the threads of one measurement share. The first thread takes the times
// and decides, between two gates, whether there is another pass.
struct course {
  const request& wanted;
  const arrays all;
  clock_log& clocks;
  outcome& result;
  gate together{wanted.cpus.size()};
  std::atomic<std::size_t> wrong = 0;
  bool goes_on = true;
  double deadline = now() + wanted.seconds;
};

void one_pass(course& run, std::size_t index, slice part, int pass) {
  for (int which = 0; which < kernel_count; ++which) {
    run.together.wait();
    const double start = now();
    run_kernel(static_cast<kernel>(which), run.all, part.begin, part.end);
    run.together.wait();
    if (index == 0 && pass > 0) {
      const double bytes =
          bytes_per_element[which] * static_cast<double>(run.wanted.elements);
      run.result.rates[which].push_back(bytes / (now() - start) / 1e6);
    }
  }
}

void work(course& run, std::size_t index) {
  const slice part =
      slice_of(run.wanted.elements, run.wanted.cpus.size(), index);
  fill(run.all, part);
  const share_clock share;
  int pass = 0;
  for (bool goes_on = true; goes_on; ++pass) {
    run.clocks.look(index);
    one_pass(run, index, part, pass);
    // Two at least: the first does not count.
    if (index == 0) {
      run.goes_on =
          pass + 1 < run.wanted.times && (pass < 1 || now() < run.deadline);
    }
    run.together.wait();
    goes_on = run.goes_on;
    run.together.wait();
  }
  run.result.shares[index] = share.percent();
  run.clocks.look(index);
  run.wrong += count_wrong(run.all, part, expected_after(pass));
  if (index == 0) run.result.passes = pass;
}

}  // namespace

outcome measure(const request& wanted, clock_log& clocks) {
  const memory a(wanted.elements), b(wanted.elements), c(wanted.elements);
  outcome result;
  result.shares.resize(wanted.cpus.size());
  course run{wanted, {a.start(), b.start(), c.start()}, clocks, result};
  result.unbound_threads =
      run_bound(wanted.cpus, [&run](std::size_t index) { work(run, index); });
  result.wrong_elements = run.wrong;
  return result;
}

}  // namespace zelk::perf::stream
