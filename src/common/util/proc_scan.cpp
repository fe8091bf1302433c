#include "src/common/util/proc_scan.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <string_view>
#include <system_error>

#include "src/common/util/unique_fd.h"

namespace zelk::util {

namespace testing {
bool hide_children_lists = false;
}

namespace {

// Puts "/proc/", a number, "/task/" and so on together in place.
class proc_path {
 public:
  proc_path() { append("/proc"); }
  proc_path& append(std::string_view text) {
    std::copy(text.begin(), text.end(), text_.data() + size_);
    size_ += text.size();
    return *this;
  }
  proc_path& append(pid_t number) {
    char* const end = text_.data() + text_.size();
    char* const at = text_.data() + size_;
    size_ += static_cast<std::size_t>(std::to_chars(at, end, number).ptr - at);
    return *this;
  }
  const char* c_str() const { return text_.data(); }

 private:
  // The longest is "/proc/4194304/task/4194304/children". All zero, so that
  // what was appended always ends in a zero byte.
  std::array<char, 80> text_{};
  std::size_t size_ = 0;
};

unique_fd open_to_read(const proc_path& path, int flags = 0) {
  return unique_fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | flags));
}

ssize_t read_again(int fd, char* to, std::size_t size) {
  ssize_t got = 0;
  do {
    got = ::read(fd, to, size);
  } while (got < 0 && errno == EINTR);
  return got;
}

template <typename Number>
bool parse(std::string_view text, Number& number) {
  const char* const end = text.data() + text.size();
  const std::from_chars_result result =
      std::from_chars(text.data(), end, number);
  return result.ec == std::errc() && result.ptr == end;
}

std::string_view next_word(std::string_view& text) {
  const std::size_t end = std::min(text.find(' '), text.size());
  const std::string_view word = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return word;
}

// "pid (name) state ppid pgrp ... starttime ...": the name may hold blanks and
// brackets, so what follows it is counted from the last bracket.
bool parse_stat(std::string_view text, process_facts& facts) {
  constexpr int words_between_group_and_start = 16;
  const std::size_t open = text.find('(');
  const std::size_t close = text.rfind(')');
  if (open == text.npos || close == text.npos || close + 2 > text.size()) {
    return false;
  }
  const std::string_view name = text.substr(open + 1, close - open - 1);
  facts.name.fill('\0');
  std::copy_n(name.data(), std::min(name.size(), facts.name.size() - 1),
              facts.name.data());
  text.remove_prefix(close + 2);
  const std::string_view state = next_word(text);
  if (state.size() != 1) return false;
  facts.state = state[0];
  if (!parse(next_word(text), facts.parent)) return false;
  if (!parse(next_word(text), facts.group)) return false;
  for (int i = 0; i < words_between_group_and_start; ++i)
    next_word(text);
  return parse(next_word(text), facts.start);
}

// Calls visit(number) for every entry of the folder whose name is a number.
template <typename Visitor>
void for_each_number(const unique_fd& folder, const Visitor& visit) {
  alignas(dirent64) std::array<char, 4096> block;
  for (;;) {
    const ssize_t got = ::getdents64(folder.get(), block.data(), block.size());
    if (got <= 0) return;
    for (ssize_t at = 0; at < got;) {
      const auto* entry = reinterpret_cast<const dirent64*>(block.data() + at);
      pid_t number = 0;
      if (parse(std::string_view(entry->d_name), number)) visit(number);
      at += entry->d_reclen;
    }
  }
}

// The file is "12 345 6 ": a number may be cut by the end of a block.
void append_numbers(const unique_fd& file, pid_list& list) {
  std::array<char, 4096> block;
  pid_t number = 0;
  bool inside = false;
  for (;;) {
    const ssize_t got = read_again(file.get(), block.data(), block.size());
    if (got <= 0) break;
    for (const char c :
         std::string_view(block.data(), static_cast<std::size_t>(got))) {
      const bool digit = c >= '0' && c <= '9';
      if (inside && !digit) list.add(number);
      number = !digit ? 0 : number * 10 + (c - '0');
      inside = digit;
    }
  }
  if (inside) list.add(number);
}

}  // namespace

bool read_process(pid_t pid, process_facts& facts) {
  const unique_fd file =
      open_to_read(proc_path().append("/").append(pid).append("/stat"));
  if (!file) return false;
  std::array<char, 1024> text;
  const ssize_t got = read_again(file.get(), text.data(), text.size());
  if (got <= 0) return false;
  facts.pid = pid;
  return parse_stat({text.data(), static_cast<std::size_t>(got)}, facts);
}

bool proc_is_usable() {
  std::array<char, 16> target;
  const ssize_t got = ::readlink("/proc/self", target.data(), target.size());
  pid_t number = 0;
  return got > 0 &&
         parse({target.data(), static_cast<std::size_t>(got)}, number) &&
         number == ::getpid();
}

bool kernel_lists_children() {
  if (testing::hide_children_lists) return false;
  return ::access("/proc/thread-self/children", R_OK) == 0;
}

void append_children(pid_t parent, pid_list& list) {
  proc_path tasks;
  tasks.append("/").append(parent).append("/task");
  const unique_fd folder = open_to_read(tasks, O_DIRECTORY);
  if (!folder) return;
  for_each_number(folder, [&](pid_t thread) {
    proc_path path = tasks;
    const unique_fd file =
        open_to_read(path.append("/").append(thread).append("/children"));
    if (file) append_numbers(file, list);
  });
}

void append_all_processes(pid_list& list) {
  const unique_fd folder = open_to_read(proc_path(), O_DIRECTORY);
  if (!folder) return;
  for_each_number(folder, [&](pid_t pid) { list.add(pid); });
}

}  // namespace zelk::util
