#include "test/synthetic/store_cluster.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <numeric>
#include <optional>
#include <stdexcept>

#include "src/collect/src/accumulate/result_table.h"
#include "src/collect/src/accumulate/runs.h"
#include "src/collect/src/provider/datastore_row.h"
#include "src/common/datastore/extension.h"
#include "src/common/preproc/written_facts.h"

namespace zelk::synthetic {

namespace {

using accumulate::expectation;

template <std::size_t N>
void put(char (&field)[N], const std::string& text) {
  std::memcpy(field, text.data(), std::min(N - 1, text.size()));
}

std::string run_uuid(const cluster& of, std::uint64_t run) {
  std::string text = "00000000-0000-4000-8000-000000000000";
  constexpr char digits[] = "0123456789abcdef";
  std::uint64_t number = of.luck().at("run").at(run).bits();
  for (std::size_t i = text.size() - 12; i < text.size(); ++i, number >>= 4)
    text[i] = digits[number & 15];
  return text;
}

class writer {
 public:
  writer(const cluster& of, const std::vector<planted>& faults,
         const store_plan& how);
  stored_runs write();

 private:
  void read_versions();

  // Results arrive in no order.
  std::vector<std::size_t> order_of_arrival(std::uint64_t run) const;

  // The run whose outputs this answer has.
  std::uint64_t measured_in(std::uint64_t run, std::size_t node,
                            std::size_t provider) const;
  void write_run(std::uint64_t run);
  void write_node(std::size_t node, std::uint64_t run);
  void take(std::size_t node, std::size_t provider, std::uint64_t run,
            answer& given);
  datastore_row row_of(std::size_t node, std::size_t provider,
                       const moment& when, answer& given) const;
  void close(std::int64_t started_usec);

  const cluster& of_;
  const std::vector<planted>& faults_;
  const store_plan& how_;
  accumulate::result_table table_;
  std::vector<std::int32_t> versions_;
  std::int64_t number_ = 0;  // of the run
  std::vector<expectation> expected_;
  std::vector<std::pair<expectation, std::string>> lost_;
  std::optional<std::string> not_new_;  // of a result: what became of it
  stored_runs made_;
};

writer::writer(const cluster& of, const std::vector<planted>& faults,
               const store_plan& how)
    : of_(of), faults_(faults), how_(how), table_(how.path, {}) {
  read_versions();
  table_.on_outcome([this](const accumulate::row_outcome& told) {
    if (told.result != accumulate::outcome::stored) not_new_ = told.reason;
  });
}

stored_runs writer::write() {
  for (std::uint64_t run = 0; run < how_.runs; ++run)
    write_run(run);
  return std::move(made_);
}

void writer::read_versions() {
  for (const std::string& provider : of_.providers()) {
    const auto description = preproc::read_written_facts(
        how_.descriptions + "/" + provider + ".xml", how_.schema);
    if (!description) throw std::runtime_error("no description of " + provider);
    versions_.push_back(description->version);
  }
}

std::vector<std::size_t> writer::order_of_arrival(std::uint64_t run) const {
  std::vector<std::size_t> nodes(of_.machines().size());
  std::iota(nodes.begin(), nodes.end(), 0);
  const chance luck = of_.luck().at("arrival").at(run);
  std::sort(nodes.begin(), nodes.end(), [&](std::size_t a, std::size_t b) {
    return luck.at(a).bits() < luck.at(b).bits();
  });
  return nodes;
}

std::uint64_t writer::measured_in(std::uint64_t run, std::size_t node,
                                  std::size_t provider) const {
  if (run == 0 || run + 2 >= how_.runs) return run;
  const chance luck = of_.luck().at("repeat").at(run).at(node).at(provider);
  const auto percent = static_cast<int>(100 * luck.uniform());
  return percent < how_.repeated_percent ? 0 : run;
}

void writer::write_run(std::uint64_t run) {
  accumulate::run wanted;
  wanted.uuid = run_uuid(of_, run);
  wanted.label = "nightly";
  wanted.command_line = "zelk-collect @full";
  wanted.started_usec =
      (first_run_sec + static_cast<std::int64_t>(run) * between_runs_sec) *
      1'000'000;
  number_ = accumulate::create_run(table_.database(), wanted);
  table_.use_run(number_);
  made_.numbers.push_back(number_);
  expected_.clear();
  lost_.clear();
  for (const std::size_t node : order_of_arrival(run))
    write_node(node, run);
  close(wanted.started_usec);
}

void writer::write_node(std::size_t node, std::uint64_t run) {
  const bool last = run + 1 == how_.runs;
  std::vector<answer> answers = answers_of(of_, faults_, node, run, last);
  for (std::size_t i = 0; i < answers.size(); ++i) {
    if (!answers[i].expected) continue;
    const std::uint64_t measured = measured_in(run, node, i);
    if (measured != run) answers[i] = of_.ask(node, i, of_.at(node, measured));
    take(node, i, run, answers[i]);
  }
}

void writer::take(std::size_t node, std::size_t provider, std::uint64_t run,
                  answer& given) {
  const std::string& name = of_.machines()[node].name;
  const expectation what{name, of_.providers()[provider], "None"};
  expected_.push_back(what);
  if (!given.came) {
    lost_.emplace_back(what, given.reason);
    return;
  }
  datastore_row row = row_of(node, provider, of_.at(node, run), given);
  made_.bytes += row.stdout.size();
  ++made_.results;
  if (table_.write(row) != accumulate::result_table::OPERATION_SUCCESSFULL)
    throw std::runtime_error("a made-up result was not taken");
}

datastore_row writer::row_of(std::size_t node, std::size_t provider,
                             const moment& when, answer& given) const {
  datastore_row row;
  provider_result_header& header = row.header;
  header.api = result_api;
  header.exit_status = given.exit_status;
  put(header.name, of_.providers()[provider]);
  put(header.hostname, of_.machines()[node].name);
  put(header.host_arg, of_.machines()[node].name);
  put(header.username, "root");
  put(header.option_id, "None");
  header.timestamp_sec = when.now + static_cast<std::int64_t>(provider);
  header.timestamp_usec = static_cast<std::int64_t>(
      when.of_node.at(when.run).at(provider).bits() % 1'000'000);
  header.duration = std::round(given.duration * 1000) / 1000;
  header.version = versions_[provider];
  header.num_nodes = static_cast<std::uint16_t>(given.node_count);
  row.nodes_csv = given.nodes.empty() ? of_.machines()[node].name : given.nodes;
  header.nodes_csv_size = static_cast<std::int64_t>(row.nodes_csv.size());
  header.stdout_size = static_cast<std::int64_t>(given.output.size());
  header.stderr_size = static_cast<std::int64_t>(given.errors.size());
  row.stdout = std::move(given.output);
  row.stderr = std::move(given.errors);
  return row;
}

void writer::close(std::int64_t started_usec) {
  constexpr std::int64_t took_usec = 600'000'000;
  if (table_.flush() != accumulate::result_table::OPERATION_SUCCESSFULL)
    throw std::runtime_error("made-up results were not stored");
  if (not_new_)
    throw std::runtime_error("a made-up result was not stored as new: " +
                             *not_new_);
  accumulate::expect_results(table_.database(), number_, expected_);
  for (const auto& [what, reason] : lost_)
    accumulate::set_missing_reason(table_.database(), number_, what, reason);
  accumulate::close_run(table_.database(), number_, {}, "no result arrived",
                        started_usec + took_usec);
  table_.checkpoint();
}

}  // namespace

stored_runs store(const cluster& of, const std::vector<planted>& faults,
                  const store_plan& how) {
  return writer(of, faults, how).write();
}

}  // namespace zelk::synthetic
