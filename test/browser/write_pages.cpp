// Writes the pages that the browser test opens, and prints how long each took.
//
//   write_pages FOLDER
//
//   example.html       11 nodes of 136 in trouble
//   healthy.html       the same cluster without any
//   hostile.html       every text is an attack
//   assets/page.html   style and script beside it
//   no_script.html     without a script
//   N.html             a cluster of N nodes and 46 providers

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "src/check/page/page.h"
#include "src/check/page/test_cluster.h"
#include "src/check/report/writer.h"
#include "src/check/test_judgement.h"

namespace {

using zelk::check::judgement;
using zelk::check::page_options;

namespace fs = std::filesystem;

page_options usual_options() {
  page_options options;
  options.cluster = "alpha";
  options.host = "head01";
  options.user = "ada";
  options.program_version = "0.1.0";
  options.command_line = "zelk-check --baseline 391 -o report.html";
  options.configuration = "/opt/zelkara/etc/zelk.xml";
  options.datastore = "sqlite:/var/opt/zelkara/zelk.db";
  options.json = [](const judgement& what, std::ostream& out) {
    zelk::check::report_options form;
    form.form = zelk::check::report_form::json;
    zelk::check::write_report(what, form, out);
  };
  options.error_output = [](const std::string& node,
                            const std::string& column) {
    if (column != "stream") return std::string();
    return node +
           ": \x1b[31mstream.sh: line 12: ulimit: cannot modify\x1b[0m\n";
  };
  return options;
}

void write(const fs::path& path, const judgement& what,
           const page_options& options) {
  const auto begin = std::chrono::steady_clock::now();
  std::ofstream out(path, std::ios::binary);
  const zelk::check::page_result result =
      zelk::check::write_page(what, options, out);
  out.close();
  const std::chrono::duration<double> took =
      std::chrono::steady_clock::now() - begin;
  std::cout << path.filename().string() << ' ' << result.bytes << ' '
            << took.count() << ' ' << result.left_out.size() << '\n';
}

judgement healthy() {
  judgement out = zelk::check::example_judgement();
  out.overall = zelk::check::verdict::healthy;
  out.counts = {out.nodes.size(), 0, 0, 0};
  out.findings.clear();
  out.fixed.clear();
  out.coverage.clear();
  out.unread.clear();
  out.differences.clear();
  out.baseline.reset();
  for (auto& one : out.distributions)
    one.outliers.clear();
  for (auto& node : out.nodes) {
    node.what = zelk::check::verdict::healthy;
    node.findings.clear();
    for (auto& cell : node.cells)
      if (cell != zelk::check::cell_state::not_applicable)
        cell = zelk::check::cell_state::ok;
  }
  out.run.results = out.run.results_expected;
  out.run.nodes = out.run.nodes_expected;
  out.run.state = "complete";
  return out;
}

void write_beside(const fs::path& folder) {
  fs::create_directories(folder);
  page_options options = usual_options();
  options.assets = ".";
  write(folder / "page.html", zelk::check::example_judgement(), options);
  for (const auto& [name, content] : zelk::check::page_assets())
    std::ofstream(folder / name, std::ios::binary) << content;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "write_pages: expected a folder\n";
    return 3;
  }
  const fs::path folder = argv[1];
  fs::create_directories(folder);
  page_options options = usual_options();
  write(folder / "example.html", zelk::check::example_judgement(), options);
  write(folder / "healthy.html", healthy(), options);
  write(folder / "hostile.html", zelk::check::hostile_judgement(), options);
  write(folder / "4000.html", zelk::check::cluster_of(4000), options);
  write(folder / "10000.html", zelk::check::cluster_of(10000), options);
  write_beside(folder / "assets");
  options.script = false;
  write(folder / "no_script.html", zelk::check::example_judgement(), options);
  return 0;
}
