// The whole worker, as installed, in asynchronous mode.
//
//   worker_bench [INSTALL_ROOT]      default build/root
//
// Measures the time of 100 option sets of `true` against as many bare spawns,
// and the peak memory for an output of 1 GiB against its size. The results go
// to /dev/shm, for a disk is not what is measured here, or to TMPDIR if that is
// set; it takes 1 GiB. Exit status 1 when a bar is missed.

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "bench/bare_spawn.h"
#include "bench/bench.h"

namespace zelk {
namespace {

using bench::median;
using bench::require;
using bench::seconds_of;

constexpr int option_sets = 100;
constexpr int rounds = 15;
constexpr double output_kib = 1024 * 1024;

class scratch_folder {
 public:
  scratch_folder() {
    const char* const folder = std::getenv("TMPDIR");
    path_ = std::string(folder != nullptr ? folder : "/dev/shm") +
            "/zelk_bench_XXXXXX";
    require(::mkdtemp(path_.data()) != nullptr, "mkdtemp");
    std::filesystem::create_directory(output());
  }
  ~scratch_folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  scratch_folder(const scratch_folder&) = delete;
  scratch_folder& operator=(const scratch_folder&) = delete;

  std::string file(const std::string& name) const { return path_ + "/" + name; }
  std::string output() const { return file("output"); }
  // How many result files there are. They stay to the end: where files have
  // just been deleted, ext4 searches long for a place for new ones.
  int results() const {
    const std::filesystem::directory_iterator entries(output());
    return static_cast<int>(std::distance(begin(entries), end(entries)));
  }

 private:
  std::string path_;
};

void write_configuration(const scratch_folder& scratch) {
  std::ofstream out(scratch.file("zelk.xml"));
  out << "<zelk><output_directory>" << scratch.output()
      << "</output_directory><provider_options><provider name=\"many\">";
  for (int i = 0; i < option_sets; ++i) {
    out << "<option id=\"set" << i << "\"/>";
  }
  out << "</provider></provider_options></zelk>\n";
}

void write_description(const scratch_folder& scratch, const std::string& name,
                       const std::string& command) {
  std::ofstream(scratch.file(name + ".xml"))
      << "<provider><command>" << command
      << "</command><timeout>600</timeout></provider>\n";
}

// Runs the provider `name`. Returns what the worker used.
rusage run_worker(const std::string& worker, const scratch_folder& scratch,
                  const std::string& name) {
  const std::string configuration = scratch.file("zelk.xml");
  const std::string description = scratch.file(name + ".xml");
  const char* const arguments[] = {
      worker.c_str(),      "-A",   "-c", configuration.c_str(), "-f",
      description.c_str(), nullptr};
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  pid_t pid = 0;
  errno = ::posix_spawn(&pid, worker.c_str(), &actions, nullptr,
                        const_cast<char* const*>(arguments), environ);
  require(errno == 0, worker.c_str());
  ::posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  rusage used{};
  require(::wait4(pid, &status, 0, &used) == pid, "wait4");
  errno = 0;
  require(status == 0, "the worker has failed");
  return used;
}

bool bench_time(const std::string& worker, const scratch_folder& scratch) {
  std::vector<double> ours;
  std::vector<double> floor;
  for (int round = 0; round < rounds; ++round) {
    ours.push_back(seconds_of([&] { run_worker(worker, scratch, "many"); }));
    floor.push_back(seconds_of([] {
      for (int i = 0; i < option_sets; ++i)
        bench::bare_true();
    }));
  }
  errno = 0;
  require(scratch.results() == rounds * option_sets, "results are missing");
  return bench::print_row("100 option sets, to 100 bare spawns (s)",
                          median(ours), median(floor), 1.5);
}

bool bench_memory(const std::string& worker, const scratch_folder& scratch) {
  const int before = scratch.results();
  const rusage used = run_worker(worker, scratch, "large");
  errno = 0;
  require(scratch.results() == before + 1, "the result is missing");
  const double allowed = 1.05 * output_kib + 16 * 1024;
  return bench::print_row("peak memory of the worker for 1 GiB (KiB)",
                          static_cast<double>(used.ru_maxrss), output_kib,
                          allowed / output_kib);
}

int run(const std::string& install_root) {
  const std::string worker = install_root + "/bin/zelk_run_provider";
  const scratch_folder scratch;
  write_configuration(scratch);
  write_description(scratch, "many", "true");
  write_description(scratch, "large", "head -c 1073741824 /dev/zero");
  bench::print_head();
  const bool quick = bench_time(worker, scratch);
  const bool small = bench_memory(worker, scratch);
  return quick && small ? 0 : 1;
}

}  // namespace
}  // namespace zelk

int main(int argc, char** argv) {
  return zelk::run(argc > 1 ? argv[1] : "build/root");
}
