#include "src/collect/src/collect/captured_command.h"

#include <signal.h>

#include <utility>

namespace zelk::collect {

captured_command::captured_command(event_loop& loop,
                                   const std::vector<std::string>& argv,
                                   std::chrono::milliseconds limit,
                                   std::function<void(const answer&)> on_answer)
    : loop_(loop),
      on_answer_(std::move(on_answer)),
      child_(loop, {[this](std::string_view bytes) { output_.append(bytes); },
                    [this](std::string_view bytes) { errors_.append(bytes); },
                    [this](int status) {
                      answer_.wait_status = status;
                      finish();
                    }}) {
  child_command command;
  command.argv = argv;
  command.ends_with_us = true;
  answer_.error = child_.start(std::move(command));
  answer_.ran = answer_.error == 0;
  if (answer_.ran) {
    child_.close_input();
    timer_ = loop_.after(limit, [this] { child_.signal(SIGKILL); });
  } else {
    timer_ = loop_.after({}, [this] { finish(); });
  }
}

captured_command::~captured_command() {
  loop_.cancel(timer_);
}

void captured_command::finish() {
  loop_.cancel(timer_);
  answer_.output = output_.text();
  answer_.errors = errors_.text();
  const std::function<void(const answer&)> on_answer = on_answer_;
  const answer given = std::move(answer_);
  on_answer(given);
}

}  // namespace zelk::collect
