// A worker on a node must end when nobody waits for it any more, and nobody but
// the node itself can see to that: sshd lets a command live on when its
// connection breaks, and a head node that lost its power says nothing at all.
//
//   sh (this text)             waits for the worker, speaks to the head node
//    |- setsid timeout WORKER  in a session of its own, bounded in time
//    \- a subshell             reads standard input; at its end: SIGTERM to sh,
//                              and to timeout, for sh may be gone
//
// - The lifeline is standard input. It ends when the connection does: the head
//   node closed it, the launching program died, the collector was killed.
// - timeout(1) counts the limit here, for the case that the end of a connection
//   is never heard of. It passes SIGTERM on, and follows with SIGKILL, even
//   when this shell is gone.
// - A session of its own keeps the worker from what is sent to the process
//   group: mpirun kills a group a second after it was asked to end, and the
//   worker itself sends SIGTERM to its whole group. srun kills all tasks on the
//   spot when it is asked to end; under it the reader of standard input needs a
//   session of its own as well, or nobody would be left to end the worker.
//
// It must run in any POSIX sh (dash, bash, busybox, ksh), so: no arrays, no
// "local", no "wait -n", no fractions for sleep. Every argument is in single
// quotes, where no shell sees anything but the closing quote. Nothing of it is
// on the command line of ssh, which the user's login shell would read first,
// and that may be csh or fish: sh reads it from standard input, as functions
// that are called by its last line. A connection that breaks in the middle of
// the text starts nothing.
//
// A signal to a subshell that has just been forked is lost: it still has the
// handler of its parent, whose traps it will not run. So the readers here are
// ended by SIGKILL, which no process can lose, and by their process group where
// they have children; and the worker, should it have lost the first SIGTERM,
// gets a second one. That one goes to timeout, which is of the worker's own
// group: the worker takes a signal from elsewhere for impatience.
//
// What a trap starts changes $!, under the hands of whoever is about to read
// it: only where there is no reader of standard input does the trap start
// anything.
//
// A trap that interrupts "wait" makes it return too early; `again` tells that
// from the worker's end. ksh adds 256 and not 128 to the number of a signal.
// bash tells on standard error which of its children were killed: it has none
// by then.

#include "src/collect/src/collect/remote_script.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cctype>
#include <cstdint>
#include <map>
#include <random>

#include "src/common/preproc/preproc.h"
#include "src/common/str/str.h"

namespace zelk::collect {

namespace {

using preproc::shell_quoted;
using std::chrono::seconds;

// The kernel takes 131,071 bytes as one argument.
constexpr std::size_t most_in_an_argument = 100'000;

constexpr char files_word[] = "{files}";

// What every node does. Filled in around it: $n the node's name, $v the version
// mark or "", $z the delay or "" and $b the limit or 0 in whole seconds, $f
// whether there are files, and the functions zelk_files and zelk_start.
constexpr char engine[] = R"sh(
zelk_lost='kill -s TERM "$1"; sleep 1; kill -s TERM "$2"
sleep "$0"; kill -s KILL -- "-$2"
[ -z "$3" ] || rm -rf "$3"'
zelk_say() { printf '\n%s%s\n' "$m" "$*"; }
zelk_folder() {
  for d in "${TMPDIR:-/tmp}" /tmp /dev/shm /var/tmp; do
    d=$d/zelk-$e-$$
    if (umask 077; mkdir "$d") 2>/dev/null; then
      zelk_files 2>/dev/null && return 0
      rm -rf "$d"
    fi
  done
  d=
  return 1
}
zelk_found() {
  case $1 in
  */*) q=$1; [ -f "$q" ] && [ -x "$q" ] ;;
  *) q=$(command -v "$1" 2>/dev/null) ;;
  esac
}
zelk_is_version() {
  [ -z "$v" ] || LC_ALL=C grep -q -F -e "$v>" "$q" 2>/dev/null
}
zelk_version() {
  x=$(LC_ALL=C grep -a -o -e "${v% *} [0-9A-Za-z.+~-]*>" "$q" 2>/dev/null)
  x=${x%%>*}
  printf %s "${x##* }"
}
zelk_run() {
  if [ -n "$z" ]; then
    setsid timeout -k "$grace" "$b" \
      sh -c 'sleep "$0"; exec "$@"' "$z" "$@" 3<&- &
  else
    setsid timeout -k "$grace" "$b" "$@" 3<&- &
  fi
  w=$!
}
zelk_ask() {
  again=1
  why=stopped
  [ -n "$w" ] || return 0
  trap '' HUP INT TERM
  [ -z "$k" ] || return 0
  kill -s TERM "$w"
  [ -z "$lifeline" ] || return 0
  setsid sh -c "$zelk_lost" "$grace" "$w" "$w" "$d" 3<&- >/dev/null &
  k=$!
}
zelk_watch() {
  case $lifeline in
  own)
    (while read -r x; do :; done
    exec setsid sh -c "$zelk_lost" "$grace" $$ "$w" "$d") <&3 >/dev/null &
    l=$!
    ;;
  shared)
    setsid sh -c "while read -r x; do :; done; $zelk_lost" "$grace" $$ "$w" "$d" \
      <&3 3<&- >/dev/null &
    l=$!
    ;;
  esac
}
zelk_wait() {
  r=
  while :; do
    again=
    wait "$w"
    x=$?
    [ "$x" -le 256 ] || x=$((x - 128))
    if [ "$x" -ne 127 ] || [ -z "$r" ]; then r=$x; fi
    [ -n "$again" ] || return 0
  done
}
zelk_end_group() {
  kill -s KILL -- "-$1" || { kill -s KILL "$1"; kill -s KILL -- "-$1"; }
}
zelk_clean() {
  trap '' HUP INT TERM
  [ -z "$l" ] || zelk_end_group "$l"
  [ -z "$k" ] || zelk_end_group "$k"
  [ "$r" -lt 124 ] || kill -s KILL -- "-$w"
  [ -z "$d" ] || rm -rf "$d"
}
zelk_refuse() {
  [ -z "$d" ] || rm -rf "$d"
  zelk_say "$@"
  exit 0
}
zelk_program() {
  zelk_found "$1" || zelk_refuse missing "$1"
  zelk_is_version || zelk_refuse version "$(zelk_version)"
  trap zelk_ask HUP INT TERM
  zelk_run "$@"
  trap '' PIPE
  exec 2>/dev/null
  zelk_watch
  [ -z "$why" ] || zelk_ask
  zelk_wait
  zelk_clean
  zelk_say end "${why:-exit}" "$r"
}
zelk_main() {
  exec 3<&0 </dev/null
  d= w= why= l= k=
  zelk_say begin "$n"
  zelk_say begin "$n" >&2
  for x in setsid timeout; do
    command -v "$x" >/dev/null 2>&1 || zelk_refuse lacks "$x"
  done
  [ -z "$f" ] || zelk_folder || zelk_refuse files
  zelk_start
  exit 0
}
)sh";

std::string whole_seconds(std::chrono::milliseconds duration) {
  if (duration.count() <= 0) return "";
  return std::to_string(std::chrono::ceil<seconds>(duration).count());
}

// The delay comes first and is not part of the limit. timeout(1) takes 0 for
// none.
std::string limit_text(std::chrono::milliseconds limit, seconds delay) {
  return limit.count() <= 0 ? "0" : whole_seconds(limit + delay);
}

// Quotes for sh, with the node's own name as a variable: texts that differ in
// it alone become the same text.
std::string quoted(std::string_view value, const std::string& node) {
  // In such a name a match might reach over the quotes' own characters.
  if (node.find_first_of("'\\") != node.npos) return shell_quoted(value);
  return str::replace(shell_quoted(value), node, "'\"$n\"'");
}

// As quoted(); "{files}" is the folder.
std::string quoted_argument(const std::string& argument,
                            const std::string& node) {
  std::string text;
  std::string_view rest = argument;
  for (;;) {
    const std::size_t at = rest.find(files_word);
    text += quoted(rest.substr(0, at), node);
    if (at == rest.npos) return text;
    text += "\"$d\"";
    rest.remove_prefix(at + sizeof files_word - 1);
  }
}

std::string files_function(const launch& what) {
  std::string text = "zelk_files() {\n:";
  for (const auto& [name, content] : what.files) {
    text += " &&\nprintf %s " + quoted(content, what.node) + " >\"$d\"/" +
            quoted(name, what.node);
  }
  return text + "\n}\n";
}

std::string start_function(const launch& what) {
  std::string text = "zelk_start() {\n";
  for (const auto& [name, value] : what.environment)
    text += "export " + name + "=" + quoted_argument(value, what.node) + "\n";
  text += "zelk_program";
  for (const std::string& word : what.argv)
    text += " " + quoted_argument(word, what.node);
  return text + "\n}\n";
}

// What distinguishes one launch from another, but for the node's name.
std::string particulars(const launch& what, const script_options& options) {
  std::string mark;
  if (!what.version.empty()) {
    mark = version_mark(what.version);
    mark.pop_back();  // its ">" is added where it is looked for
  }
  std::string text;
  text += "f=" + std::string(what.files.empty() ? "" : "1") + "\n";
  text += "v=" + shell_quoted(mark) + "\n";
  text += "b=" + limit_text(what.limit, options.delay) + "\n";
  text += "z=" + whole_seconds(options.delay) + "\n";
  return text + files_function(what) + start_function(what);
}

std::string lifeline_word(lifeline line) {
  switch (line) {
    case lifeline::own:
      return "own";
    case lifeline::shared:
      return "shared";
    case lifeline::none:
      break;
  }
  return "";
}

std::string common_part(const script_options& options) {
  const auto assignment = [](const char* name, const std::string& value) {
    return name + ("=" + value) + "\n";
  };
  return "unset IFS\n" + assignment("m", script_mark(options.nonce)) +
         assignment("e", options.nonce) +
         assignment("lifeline", lifeline_word(options.line)) +
         assignment("grace", std::to_string(options.grace.count())) + engine;
}

// The functions are defined and only then called: a text that was cut off
// anywhere before its last line starts nothing.
std::string closed(const std::string& body) {
  return body + "zelk_main\n";
}

bool is_name(std::string_view text) {
  const auto fits = [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
  };
  return !text.empty() &&
         std::isdigit(static_cast<unsigned char>(text[0])) == 0 &&
         std::all_of(text.begin(), text.end(), fits);
}

bool is_file_name(std::string_view text) {
  return !text.empty() && text != "." && text != ".." &&
         text.find('/') == text.npos;
}

bool has_zero(std::string_view text) {
  return text.find('\0') != text.npos;
}

}  // namespace

std::string script_mark(std::string_view nonce) {
  return "ZELK_LAUNCH:" + std::string(nonce) + ":";
}

std::string make_nonce() {
  static constexpr std::string_view digits = "0123456789abcdefghijklmnopqrstuv";
  std::random_device chance;
  std::string nonce;
  for (int i = 0; i < 16; ++i)
    nonce += digits[chance() % digits.size()];
  return nonce;
}

std::string remote_script(const launch& what, const script_options& options) {
  return closed(common_part(options) + "n=" + shell_quoted(what.node) + "\n" +
                particulars(what, options));
}

std::string remote_script(const std::vector<launch>& what,
                          const std::vector<script_options>& options,
                          const node_identity& identity) {
  assert(identity.values.size() == what.size() && !options.empty());
  std::map<std::string, std::string> nodes_of;  // particulars -> case pattern
  std::string names;
  for (std::size_t i = 0; i < what.size(); ++i) {
    const std::string value = shell_quoted(identity.values[i]);
    if (identity.values[i] != what[i].node) {
      names.append(value).append(") n=");
      names.append(shell_quoted(what[i].node)).append(" ;;\n");
    }
    std::string& pattern = nodes_of[particulars(
        what[i], options[std::min(i, options.size() - 1)])];
    if (!pattern.empty()) pattern += "|";
    pattern += value;
  }
  const std::string choice = "case ${" + identity.variable + "-} in\n";
  std::string text = common_part(options.front());
  text += "n=${" + identity.variable + "-}\n" + choice + names + "esac\n";
  text += choice;
  for (const auto& [part, pattern] : nodes_of)
    text.append(pattern).append(")\n").append(part).append(";;\n");
  return closed(text + "*) exit 0 ;;\nesac\n");
}

std::vector<std::string> script_as_command(const std::string& text) {
  std::vector<std::string> words{"/bin/sh", "-c", "IFS=; eval \"$*\"",
                                 "zelk-collect"};
  for (std::size_t at = 0; at < text.size(); at += most_in_an_argument)
    words.push_back(text.substr(at, most_in_an_argument));
  return words;
}

std::string version_mark(std::string_view version) {
  return "@(#)zelk_run_provider " + std::string(version) + ">";
}

std::string impossible(const launch& what) {
  if (what.node.empty()) return "a launch without a node";
  if (what.argv.empty() || what.argv.front().empty())
    return "a launch without a program";
  for (const std::string& word : what.argv) {
    if (has_zero(word)) return "an argument with a zero byte";
  }
  for (const auto& [name, value] : what.environment) {
    if (!is_name(name)) return "'" + name + "' is no name of a variable";
    if (has_zero(value)) return "the variable " + name + " has a zero byte";
  }
  for (const auto& [name, content] : what.files) {
    if (!is_file_name(name)) return "'" + name + "' is no name of a file";
    if (has_zero(name + content))
      return "the file " + name + " has a zero byte";
  }
  return "";
}

}  // namespace zelk::collect
