#include "src/collect/src/collect/precheck_probe.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "src/collect/src/collect/remote_script.h"
#include "src/collect/src/collect/ssh_failure.h"
#include "src/collect/src/utils/shared_dir_check.h"
#include "src/common/names/names.h"
#include "src/common/str/str.h"

namespace zelk::collect {

namespace {

// Each answer is a line that begins so; a worker's directory can hold anything.
constexpr char answer_mark[] = "ZELK_PROBE ";

// $1 the worker, $2 its version mark without version, $3 the directory or "",
// $4 and $5 the question about it for bash and for a shell that has only "[",
// $6 the token's file, $7 where this node writes its own. A directory that
// hangs comes last: what is known by then has been said.
constexpr char questions[] = R"sh(
say() { printf 'ZELK_PROBE %s\n' "$*"; }
say time "$(date +%s.%N)"
say host "$(hostname 2>/dev/null || uname -n)"
say arch "$(uname -m)"
if [ ! -f "$1" ]; then
  say worker missing
elif [ ! -x "$1" ]; then
  say worker not executable
else
  say worker found
  v=$(LC_ALL=C grep -a -o -e "$2 [0-9A-Za-z.+~-]*>" "$1" 2>/dev/null)
  v=${v%%>*}
  say version "${v##* }"
  say checksum "$(cksum <"$1")"
fi
[ -n "$3" ] || exit 0
if command -v bash >/dev/null 2>&1; then
  bash -c "$4"
else
  eval "$5"
fi 2>/dev/null
if t=$(cat "$6" 2>/dev/null); then say token "$t"; else say token; fi
(printf %s "$t" >"$7") 2>/dev/null && say wrote
exit 0
)sh";

// For a shell without the double brackets.
std::string with_single_brackets(const std::string& command) {
  return str::replace(str::replace(command, "[[", "["), "]]", "]");
}

std::string mark_of_all_versions() {
  std::string mark = version_mark("");
  mark.resize(mark.size() - 2);  // " >"
  return mark;
}

using words = std::map<std::string, std::string>;

words answers_of(std::string_view output) {
  words result;
  for (const std::string& line : str::split(output, '\n', true)) {
    if (!line.starts_with(answer_mark)) continue;
    const std::string text = line.substr(sizeof answer_mark - 1);
    const std::size_t blank = std::min(text.find(' '), text.size());
    result.emplace(text.substr(0, blank),
                   printable_line(std::string_view(text).substr(blank)));
  }
  return result;
}

std::string answer(const words& all, const std::string& name) {
  const auto found = all.find(name);
  return found == all.end() ? "" : found->second;
}

// The node looked at its clock at some moment of the launch. Where its time
// lies outside of that span it differs by that much at least.
std::optional<double> clock_offset(const std::string& text, double took_s,
                                   std::chrono::system_clock::time_point now) {
  char* end = nullptr;
  const double theirs = std::strtod(text.c_str(), &end);
  if (end == text.c_str() || !std::isfinite(theirs)) return std::nullopt;
  // Without fractions of a second it may be as much as one second later.
  const double step =
      text.find_first_of("123456789", text.find('.')) == std::string::npos
          ? 1.0
          : 0.0;
  const double last =
      std::chrono::duration<double>(now.time_since_epoch()).count();
  const double first = last - took_s;
  if (theirs > last) return theirs - last;
  if (theirs + step < first) return theirs + step - first;
  return 0.0;
}

std::string state_word(std::string_view output) {
  for (const std::string& word :
       {precheck::ZELK_PRECHECK_OK, precheck::ZELK_PRECHECK_NON_RW,
        precheck::ZELK_PRECHECK_ND}) {
    if (output.find(word) != output.npos) return word;
  }
  return "";
}

std::string inode_of(const std::string& output) {
  for (const std::string& line : str::split(output, '\n', true)) {
    if (const std::optional<std::string> inode = reported_inode(line))
      return *inode;
  }
  return "";
}

std::string token_state(const words& all, const std::string& expected) {
  if (!all.contains("token")) return "";
  const std::string read = answer(all, "token");
  if (read.empty()) return "absent";
  return read == expected ? "read" : "other";
}

}  // namespace

bool is_plain_path(std::string_view path) {
  return path.starts_with('/') &&
         std::all_of(path.begin(), path.end(), [](char c) {
           return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
                  std::string_view("/._-+,@%:=").find(c) !=
                      std::string_view::npos;
         });
}

launch probe_launch(const std::string& node, const precheck_request& request,
                    const token_files& token) {
  launch what;
  what.node = node;
  what.limit = request.limit;
  what.argv = {"/bin/sh",      "-c",           questions,
               "zelk-collect", request.worker, mark_of_all_versions()};
  std::string command;
  if (!request.directory.empty())
    command = build_shared_dir_check_command(request.directory, false);
  what.argv.insert(what.argv.end(),
                   {request.directory, command, with_single_brackets(command),
                    token.path, token.folder + node});
  return what;
}

node_facts read_probe(const launch_outcome& outcome, const token_files& token,
                      std::chrono::system_clock::time_point now) {
  node_facts facts;
  const words all = answers_of(outcome.output);
  facts.outcome = outcome;
  facts.answered = all.contains("time");
  facts.host_name = answer(all, "host");
  facts.architecture = answer(all, "arch");
  facts.worker = answer(all, "worker");
  facts.version = answer(all, "version");
  if (facts.worker == "found" && facts.version.empty())
    facts.version = "unknown";
  facts.checksum = answer(all, "checksum");
  facts.clock_offset_s =
      clock_offset(answer(all, "time"), outcome.took.count(), now);
  facts.state = state_word(outcome.output);
  facts.inode = inode_of(outcome.output);
  facts.token = token_state(all, token.text);
  return facts;
}

std::string directory_lines(const launch_outcome& outcome) {
  std::string text;
  for (const std::string& line : str::split(outcome.output, '\n', true)) {
    if (!line.starts_with(answer_mark))
      text += outcome.node + ": " + line + "\n";
  }
  return text;
}

}  // namespace zelk::collect
