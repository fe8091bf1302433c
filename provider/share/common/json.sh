# shellcheck shell=sh
# What a tool says in JSON, as lines that can be read one by one.
#
#   {"health": {"temp": 312}, "log": [1, {"a b": "x"}]}
#
#   health.temp: 312
#   log.0: 1
#   log.1.a_b: x
#
# Keys are put in small letters, and what is no letter, digit or "_" becomes
# "_". Strings lose their quotes and keep their escapes, so that none of them can
# begin a line. Numbers and words stay as they are. A text that is no JSON gives
# the lines up to there.

# shellcheck disable=SC2016,SC2034 # the dollars belong to awk; used by others
json_awk='
  function name_of(text) {
    text = tolower(text)
    gsub(/[^a-z0-9_]+/, "_", text)
    return text
  }
  function path(    level, text) {
    for (level = 1; level <= depth; level++)
      text = text (level > 1 ? "." : "") place[level]
    return text
  }
  # A value of the innermost object or list is over, or begins.
  function value(text) {
    if (depth > 0 && text != "") print path() ": " text
    if (depth > 0 && kind[depth] == "{") awaits_key[depth] = 1
  }
  function enter(bracket) {
    depth++
    kind[depth] = bracket
    awaits_key[depth] = bracket == "{"
    place[depth] = bracket == "[" ? 0 : ""
  }
  function leave() {
    if (depth > 0) depth--
    value("")
  }
  function string(text) {
    text = substr(text, 2, length(text) - 2)
    if (depth > 0 && kind[depth] == "{" && awaits_key[depth]) {
      place[depth] = name_of(text)
      awaits_key[depth] = 0
    } else value(text == "" ? "\"\"" : text)
  }
  {
    rest = $0
    while (rest != "") {
      first = substr(rest, 1, 1)
      size = 1
      if (first == "{" || first == "[") enter(first)
      else if (first == "}" || first == "]") leave()
      else if (first == ",") { if (depth > 0 && kind[depth] == "[") place[depth]++ }
      else if (first == "\"") {
        if (!match(rest, /^"([^"\\]|\\.)*"/)) exit
        size = RLENGTH
        string(substr(rest, 1, size))
      } else if (match(rest, /^[-+.a-zA-Z0-9]+/)) {
        size = RLENGTH
        value(substr(rest, 1, size))
      } else if (first !~ /[ \t\r:]/) exit
      rest = substr(rest, size + 1)
    }
  }'

flatten_json() { awk "$json_awk"; }
