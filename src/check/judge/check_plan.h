// Which checks look at which column.

#pragma once

#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "src/check/judge/definitions.h"
#include "src/check/judge/judge.h"
#include "src/check/judge/run_view.h"

namespace zelk::check {

struct column_checks {
  // By score, the highest first. A fact that one of them names is not judged by
  // what its description declares, unless all of them only look for changes.
  std::vector<const check_definition*> named;
  bool generic = false;
  bool generic_change = false;  // no check of its own tells of changes
};

class check_plan {
 public:
  // Requires: `checks` and `options` outlive this.
  check_plan(const check_set& checks, const judge_options& options);
  check_plan(const check_plan&) = delete;
  check_plan& operator=(const check_plan&) = delete;

  column_checks for_column(const column_view& column);

  // Returns PROVIDER-differs and its like, null when it is not asked for. A
  // definition of that very id gives its texts and score.
  const check_definition* generic(const std::string& provider,
                                  const char* ending);

  // Returns a built-in check, null when it is not asked for.
  const check_definition* built_in(const char* id) const;

  // Whether nothing was left out of what there is to be asked for.
  bool has_all() const {
    return options_.only.empty() && options_.skip.empty();
  }

  // Whether one is asked for that is about the results themselves.
  bool tells_of_answers() const;

  // The checks that want a fact by its exact name and of a provider.
  const std::vector<const check_definition*>& wanted() const { return wanted_; }

 private:
  bool is_asked_for(const std::string& id) const;
  // A check that is not asked for still names its facts: who skips it does not
  // want them judged in another way instead.
  void add(const check_definition& definition, bool is_asked);

  const check_set& checks_;
  const judge_options& options_;
  std::set<const check_definition*> asked_;
  std::vector<const check_definition*> wanted_;
  // Patterns that begin with text are tried only on names that begin with its
  // first word; there are as many names as nodes have facts.
  std::map<std::string, std::vector<const check_definition*>, std::less<>>
      by_word_;
  std::vector<const check_definition*> of_any_word_;
  std::deque<check_definition> made_;  // limits, generic ones
  std::map<std::string, const check_definition*> generic_;
};

}  // namespace zelk::check
