#include "src/check/command/man_page.h"

#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

#include "src/check/report/status.h"
#include "src/common/node/install_root.h"
#include "src/common/str/str.h"

namespace zelk::check {

namespace {

constexpr int status_no_such_program = 127;
constexpr std::size_t width = 78;

// Returns man's status, or status_no_such_program.
int run_man(const std::string& path) {
  const pid_t child = ::fork();
  if (child == -1) return status_no_such_program;
  if (child == 0) {
    ::execlp("man", "man", "-l", path.c_str(), nullptr);
    ::_exit(status_no_such_program);
  }
  int status = 0;
  if (::waitpid(child, &status, 0) != child) return status_no_such_program;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

// The text of a line without what changes the font.
std::string plain(std::string_view line) {
  std::string text;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] != '\\' || i + 1 == line.size()) {
      text += line[i];
      continue;
    }
    const char what = line[++i];
    if (what == 'f' && i + 1 < line.size()) {
      ++i;  // its name
    } else if (what == '(' && i + 2 < line.size()) {
      text += line.substr(i + 1, 2) == "aq" ? "'" : "*";
      i += 2;
    } else if (what != '&' && what != '|') {
      text += what == 'e' ? '\\' : what;
    }
  }
  return text;
}

// The arguments of a request, in which quotes keep words together. `glued`:
// without blanks between, as fonts take turns.
std::string arguments(std::string_view line, bool glued) {
  std::string text, word;
  bool quoted = false, any = false;
  const auto end_word = [&] {
    if (any) text += (text.empty() || glued ? "" : " ") + word;
    word.clear();
    any = false;
  };
  for (const char c : line) {
    if (c == '"') {
      quoted = !quoted;
      any = true;
    } else if (c == ' ' && !quoted) {
      end_word();
    } else {
      word += c;
      any = true;
    }
  }
  end_word();
  return plain(text);
}

class page_writer {
 public:
  std::string write(std::string_view source) {
    for (const std::string& line : str::split(source, '\n', true))
      take(line);
    end_paragraph();
    return std::move(text_);
  }

 private:
  void take(const std::string& line) {
    if (!line.starts_with('.')) return add(plain(line));
    const std::size_t blank = line.find(' ');
    const std::string name = line.substr(1, blank - 1);
    const std::string rest = blank == line.npos ? "" : line.substr(blank + 1);
    if (name == "SH" || name == "SS") return head(name, arguments(rest, false));
    if (name == "TP") return begin_term();
    if (name == "TQ") return add_term();
    if (name == "PP" || name == "RS" || name == "RE") return end_paragraph();
    if (name == "EX" || name == "nf") return example(true);
    if (name == "EE" || name == "fi") return example(false);
    if (name == "B" || name == "I") return add(arguments(rest, false));
    if (name.size() == 2 && name.find_first_not_of("BIR") == name.npos)
      add(arguments(rest, true));
  }

  void head(const std::string& kind, const std::string& title) {
    end_paragraph();
    text_ += (kind == "SH" ? "\n" : "\n  ") + title + "\n";
    indent_ = 4;
  }

  void begin_term() {
    end_paragraph();
    text_ += "\n";
    add_term();
  }

  // One more name of the same thing.
  void add_term() {
    indent_ = 4;
    is_term_ = true;
  }

  void add(const std::string& words) {
    if (is_example_) {
      text_ += std::string(indent_, ' ') + words + "\n";
      return;
    }
    if (is_term_) {
      text_ += std::string(indent_, ' ') + words + "\n";
      is_term_ = false;
      indent_ = 8;
      return;
    }
    paragraph_ += (paragraph_.empty() ? "" : " ") + words;
  }

  void example(bool begins) {
    end_paragraph();
    is_example_ = begins;
  }

  void end_paragraph() {
    std::string line;
    for (const std::string& word : str::split(paragraph_, ' ', true)) {
      if (!line.empty() && indent_ + line.size() + word.size() + 1 > width) {
        text_ += std::string(indent_, ' ') + line + "\n";
        line.clear();
      }
      line += (line.empty() ? "" : " ") + word;
    }
    if (!line.empty()) text_ += std::string(indent_, ' ') + line + "\n";
    paragraph_.clear();
  }

  std::string text_, paragraph_;
  std::size_t indent_ = 4;
  bool is_term_ = false, is_example_ = false;
};

}  // namespace

std::string plain_page(std::string_view source) {
  return page_writer().write(source);
}

int show_man_page(const std::string& program) {
  const std::string path =
      node::get_default_path() + "/share/man/man1/" + program + ".1";
  std::ifstream page(path, std::ios::binary);
  if (!page) {
    std::cerr << program << ": the manual '" << path << "' is not there\n";
    return status_cannot_tell;
  }
  const bool on_terminal = ::isatty(STDOUT_FILENO) == 1;
  if (on_terminal && run_man(path) == 0) return status_fine;
  const std::string source(std::istreambuf_iterator<char>(page), {});
  std::cout << plain_page(source) << std::flush;
  return status_fine;
}

}  // namespace zelk::check
