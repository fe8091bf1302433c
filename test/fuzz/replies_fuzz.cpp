// What nodes, ssh, srun, mpirun and the accumulator say to zelk-collect. The
// first byte chooses who speaks:
//
//   p  a node that the precheck asked     s  ssh        n  sinfo
//   a  the accumulator, an event a line   r  srun       m  mpirun
//   1  srun's labelled lines              2  mpirun's
//
// Whatever they say, reasons for people stay on one line and hold nothing that
// moves a cursor, and labelled lines do not depend on how they were cut up.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "src/collect/src/collect/control_lines.h"
#include "src/collect/src/collect/labelled_lines.h"
#include "src/collect/src/collect/precheck_probe.h"
#include "src/collect/src/collect/slurm_nodes.h"
#include "src/collect/src/collect/ssh_failure.h"
#include "src/common/log/settings.h"
#include "src/common/str/str.h"

namespace {

using namespace zelk::collect;

constexpr int exited_with_255 = 255 << 8;

void require(bool holds) {
  if (!holds) std::abort();
}

void require_one_line(const std::string& text) {
  require(std::none_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
  }));
}

void judge(const failure& of) {
  require_one_line(of.reason);
  require_one_line(of.common_reason);
  require(!of.reason.empty());
}

void read_node(const std::string& text) {
  launch_outcome outcome;
  outcome.node = "n1";
  outcome.how = ending::exited;
  outcome.output = text;
  const token_files token{"token text", "/shared/token", "/shared/replies/"};
  const node_facts facts =
      read_probe(outcome, token,
                 std::chrono::system_clock::time_point(std::chrono::hours(1)));
  for (const std::string& text_of :
       {facts.host_name, facts.architecture, facts.version, facts.checksum})
    require_one_line(text_of);
  for (const std::string& line :
       zelk::str::split(directory_lines(outcome), '\n'))
    require(line.empty() || line.starts_with("n1:"));
}

void read_events(const std::string& text) {
  for (const std::string& line : zelk::str::split(text, '\n'))
    if (const auto event = read_event(line))
      require(line.find('{') != line.npos);  // whatever it is, an object
}

std::string taken(label_reader read, std::string_view text, std::size_t cut) {
  std::string all;
  labelled_lines lines(
      read,
      [&](std::size_t rank, std::string_view part) {
        all += std::to_string(rank) + "<" + std::string(part);
      },
      [&](std::string_view part) { all += "?" + std::string(part); });
  lines.append(text.substr(0, cut));
  lines.append(text.substr(cut));
  lines.finish();
  return all;
}

void read_labels(label_reader read, const std::string& text) {
  const std::string whole = taken(read, text, text.size());
  for (const std::size_t part : {2U, 3U, 7U})
    require(taken(read, text, text.size() / part) == whole);
}

void read_states(const std::string& text) {
  slurm_nodes nodes(text);
  for (const char* name : {"n1", "node[1-3]", ""})
    if (const auto problem = nodes.problem(name)) judge(*problem);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  zelk::log::LOG_LEVEL = 0;
  if (size == 0) return 0;
  const std::string text(data + 1, data + size);
  switch (data[0]) {
    case 'p':
      read_node(text);
      break;
    case 'a':
      read_events(text);
      break;
    case 's':
      judge(ssh_failure(text, "n1", exited_with_255));
      judge(ssh_loss(text, "n1", exited_with_255));
      break;
    case 'r':
      judge(slurm_failure(text, "n1", exited_with_255));
      break;
    case 'm':
      judge(mpi_failure(text, "n1", exited_with_255));
      break;
    case 'n':
      read_states(text);
      break;
    case '1':
      read_labels(read_srun_label, text);
      break;
    case '2':
      read_labels(read_mpirun_label, text);
      break;
    default:
      break;
  }
  return 0;
}
